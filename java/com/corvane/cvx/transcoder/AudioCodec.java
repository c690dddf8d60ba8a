package com.corvane.cvx.transcoder;

import com.corvane.cvx.transcoder.model.TranscoderSessionNative;

/** The audio codecs by the library's numbers. MPEG audio's layer is chosen by {@link AudioImplementation}. */
public enum AudioCodec {
    MPEG_AUDIO(TranscoderSessionNative.AUDIO_CODEC_MPEG_AUDIO, true, false),
    G711_ALAW(TranscoderSessionNative.AUDIO_CODEC_G711_ALAW, true, false),
    G711_MULAW(TranscoderSessionNative.AUDIO_CODEC_G711_MULAW, true, false),
    VORBIS(TranscoderSessionNative.AUDIO_CODEC_VORBIS, false, true),
    AAC(TranscoderSessionNative.AUDIO_CODEC_AAC, true, true),
    SPEEX(TranscoderSessionNative.AUDIO_CODEC_SPEEX, true, false);

    private final long number;
    private final boolean decodes;
    private final boolean encodes;

    AudioCodec(long number, boolean decodes, boolean encodes) {
        this.number = number;
        this.decodes = decodes;
        this.encodes = encodes;
    }

    /** The number the natives take. */
    public long number() {
        return number;
    }

    public boolean hasDecoder() {
        return decodes;
    }

    public boolean hasEncoder() {
        return encodes;
    }

    /** The codec of a number, as FLV's sound formats are; null for a number the library does not know. */
    public static AudioCodec of(long number) {
        for (AudioCodec c : values()) {
            if (c.number == number) {
                return c;
            }
        }
        return null;
    }
}
