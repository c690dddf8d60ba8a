package com.corvane.cvx.transcoder.testing;

import static org.junit.jupiter.api.Assertions.assertEquals;

import java.io.IOException;
import java.nio.*;
import java.nio.charset.StandardCharsets;
import java.nio.file.*;
import java.util.*;
import java.util.concurrent.TimeUnit;

/** Debian's ffmpeg and ffprobe for the tests: fixtures made once per run, decodes, and measurements. */
public final class Media {
    private Media() {
    }

    public static Path tmpDir() throws IOException {
        Path dir = Path.of(System.getProperty("cvx.test.tmpdir", System.getProperty("java.io.tmpdir")));
        return Files.createDirectories(dir);
    }

    public static Path file(String name) throws IOException {
        return tmpDir().resolve(name);
    }

    /** A fresh, empty folder under the fixtures. */
    public static Path emptyFolder(String name) throws IOException {
        Path dir = file(name);
        if (Files.exists(dir)) {
            try (java.util.stream.Stream<Path> walk = Files.walk(dir)) {
                walk.sorted(java.util.Comparator.reverseOrder()).forEach(p -> p.toFile().delete());
            }
        }
        return Files.createDirectories(dir);
    }

    /** Runs a command and returns its standard output; a nonzero exit fails the test. */
    public static byte[] run(String... command) throws IOException, InterruptedException {
        Process process = new ProcessBuilder(command).redirectError(ProcessBuilder.Redirect.DISCARD).start();
        byte[] out = process.getInputStream().readAllBytes();
        if (!process.waitFor(120, TimeUnit.SECONDS) || process.exitValue() != 0) {
            throw new IOException("command failed: " + String.join(" ", command));
        }
        return out;
    }

    public static String text(String... command) throws IOException, InterruptedException {
        return new String(run(command), StandardCharsets.UTF_8);
    }

    /** An ffmpeg-made file, made once per run; its name carries a hash of the arguments. */
    public static Path fixture(String name, String... args) throws IOException, InterruptedException {
        int dot = name.lastIndexOf('.');
        Path file = file(name.substring(0, dot) + "-" + Integer.toHexString(Arrays.hashCode(args))
                + name.substring(dot));
        if (!Files.exists(file)) {
            List<String> command = new ArrayList<>(List.of("ffmpeg", "-y", "-v", "error"));
            command.addAll(List.of(args));
            command.add(file.toString());
            run(command.toArray(new String[0]));
        }
        return file;
    }

    /** `frames` of ffmpeg's test pattern as H.264 in FLV, with B-frames and a key frame a second. */
    public static Path h264Clip(String name, int width, int height, int frames)
            throws IOException, InterruptedException {
        return fixture(name + ".flv", "-f", "lavfi", "-i", "testsrc2=size=" + width + "x" + height + ":rate=25",
                "-frames:v", Integer.toString(frames), "-c:v", "libx264", "-preset", "veryfast", "-bf", "2", "-g",
                "25", "-pix_fmt", "yuv420p", "-f", "flv");
    }

    /** A lavfi audio source as G.711 bytes, A-law or mu-law, each sample frame `channels` bytes. */
    public static byte[] g711(String source, int channels, boolean alaw) throws IOException, InterruptedException {
        String format = alaw ? "alaw" : "mulaw";
        return Files.readAllBytes(fixture("audio." + format, "-f", "lavfi", "-i", source, "-ac",
                Integer.toString(channels), "-f", format));
    }

    /** Any file ffmpeg reads, as mono signed 16-bit samples at `rate`. */
    public static short[] pcm(Path file, int rate) throws IOException, InterruptedException {
        byte[] raw = run("ffmpeg", "-v", "error", "-i", file.toString(), "-f", "s16le", "-ac", "1", "-ar",
                Integer.toString(rate), "-");
        short[] samples = new short[raw.length / 2];
        ByteBuffer.wrap(raw).order(ByteOrder.LITTLE_ENDIAN).asShortBuffer().get(samples);
        return samples;
    }

    /** Frequency from the rising zero crossings over the middle half of the signal. */
    public static double frequency(short[] samples, int rate) {
        int first = -1;
        int last = -1;
        int crossings = 0;
        for (int i = samples.length / 4 + 1; i < samples.length * 3 / 4; i++) {
            if (samples[i - 1] < 0 && samples[i] >= 0) {
                crossings += first < 0 ? 0 : 1;
                first = first < 0 ? i : first;
                last = i;
            }
        }
        return crossings == 0 ? 0 : crossings * (double) rate / (last - first);
    }

