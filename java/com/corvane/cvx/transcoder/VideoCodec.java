package com.corvane.cvx.transcoder;

import com.corvane.cvx.transcoder.model.TranscoderSessionNative;

/** The video codecs by the library's numbers. */
public enum VideoCodec {
    SORENSON_SPARK(TranscoderSessionNative.VIDEO_CODEC_SORENSON_SPARK, true, false),
    H264(TranscoderSessionNative.VIDEO_CODEC_H264, true, true),
    VP8(TranscoderSessionNative.VIDEO_CODEC_VP8, false, true),
    H263(TranscoderSessionNative.VIDEO_CODEC_H263, true, false),
    MPEG4_PART2(TranscoderSessionNative.VIDEO_CODEC_MPEG4_PART2, true, false),
    MPEG2(TranscoderSessionNative.VIDEO_CODEC_MPEG2, true, false);

    private final long number;
    private final boolean decodes;
    private final boolean encodes;

    VideoCodec(long number, boolean decodes, boolean encodes) {
        this.number = number;
        this.decodes = decodes;
        this.encodes = encodes;
    }

    /** The number the natives take. */
    public long number() {
        return number;
    }

    public boolean hasDecoder() {
        return decodes;
    }

    public boolean hasEncoder() {
        return encodes;
    }

    /** The codec of a number, as FLV's video codec ids are; null for a number the library does not know. */
    public static VideoCodec of(long number) {
        for (VideoCodec c : values()) {
            if (c.number == number) {
                return c;
            }
        }
        return null;
    }
}
