package com.corvane.cvx.transcoder;

/** What the host knows of a compressed video frame it feeds in. */
public enum FrameType {
    KEY(1),
    INTER(2),
    /** An inter frame nothing refers to. */
    DISPOSABLE(3);

    private final long number;

    FrameType(long number) {
        this.number = number;
    }

    public long number() {
        return number;
    }
}