    /** A file decoded to raw frames (yuv420p unless the filter ends in another format), one per decoded frame. */
    public static byte[] raw(Path file, String filter, String format) throws IOException, InterruptedException {
        List<String> command = new ArrayList<>(List.of("ffmpeg", "-v", "error", "-i", file.toString()));
        if (filter != null) {
            command.addAll(List.of("-vf", filter));
        }
        command.addAll(List.of("-fps_mode", "passthrough", "-f", "rawvideo", "-pix_fmt", format, "-"));
        return run(command.toArray(new String[0]));
    }

    public static byte[] raw420(Path file, String filter) throws IOException, InterruptedException {
        return raw(file, filter, "yuv420p");
    }

    /** PSNR of one plane over `length` bytes of two pictures, skipping every fourth byte with `skipAlpha`. */
    public static double psnr(byte[] a, int aAt, byte[] b, int bAt, int length, boolean skipAlpha) {
        double squared = 0;
        int count = 0;
        for (int i = 0; i < length; i++) {
            if (!skipAlpha || (i & 3) != 3) {
                double d = (a[aAt + i] & 0xFF) - (b[bAt + i] & 0xFF);
                squared += d * d;
                count++;
            }
        }
        return squared == 0 ? 99 : 10 * Math.log10(255.0 * 255.0 * count / squared);
    }

    /** PSNR of Y, U and V over the first `frames` pictures of two 4:2:0 sequences. */
    public static double[] psnr420(byte[] a, byte[] b, int width, int height, int frames) {
        int luma = width * height;
        int chroma = (width / 2) * (height / 2);
        int[] at = {0, luma, luma + chroma};
        int[] size = {luma, chroma, chroma};
        double[] out = new double[3];
        for (int p = 0; p < 3; p++) {
            byte[] pa = new byte[size[p] * frames];
            byte[] pb = new byte[size[p] * frames];
            for (int f = 0; f < frames; f++) {
                System.arraycopy(a, f * (luma + 2 * chroma) + at[p], pa, f * size[p], size[p]);
                System.arraycopy(b, f * (luma + 2 * chroma) + at[p], pb, f * size[p], size[p]);
            }
            out[p] = psnr(pa, 0, pb, 0, pa.length, false);
        }
        return out;
    }

    /** Mean of B, G and R over a BGRA picture. */
    public static double[] meanBgr(byte[] bgra) {
        double[] means = new double[3];
        for (int i = 0; i + 3 < bgra.length; i += 4) {
            for (int c = 0; c < 3; c++) {
                means[c] += (bgra[i + c] & 0xFF) * 4.0 / bgra.length;
            }
        }
        return means;
    }

    /** ffprobe's csv rows, without the empty lines and trailing separators it adds. */
    public static List<String[]> probe(Path file, String... options) throws Exception {
        List<String> command = new ArrayList<>(List.of("ffprobe", "-v", "error"));
        command.addAll(List.of(options));
        command.addAll(List.of("-of", "csv=p=0", file.toString()));
        return text(command.toArray(new String[0])).lines().map(l -> l.replaceAll(",+$", "").trim())
                .filter(l -> !l.isEmpty()).map(l -> l.split(",")).toList();
    }

    /** ffprobe's view of each stream of a file, by codec type, after decoding every frame. */
    public static Map<String, Map<String, String>> streams(Path file) throws Exception {
        String text = text("ffprobe", "-v", "error", "-count_frames", "-count_packets", "-show_entries",
                "stream=codec_type,codec_name,width,height,channels,nb_read_frames,nb_read_packets", "-of",
                "compact=nokey=0", file.toString());
        Map<String, Map<String, String>> out = new HashMap<>();
        for (String line : text.split("\n")) {
            Map<String, String> fields = new HashMap<>();
            for (String part : line.trim().split("\\|")) {
                int eq = part.indexOf('=');
                if (eq > 0) {
                    fields.put(part.substring(0, eq), part.substring(eq + 1));
                }
            }
            out.put(fields.get("codec_type"), fields);
        }
        return out;
    }

    /** ffmpeg's complaints while decoding the whole file; the callers allow none. */
    public static String warnings(Path file) throws Exception {
        Process p = new ProcessBuilder("ffmpeg", "-v", "warning", "-i", file.toString(), "-f", "null", "-")
                .redirectErrorStream(true).start();
        String text = new String(p.getInputStream().readAllBytes(), StandardCharsets.UTF_8);
        assertEquals(0, p.waitFor(), "ffmpeg decodes " + file.getFileName());
        return text.trim();
    }
}
