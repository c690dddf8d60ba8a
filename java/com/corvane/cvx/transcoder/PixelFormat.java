package com.corvane.cvx.transcoder;

import com.corvane.cvx.transcoder.model.TranscoderSessionNative;

/** Layouts of the decoder's and the renditions' picture buffers, as four-character codes (first character in the lowest byte). */
public enum PixelFormat {
    YV12(TranscoderSessionNative.FOURCC_YV12),
    I420(TranscoderSessionNative.FOURCC_I420);

    private final long fourcc;

    PixelFormat(long fourcc) {
        this.fourcc = fourcc;
    }

    public long fourcc() {
        return fourcc;
    }
}
