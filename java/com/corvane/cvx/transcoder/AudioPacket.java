package com.corvane.cvx.transcoder;

/**
 * One encoded audio frame (or a Vorbis header). Its time is a sample position: the position of its first
 * sample at {@code sampleRate}, counted from the first packet's time. The array is the one the library filled.
 */
public record AudioPacket(byte[] data, long samplePosition, int sampleRate, int channels) {
    /** The packet's time in milliseconds, rounded to the nearest. */
    public long timecodeMillis() {
        if (sampleRate <= 0) {
            return samplePosition;
        }
        return ((samplePosition * 10000L + 5L) / sampleRate) / 10L;
    }
}
