package com.corvane.cvx.transcoder.host;

import java.util.List;

/**
 * The encoded audio a writer carries: AAC with its AudioSpecificConfig, or
 * Vorbis with its three headers.
 */
public record AudioFormat(int codec, int sampleRate, int channels, byte[] config, List<byte[]> headers) {
    public static final int AAC = 10;
    public static final int VORBIS = 9;

    private static final int[] AAC_RATES = {96000, 88200, 64000, 48000, 44100, 32000, 24000, 22050, 16000, 12000,
        11025, 8000, 7350};

    /** AAC-LC: object type 2, the rate's index, the channel configuration. */
    public static AudioFormat aac(int sampleRate, int channels) {
        int index = 15;
        for (int i = 0; i < AAC_RATES.length; i++) {
            if (AAC_RATES[i] == sampleRate) {
                index = i;
            }
        }
        if (index == 15) {
            throw new IllegalArgumentException("AAC has no rate index for " + sampleRate + " Hz");
        }
        int objectType = 2;
        byte[] config = {(byte) ((objectType << 3) | (index >> 1)), (byte) (((index & 1) << 7) | (channels << 3))};
        return new AudioFormat(AAC, sampleRate, channels, config, List.of());
    }

    public static boolean aacHasRate(int sampleRate) {
        for (int r : AAC_RATES) {
            if (r == sampleRate) {
                return true;
            }
        }
        return false;
    }

    public static AudioFormat vorbis(int sampleRate, int channels, List<byte[]> headers) {
        return new AudioFormat(VORBIS, sampleRate, channels, null, headers);
    }
}
