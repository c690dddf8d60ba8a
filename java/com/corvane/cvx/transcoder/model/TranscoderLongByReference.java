package com.corvane.cvx.transcoder.model;

/** An out-parameter: the library writes a count, an index or flags into {@link #value}. */
public class TranscoderLongByReference {
    public long value;

    public TranscoderLongByReference() {
    }

    public TranscoderLongByReference(long value) {
        this.value = value;
    }
}
