package com.corvane.cvx.transcoder.host;

import com.corvane.cvx.transcoder.H264Settings;

import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.Locale;

/** The reference host's command line. */
public final class HostOptions {
    public Path input;
    public Path outputDir = Path.of("out");
    public LadderPlan ladder;
    /** H.264 profile family: baseline (live, no B-frames), main, high. */
    public H264Settings.Profile profile = H264Settings.Profile.MAIN;
    public H264Settings.Preset preset = H264Settings.Preset.VERYFAST;
    public long audioBitrate = 128_000;
    /** Decoding threads: a host running one stream may use the machine's cores. */
    public int decoderThreads = Math.min(4, Runtime.getRuntime().availableProcessors());
    public Path watermark;
    /** The HLS folder for the H.264 rungs, or null to write them as FLV. */
    public Path hls;
    /** An HLS segment is cut at the first key frame at or after this length. */
    public long hlsSegmentMillis = 4000;
    public boolean noAudio;
    public boolean quiet;
    public boolean verbose;
    public boolean help;

    public static HostOptions parse(String[] args) throws HostException {
        HostOptions o = new HostOptions();
        List<String> renditions = new ArrayList<>();
        for (int i = 0; i < args.length; i++) {
            String a = args[i];
            switch (a) {
                case "-h", "--help" -> o.help = true;
                case "-o", "--output" -> o.outputDir = Path.of(value(args, ++i, a));
                case "-r", "--rendition" -> renditions.add(value(args, ++i, a));
                case "--preset" -> o.preset = preset(value(args, ++i, a));
                case "--profile" -> o.profile = profile(value(args, ++i, a));
                case "--decoder-threads" -> o.decoderThreads = threads(value(args, ++i, a));
                case "--audio-bitrate" -> o.audioBitrate = RenditionPlan.parseBitrate(value(args, ++i, a), a);
                case "--watermark" -> o.watermark = Path.of(value(args, ++i, a));
                case "--hls" -> o.hls = Path.of(value(args, ++i, a));
                case "--hls-segment" -> o.hlsSegmentMillis = segment(value(args, ++i, a));
                case "--no-audio" -> o.noAudio = true;
                case "-q", "--quiet" -> o.quiet = true;
                case "-v", "--verbose" -> o.verbose = true;
                default -> {
                    if (a.startsWith("-")) {
                        throw new HostException(HostException.USAGE, "unknown option " + a + " (see --help)");
                    }
                    if (o.input != null) {
                        throw new HostException(HostException.USAGE, "one input only; got " + o.input + " and " + a);
                    }
                    o.input = Path.of(a);
                }
            }
        }
        if (!o.help && o.input == null) {
            throw new HostException(HostException.USAGE, "no input given (see --help)");
        }
        o.ladder = LadderPlan.parse(renditions);
        if (o.hls != null && !o.ladder.hasH264()) {
            throw new HostException(HostException.USAGE, "--hls needs an h264 rung: HLS carries no VP8");
        }
        return o;
    }

    private static String value(String[] args, int i, String option) throws HostException {
        if (i >= args.length) {
            throw new HostException(HostException.USAGE, option + " needs a value");
        }
        return args[i];
    }

    private static H264Settings.Preset preset(String v) throws HostException {
        for (H264Settings.Preset p : H264Settings.Preset.values()) {
            if (p.name().equalsIgnoreCase(v) || Integer.toString(p.ordinal()).equals(v)) {
                return p;
            }
        }
        throw new HostException(HostException.USAGE, "unknown preset '" + v + "' (0..9 or ultrafast, superfast,"
                + " veryfast, faster, fast, medium, slow, slower, veryslow, placebo)");
    }

    private static int threads(String v) throws HostException {
        try {
            int n = Integer.parseInt(v);
            if (n >= 1 && n <= 16) {
                return n;
            }
        } catch (NumberFormatException e) {
            // reported below
        }
        throw new HostException(HostException.USAGE, "decoder threads '" + v + "' is not 1..16");
    }

    private static long segment(String v) throws HostException {
        try {
            double seconds = Double.parseDouble(v);
            if (seconds >= 0.5 && seconds <= 600) {
                return Math.round(seconds * 1000);
            }
        } catch (NumberFormatException e) {
            // reported below
        }
        throw new HostException(HostException.USAGE, "HLS segment length '" + v + "' is not 0.5..600 seconds");
    }

    private static H264Settings.Profile profile(String v) throws HostException {
        return switch (v.toLowerCase(Locale.ROOT)) {
            case "baseline", "0" -> H264Settings.Profile.BASELINE;
            case "main", "1" -> H264Settings.Profile.MAIN;
            case "high", "2" -> H264Settings.Profile.HIGH;
            default -> throw new HostException(HostException.USAGE, "unknown profile '" + v
                    + "' (baseline, main or high)");
        };
    }

    public static String usage() {
        return String.join("\n",
                "usage: ReferenceHost [options] INPUT.flv",
                "",
                "Transcodes an FLV input (H.264 or Sorenson Spark video; AAC, MP3, Speex or G.711 audio)",
                "into a ladder of renditions: H.264 renditions to FLV with AAC, VP8 renditions to WebM with Vorbis.",
                "",
                "  -o, --output DIR        folder for the outputs (default: out)",
                "  -r, --rendition RUNG    codec:WIDTHxHEIGHT:bitrate[:scalemode]; repeat for each rung.",
                "                          codec h264 or vp8; bitrate like 2500k; scalemode letterbox (default),",
                "                          crop or stretch. Default ladder: " + String.join(" ", LadderPlan.DEFAULT),
                "      --preset P          H.264 speed preset 0..9 or ultrafast..placebo (default: veryfast)",
                "      --profile P         H.264 profile baseline, main or high (default: main)",
                "      --audio-bitrate B   AAC and Vorbis bit rate (default: 128k)",
                "      --decoder-threads N video decoding threads 1..16 (default: cores, at most 4)",
                "      --watermark PNG     lay a picture (with its alpha) over every rendition, bottom right",
                "      --hls DIR           write the H.264 rungs as HLS into DIR: master.m3u8, and per rung",
                "                          WIDTHxHEIGHT/index.m3u8 with MPEG-TS segments (AAC audio inside);",
                "                          VP8 rungs stay WebM in the output folder",
                "      --hls-segment S     HLS segment length in seconds: cut at the first key frame at or",
                "                          after it (default: 4)",
                "      --no-audio          leave audio out",
                "  -q, --quiet             no progress line",
                "  -v, --verbose           print the library's progress log too",
                "  -h, --help              this text",
                "",
                "Exit codes: 0 done, 2 bad command line, 3 unusable input, 4 library failure, 5 output not written.");
    }
}
