package com.corvane.cvx.transcoder;

/** The kind of an encoded video picture. */
public enum PictureType {
    KEY,
    PREDICTED,
    BIDIRECTIONAL;

    /** From the packet's number: 1 key, 3 bidirectional, anything else predicted. */
    static PictureType of(int number) {
        return number == 1 ? KEY : number == 3 ? BIDIRECTIONAL : PREDICTED;
    }
}
