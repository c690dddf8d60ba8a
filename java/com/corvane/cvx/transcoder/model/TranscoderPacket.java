package com.corvane.cvx.transcoder.model;

/**
 * One encoded frame. {@link #type} is 9 for video and 8 for audio. A video
 * {@link #timecode} is the source frame's milliseconds; an audio one is a sample
 * position at {@link #sampleRate}. Video {@link #frameType}: 1 key,
 * 2 predicted, 3 bidirectional; audio: 0.
 */
public class TranscoderPacket {
    public static final int TYPE_AUDIO = 8;
    public static final int TYPE_VIDEO = 9;

    public byte[] buffer;
    public long len;
    public int type;
    public long timecode;
    public int frameType;
    public int sampleRate;
    public int channels;

    public TranscoderPacket() {
    }

    /** An audio packet's time in milliseconds. */
    public long timecodeMillis() {
        if (type != TYPE_AUDIO || sampleRate <= 0) {
            return timecode;
        }
        return ((timecode * 10000L + 5L) / sampleRate) / 10L;
    }
}
