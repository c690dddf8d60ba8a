package com.corvane.cvx.transcoder;

/** How a picture is fitted into a rendition of another shape. */
public enum ScaleMode {
    /** The whole picture, with black bars. */
    LETTERBOX(1),
    /** The picture's shape is ignored. */
    STRETCH(3),
    /** The rendition is filled; the picture's overhang is cut. */
    CROP(4);

    private final long number;

    ScaleMode(long number) {
        this.number = number;
    }

    public long number() {
        return number;
    }
}
