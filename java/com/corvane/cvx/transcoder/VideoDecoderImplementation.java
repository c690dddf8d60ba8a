package com.corvane.cvx.transcoder;

import com.corvane.cvx.transcoder.model.TranscoderSessionNative;

/**
 * Which decoder serves H.264; other codecs have one each. There is no fallback: Quick Sync on a machine
 * without it gives a decoder that fails to initialise.
 */
public enum VideoDecoderImplementation {
    SOFTWARE(0),
    QUICK_SYNC(TranscoderSessionNative.VIDEO_IMPLEMENTATION_QUICK_SYNC),
    /** The Quick Sync decoder in its software form. */
    QUICK_SYNC_SOFTWARE(TranscoderSessionNative.VIDEO_DECODER_IMPLEMENTATION_QUICK_SYNC_SOFTWARE);

    private final long number;

    VideoDecoderImplementation(long number) {
        this.number = number;
    }

    public long number() {
        return number;
    }
}
