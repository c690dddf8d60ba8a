package com.corvane.cvx.transcoder;

/**
 * The software H.264 encoder's common settings (its whole table, 10000 to 10140, is in the README). Fields
 * that the speed preset fills take -1 for "the preset's value".
 */
public final class H264Settings {
    /** The profile family, the first argument of the encoder's defaults. */
    public enum Profile {
        /** Live baseline: no B-frames, no lookahead, every frame out as soon as it is put. */
        BASELINE,
        MAIN,
        HIGH;

        public long number() {
            return ordinal();
        }
    }

    /** The speed preset, the second argument of the encoder's defaults. */
    public enum Preset {
        ULTRAFAST, SUPERFAST, VERYFAST, FASTER, FAST, MEDIUM, SLOW, SLOWER, VERYSLOW, PLACEBO;

        public long number() {
            return ordinal();
        }
    }

    /** Rate control modes of {@link #RATE_CONTROL}. */
    public static final long RATE_MODE_CONSTANT_QUANTISER = 0;
    public static final long RATE_MODE_FACTOR = 1;
    public static final long RATE_MODE_AVERAGE_BITRATE = 2;
    public static final long RATE_MODE_CONSTANT_BITRATE = 3;

    public static final Setting.OfLong PROFILE = Setting.ofLong(10000, "profile");
    /** Frames; 0 none (only requested key frames); negative: tenths of a second. */
    public static final Setting.OfLong KEY_FRAME_INTERVAL = Setting.ofLong(10002, "maximum key frame interval");
    /** 1 requested key frames are IDR pictures, 0 recovery point pictures with an open GOP. */
    public static final Setting.OfLong REQUESTED_KEY_FRAMES_IDR = Setting.ofLong(10003, "requested key frames");
    public static final Setting.OfLong MIN_KEY_FRAME_INTERVAL = Setting.ofLong(10004, "minimum key frame interval");
    public static final Setting.OfDouble FRAME_RATE = Setting.ofDouble(10008, "frames per second");
    /** Times ten (31 = 3.1), 0 automatic. */
    public static final Setting.OfLong LEVEL = Setting.ofLong(10009, "level");
    public static final Setting.OfLong SPEED_PRESET = Setting.ofLong(10010, "speed preset");
    public static final Setting.OfLong ZERO_LATENCY = Setting.ofLong(10011, "zero latency");
    /** 0 none, 1 film, 2 animation, 3 grain, 4 still image, 5 psnr, 6 ssim, 7 fast decode. */
    public static final Setting.OfLong TUNE = Setting.ofLong(10012, "tune");
    public static final Setting.OfLong THREADS = Setting.ofLong(10013, "encoder threads");
    public static final Setting.OfLong SLICED_THREADS = Setting.ofLong(10014, "sliced threads");
    public static final Setting.OfLong SLICES = Setting.ofLong(10016, "slices per picture");
    public static final Setting.OfLong RATE_CONTROL = Setting.ofLong(10017, "rate control");
    public static final Setting.OfLong QUANTISER = Setting.ofLong(10018, "quantiser");
    public static final Setting.OfLong BITRATE = Setting.ofLong(10019, "bits per second");
    public static final Setting.OfLong VBV_MAX_BITRATE = Setting.ofLong(10020, "VBV maximum bits per second");
    public static final Setting.OfLong VBV_BUFFER = Setting.ofLong(10021, "VBV buffer bits");
    /** Hundredths. */
    public static final Setting.OfLong RATE_FACTOR = Setting.ofLong(10023, "rate factor");
    /** [0] strength and [1] threshold, added to the tune's offsets (-6..6). */
    public static final Setting.OfLongArray DEBLOCK = Setting.ofLongArray(10036, "deblocking");
    /** 1 parameter sets before every key frame: what a viewer joining a live stream needs. */
    public static final Setting.OfLong REPEAT_HEADERS = Setting.ofLong(10043, "repeat parameter sets");
    /** The library's own log: -1 none, 0 errors, 1 warnings, 2 info, 3 debug. */
    public static final Setting.OfLong LOG_LEVEL = Setting.ofLong(10044, "log level");
    /** 0 off: no key frames of the encoder's own on content. */
    public static final Setting.OfLong SCENE_CUT = Setting.ofLong(10068, "scene-cut threshold");
    public static final Setting.OfLong B_FRAMES = Setting.ofLong(10069, "consecutive B-frames");
    public static final Setting.OfLong OPEN_GOP = Setting.ofLong(10073, "open GOP");
    public static final Setting.OfLong REFERENCE_FRAMES = Setting.ofLong(10074, "reference frames");
    public static final Setting.OfLong INTRA_REFRESH = Setting.ofLong(10098, "periodic intra refresh");

    private H264Settings() {
    }
}
