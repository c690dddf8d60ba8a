package com.corvane.cvx.transcoder;

import com.corvane.cvx.transcoder.model.TranscoderSessionNative;

/**
 * Which encoder serves H.264; VP8 has one. Asking for hardware the machine lacks silently gives the software
 * encoder: its log line then says "H.264: default".
 */
public enum VideoEncoderImplementation {
    SOFTWARE(0),
    QUICK_SYNC(TranscoderSessionNative.VIDEO_IMPLEMENTATION_QUICK_SYNC),
    CUDA(TranscoderSessionNative.VIDEO_ENCODER_IMPLEMENTATION_CUDA);

    private final long number;

    VideoEncoderImplementation(long number) {
        this.number = number;
    }

    public long number() {
        return number;
    }
}
