package com.corvane.cvx.transcoder.host;

import static org.junit.jupiter.api.Assertions.*;

import com.corvane.cvx.transcoder.testing.Media;

import java.io.*;
import java.nio.charset.StandardCharsets;
import java.nio.file.*;
import java.util.*;

import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;

/** The reference host end to end: every input codec to outputs that ffmpeg decodes without a warning. */
class ReferenceHostTest {
    static final int FRAMES = 50;

    /** What one run printed and answered. */
    record Run(int exitCode, String out, String err) {
    }

    static Run host(String... args) {
        ByteArrayOutputStream out = new ByteArrayOutputStream();
        ByteArrayOutputStream err = new ByteArrayOutputStream();
        int code = ReferenceHost.run(args, new PrintStream(out, true, StandardCharsets.UTF_8),
                new PrintStream(err, true, StandardCharsets.UTF_8));
        return new Run(code, out.toString(StandardCharsets.UTF_8), err.toString(StandardCharsets.UTF_8));
    }

    /** A 320x240 FLV input with the given ffmpeg video and audio encoder arguments, mono 440 Hz. */
    static Path input(String name, String video, String audio, int audioRate, int seconds) throws Exception {
        List<String> args = new ArrayList<>(List.of("-f", "lavfi", "-i", "testsrc2=size=320x240:rate=25:duration="
                + seconds, "-f", "lavfi", "-i", "sine=frequency=440:duration=" + seconds + ":sample_rate="
                + audioRate));
        args.addAll(List.of(video.split(" ")));
        args.addAll(List.of(audio.split(" ")));
        args.addAll(List.of("-ac", "1", "-f", "flv"));
        return Media.fixture("host-in-" + name + ".flv", args.toArray(new String[0]));
    }

    /** The name the host gives an output of `in`. */
    static String output(Path in, String rung) {
        String name = in.getFileName().toString();
        return name.substring(0, name.lastIndexOf('.')) + "_" + rung;
    }

