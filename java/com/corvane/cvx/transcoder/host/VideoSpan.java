package com.corvane.cvx.transcoder.host;

/** The video frames a writer has written and the time they span, for the summary and the file's duration. */
public final class VideoSpan {
    private final double frameRate;
    private long frames;
    private long first = Long.MAX_VALUE;
    private long last = Long.MIN_VALUE;

    VideoSpan(double frameRate) {
        this.frameRate = frameRate;
    }

    void add(long presentationMillis) {
        frames++;
        first = Math.min(first, presentationMillis);
        last = Math.max(last, presentationMillis);
    }

    public long frames() {
        return frames;
    }

    /** From the first frame's start to the last frame's end. */
    public long durationMillis() {
        return frames == 0 ? 0 : last - first + Math.round(1000.0 / frameRate);
    }

    /** Where the last frame ends, in file time. */
    public long endMillis() {
        return frames == 0 ? 0 : last + Math.round(1000.0 / frameRate);
    }
}
