package com.corvane.cvx.transcoder;

/** Settings of the stream video decoders (H.264, MPEG-2, MPEG-4, H.263, Sorenson Spark), read at initialise. */
public final class VideoDecoderSettings {
    /** Parser options. */
    public static final Setting.OfLong PARSER_OPTIONS = Setting.ofLong(0, "parser options");
    /** Decoding threads, 1 to 16; a server running many streams gives each 1. */
    public static final Setting.OfLong THREADS = Setting.ofLong(1, "decoder threads");

    private VideoDecoderSettings() {
    }
}
