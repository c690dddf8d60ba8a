package com.corvane.cvx.transcoder.host;

import com.corvane.cvx.transcoder.ScaleMode;
import com.corvane.cvx.transcoder.VideoCodec;

import java.util.Locale;

/**
 * One rung of the ladder, written on the command line as
 * {@code codec:WIDTHxHEIGHT:bitrate[:scalemode]}, for example
 * {@code h264:1280x720:2500k:letterbox}. Codecs: h264 (to FLV with AAC) and
 * vp8 (to WebM with Vorbis). Bit rates take a k or M suffix. Scale modes:
 * letterbox (1), crop (4), stretch (3), or the library's number.
 */
public final class RenditionPlan {
    public static final int CODEC_H264 = 7;
    public static final int CODEC_VP8 = 8;

    public static final int SCALE_LETTERBOX = 1;
    public static final int SCALE_STRETCH = 3;
    public static final int SCALE_CROP = 4;

    private final int codec;
    private final int width;
    private final int height;
    private final long bitrate;
    private final int scaleMode;

    public RenditionPlan(int codec, int width, int height, long bitrate, int scaleMode) {
        this.codec = codec;
        this.width = width;
        this.height = height;
        this.bitrate = bitrate;
        this.scaleMode = scaleMode;
    }

    public static RenditionPlan parse(String text) throws HostException {
        String[] parts = text.trim().split(":");
        if (parts.length < 3 || parts.length > 4) {
            throw usage(text, "expected codec:WIDTHxHEIGHT:bitrate[:scalemode]");
        }
        int codec = switch (parts[0].toLowerCase(Locale.ROOT)) {
            case "h264", "avc" -> CODEC_H264;
            case "vp8" -> CODEC_VP8;
            default -> throw usage(text, "unknown codec '" + parts[0] + "' (h264 or vp8)");
        };
        String[] size = parts[1].toLowerCase(Locale.ROOT).split("x");
        if (size.length != 2) {
            throw usage(text, "size must be WIDTHxHEIGHT");
        }
        int width = positive(size[0], text, "width");
        int height = positive(size[1], text, "height");
        if (width % 2 != 0 || height % 2 != 0 || width > 8192 || height > 8192) {
            throw usage(text, "width and height must be even and at most 8192");
        }
        long bitrate = parseBitrate(parts[2], text);
        int scaleMode = parts.length == 4 ? parseScaleMode(parts[3], text) : SCALE_LETTERBOX;
        return new RenditionPlan(codec, width, height, bitrate, scaleMode);
    }

    /** "2500k", "2.5M" or plain bits per second. */
    static long parseBitrate(String value, String context) throws HostException {
        String v = value.trim().toLowerCase(Locale.ROOT);
        double scale = 1;
        if (v.endsWith("k")) {
            scale = 1_000;
            v = v.substring(0, v.length() - 1);
        } else if (v.endsWith("m")) {
            scale = 1_000_000;
            v = v.substring(0, v.length() - 1);
        }
        try {
            long bps = Math.round(Double.parseDouble(v) * scale);
            if (bps < 10_000 || bps > 100_000_000) {
                throw usage(context, "bit rate " + value + " is outside 10k..100M");
            }
            return bps;
        } catch (NumberFormatException e) {
            throw usage(context, "bit rate '" + value + "' is not a number");
        }
    }

    private static int parseScaleMode(String value, String context) throws HostException {
        return switch (value.toLowerCase(Locale.ROOT)) {
            case "letterbox", "fit" -> SCALE_LETTERBOX;
            case "crop", "fill" -> SCALE_CROP;
            case "stretch" -> SCALE_STRETCH;
            default -> {
                try {
                    yield Integer.parseInt(value);
                } catch (NumberFormatException e) {
                    throw usage(context, "scale mode '" + value + "' is not letterbox, crop, stretch or a number");
                }
            }
        };
    }

    private static int positive(String value, String context, String what) throws HostException {
        try {
            int v = Integer.parseInt(value);
            if (v > 0) {
                return v;
            }
        } catch (NumberFormatException e) {
            // reported below
        }
        throw usage(context, what + " '" + value + "' is not a positive number");
    }

    private static HostException usage(String text, String why) {
        return new HostException(HostException.USAGE, "bad rendition '" + text + "': " + why);
    }

    public int codec() {
        return codec;
    }

    public int width() {
        return width;
    }

    public int height() {
        return height;
    }

    public long bitrate() {
        return bitrate;
    }

    public int scaleMode() {
        return scaleMode;
    }

    public VideoCodec videoCodec() {
        return isH264() ? VideoCodec.H264 : VideoCodec.VP8;
    }

    /** The library fits by letterbox (1) or crop (4), and stretches for any other number. */
    public ScaleMode fit() {
        return switch (scaleMode) {
            case SCALE_LETTERBOX -> ScaleMode.LETTERBOX;
            case SCALE_CROP -> ScaleMode.CROP;
            default -> ScaleMode.STRETCH;
        };
    }

    public boolean isH264() {
        return codec == CODEC_H264;
    }

    public String codecName() {
        return isH264() ? "h264" : "vp8";
    }

    /** The container this rung is written in. */
    public String extension() {
        return isH264() ? "flv" : "webm";
    }

    public String scaleModeName() {
        return switch (scaleMode) {
            case SCALE_LETTERBOX -> "letterbox";
            case SCALE_CROP -> "crop";
            case SCALE_STRETCH -> "stretch";
            default -> Integer.toString(scaleMode);
        };
    }

    @Override
    public String toString() {
        return codecName() + ":" + width + "x" + height + ":" + (bitrate / 1000) + "k:" + scaleModeName();
    }
}
