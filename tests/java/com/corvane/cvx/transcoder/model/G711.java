package com.corvane.cvx.transcoder.model;

/** G.711 compression for test input (the library only expands). */
final class G711 {
    private static final int[] A_SEGMENT_END = {0x1F, 0x3F, 0x7F, 0xFF, 0x1FF, 0x3FF, 0x7FF, 0xFFF};

    private G711() {
    }

    static byte alaw(short sample) {
        int pcm = sample >> 3;
        int mask;
        if (pcm >= 0) {
            mask = 0xD5;
        } else {
            mask = 0x55;
            pcm = -pcm - 1;
        }
        int segment = 0;
        while (segment < 8 && pcm > A_SEGMENT_END[segment]) {
            segment++;
        }
        if (segment >= 8) {
            return (byte) (0x7F ^ mask);
        }
        int value = segment << 4;
        value |= segment < 2 ? (pcm >> 1) & 0x0F : (pcm >> segment) & 0x0F;
        return (byte) (value ^ mask);
    }

    static byte mulaw(short sample) {
        int pcm = sample;
        int sign = (pcm >> 8) & 0x80;
        if (sign != 0) {
            pcm = -pcm;
        }
        if (pcm > 32635) {
            pcm = 32635;
        }
        pcm += 0x84;
        int v = (pcm >> 7) & 0xFF;
        int exponent = v == 0 ? 0 : 31 - Integer.numberOfLeadingZeros(v);
        int mantissa = (pcm >> (exponent + 3)) & 0x0F;
        return (byte) ~(sign | (exponent << 4) | mantissa);
    }

    /** The description packet that opens a G.711 stream: a byte, then rate and channels big-endian. */
    static byte[] description(int rate, int channels) {
        return new byte[] {0, (byte) (rate >>> 24), (byte) (rate >>> 16), (byte) (rate >>> 8), (byte) rate,
            (byte) (channels >>> 24), (byte) (channels >>> 16), (byte) (channels >>> 8), (byte) channels};
    }
}