    @ParameterizedTest(name = "{0}")
    @CsvSource({
        "h264-alaw,   -c:v libx264 -bf 2,  -c:a pcm_alaw,          8000,  7",
        "spark-mulaw, -c:v flv1,           -c:a pcm_mulaw,         8000,  8",
        "h264-aac,    -c:v libx264 -bf 2,  -c:a aac,               44100, 10",
        "spark-mp3,   -c:v flv1,           -c:a libmp3lame,        22050, 2",
        "h264-speex,  -c:v libx264 -bf 0,  -c:a libspeex,          16000, 11",
    })
    void everyInputCodecBecomesOutputsThatDecodeCleanly(String name, String video, String audio, int rate,
            int audioCodec) throws Exception {
        Path in = input(name, "-g 25 " + video.trim(), audio.trim(), rate, 2);
        Path dir = Media.file("host-out-" + name);
        Path png = Media.fixture("host-white.png", "-f", "lavfi", "-i", "color=c=white:s=32x32", "-frames:v", "1");
        Run run = host("-q", "-o", dir.toString(), "--watermark", png.toString(), "-r", "h264:320x240:400k",
                "-r", "vp8:160x120:150k:crop", in.toString());
        assertEquals(0, run.exitCode(), run.err());
        assertTrue(run.out().contains("rendition"), "a summary table: " + run.out());

        assertFalse(run.err().contains("audio skipped"), "audio " + audioCodec + " is transcoded: " + run.err());
        String[][] outputs = {
            {output(in, "320x240_h264.flv"), "h264", "320", "240", "aac"},
            {output(in, "160x120_vp8.webm"), "vp8", "160", "120", "vorbis"},
        };
        for (String[] o : outputs) {
            Path file = dir.resolve(o[0]);
            assertTrue(Files.size(file) > 1000, o[0] + " written");
            assertEquals("", Media.warnings(file), o[0] + " plays without warnings");
            Map<String, Map<String, String>> s = Media.streams(file);
            Map<String, String> v = s.get("video");
            assertEquals(o[1], v.get("codec_name"), o[0]);
            assertEquals(o[2], v.get("width"), o[0]);
            assertEquals(o[3], v.get("height"), o[0]);
            int frames = Integer.parseInt(v.get("nb_read_frames"));
            assertEquals(Integer.parseInt(v.get("nb_read_packets")), frames, o[0] + ": every packet decodes");
            // The host ends the stream: every input frame is in every output.
            assertEquals(FRAMES, frames, o[0] + " frames");
            Map<String, String> a = s.get("audio");
            assertNotNull(a, o[0] + " has audio");
            assertEquals(o[4], a.get("codec_name"), o[0]);
            assertEquals("1", a.get("channels"), o[0]);
            short[] pcm = Media.pcm(file, 8000);
            assertTrue(pcm.length > 8000, o[0] + " audio samples " + pcm.length);
            assertEquals(440.0, Media.frequency(pcm, 8000), 5.0, o[0] + " keeps the tone");
        }

        // The FLV writer: every frame a frame apart in presentation, decode times rising and never later.
        List<long[]> times = Media.probe(dir.resolve(outputs[0][0]), "-select_streams", "v", "-show_entries",
                "packet=pts,dts").stream().map(t -> new long[] {Long.parseLong(t[0]), Long.parseLong(t[1])}).toList();
        List<Long> presentation = times.stream().map(t -> t[0]).sorted().toList();
        for (int i = 0; i < times.size(); i++) {
            assertTrue((i == 0 || times.get(i)[1] > times.get(i - 1)[1]) && times.get(i)[1] <= times.get(i)[0],
                    "decode time of packet " + i);
            assertTrue(i == 0 || presentation.get(i) - presentation.get(i - 1) == 40, "times " + presentation);
        }

        // The watermark: white in the bottom-right corner of the letterboxed rung,
        // 15% of its width at a 2% margin.
        byte[] gray = Media.run("ffmpeg", "-v", "error", "-i", dir.resolve(outputs[0][0]).toString(),
                "-frames:v", "1", "-f", "rawvideo", "-pix_fmt", "gray", "-");
        int x = 320 - 6 - 24;
        int y = 240 - 6 - 24;
        assertTrue((gray[y * 320 + x] & 0xFF) > 225, "watermark pixel " + (gray[y * 320 + x] & 0xFF));
    }

    @Test
    void userMistakesGiveOneClearLineAndAnExitCode() throws Exception {
        Path notFlv = Media.file("host-not-flv.flv");
        Files.writeString(notFlv, "this is not a video");
        String screen = Media.fixture("host-in-screen.flv", "-f", "lavfi", "-i", "testsrc2=size=64x64:rate=5",
                "-frames:v", "3", "-c:v", "flashsv", "-f", "flv").toString();
        String out = Media.file("host-out-mistakes").toString();
        Object[][] mistakes = {
            {3, "error: input not found", new String[] {"-q", Media.file("no-such-input.flv").toString()}},
            {3, "not an FLV file", new String[] {"-q", notFlv.toString()}},
            {3, "unsupported video codec: Screen Video", new String[] {"-q", "-o", out, screen}},
            {2, "unknown codec 'h265'", new String[] {"-r", "h265:1280x720:1M", screen}},
            {2, "--hls needs an h264 rung", new String[] {"--hls", "x", "-r", "vp8:160x120:150k", "in.flv"}},
            {2, "HLS segment length '0.1'", new String[] {"--hls", "x", "--hls-segment", "0.1", "in.flv"}},
            {2, "", new String[] {"--preset"}},
            {2, "", new String[0]},
        };
        for (Object[] m : mistakes) {
            Run run = host((String[]) m[2]);
            assertEquals(m[0], run.exitCode(), String.join(" ", (String[]) m[2]));
            assertTrue(run.err().contains((String) m[1]), run.err());
            assertFalse(run.err().contains("Exception") || run.err().contains("\tat "), "no stack trace: " + run.err());
        }
        Run help = host("--help");
        assertEquals(0, help.exitCode());
        assertTrue(help.out().contains("codec:WIDTHxHEIGHT:bitrate"));
    }
}
