package com.corvane.cvx.transcoder.model;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNotNull;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.corvane.cvx.transcoder.host.ReferenceHost;

import java.io.ByteArrayOutputStream;
import java.io.PrintStream;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.HashMap;
import java.util.List;
import java.util.Map;

import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;

/**
 * The reference host end to end: small FLV inputs of each input codec go
 * through the host in-process, and every output must open and decode in
 * ffmpeg without a warning, with the sizes, codecs and frame counts asked
 * for. Audio paths the library does not have yet are checked to be skipped
 * cleanly, with the video still written.
 */
class ReferenceHostTest extends NativeTestBase {
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

    /** A 2-second 320x240 FLV input with the given ffmpeg video and audio encoder arguments. */
    static Path input(String name, String video, String audio, int audioRate) throws Exception {
        Path file = MediaTools.tmpDir().resolve("host-in-" + name + ".flv");
        if (!Files.exists(file)) {
            List<String> cmd = new ArrayList<>(List.of("ffmpeg", "-y", "-v", "error", "-f", "lavfi", "-i",
                    "testsrc2=size=320x240:rate=25:duration=2", "-f", "lavfi", "-i",
                    "sine=frequency=440:duration=2:sample_rate=" + audioRate, "-g", "25"));
            cmd.addAll(List.of(video.split(" ")));
            cmd.addAll(List.of(audio.split(" ")));
            cmd.addAll(List.of("-ac", "1", "-f", "flv", file.toString()));
            MediaTools.run(cmd.toArray(new String[0]));
        }
        return file;
    }

    /** ffprobe's view of each stream of a file, by codec type, after decoding every frame. */
    static Map<String, Map<String, String>> streams(Path file) throws Exception {
        String text = new String(MediaTools.run("ffprobe", "-v", "error", "-count_frames", "-count_packets",
                "-show_entries", "stream=codec_type,codec_name,width,height,sample_rate,channels,nb_read_frames,"
                        + "nb_read_packets", "-of", "compact=nokey=0", file.toString()), StandardCharsets.UTF_8);
        Map<String, Map<String, String>> out = new HashMap<>();
        for (String line : text.split("\n")) {
            Map<String, String> fields = new HashMap<>();
            for (String part : line.trim().split("\\|")) {
                int eq = part.indexOf('=');
                if (eq > 0) {
                    fields.put(part.substring(0, eq), part.substring(eq + 1));
                }
            }
            if (fields.containsKey("codec_type")) {
                out.put(fields.get("codec_type"), fields);
            }
        }
        return out;
    }

    /** ffmpeg's complaints while decoding the whole file: none are allowed. */
    static String warnings(Path file) throws Exception {
        ProcessBuilder builder = new ProcessBuilder("ffmpeg", "-v", "warning", "-i", file.toString(), "-f", "null", "-");
        builder.redirectErrorStream(true);
        Process p = builder.start();
        String text = new String(p.getInputStream().readAllBytes(), StandardCharsets.UTF_8);
        assertEquals(0, p.waitFor(), "ffmpeg decodes " + file.getFileName());
        return text.trim();
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
        Path in = input(name, video.trim(), audio.trim(), rate);
        Path dir = MediaTools.tmpDir().resolve("host-out-" + name);
        Path png = MediaTools.tmpDir().resolve("host-white.png");
        MediaTools.run("ffmpeg", "-y", "-v", "error", "-f", "lavfi", "-i", "color=c=white:s=32x32", "-frames:v", "1",
                png.toString());
        Run run = host("-q", "-o", dir.toString(), "--watermark", png.toString(), "-r", "h264:320x240:400k",
                "-r", "vp8:160x120:150k:crop", in.toString());
        assertEquals(0, run.exitCode(), run.err());
        assertTrue(run.out().contains("rendition"), "a summary table: " + run.out());

        assertFalse(run.err().contains("audio skipped"), "audio " + audioCodec + " is transcoded: " + run.err());
        String[][] outputs = {
            {"host-in-" + name + "_320x240_h264.flv", "h264", "320", "240", "aac"},
            {"host-in-" + name + "_160x120_vp8.webm", "vp8", "160", "120", "vorbis"},
        };
        for (String[] o : outputs) {
            Path file = dir.resolve(o[0]);
            assertTrue(Files.size(file) > 1000, o[0] + " written");
            assertEquals("", warnings(file), o[0] + " plays without warnings");
            Map<String, Map<String, String>> s = streams(file);
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
            short[] pcm = MediaTools.decodeToPcm(file, 8000);
            assertTrue(pcm.length > 8000, o[0] + " audio samples " + pcm.length);
            assertEquals(440.0, MediaTools.dominantFrequency(pcm, 8000), 5.0, o[0] + " keeps the tone");
        }

        // The watermark: white in the bottom-right corner of the letterboxed rung,
        // 15% of its width at a 2% margin.
        byte[] gray = MediaTools.run("ffmpeg", "-v", "error", "-i", dir.resolve(outputs[0][0]).toString(),
                "-frames:v", "1", "-f", "rawvideo", "-pix_fmt", "gray", "-");
        int x = 320 - 6 - 24;
        int y = 240 - 6 - 24;
        assertTrue((gray[y * 320 + x] & 0xFF) > 225, "watermark pixel " + (gray[y * 320 + x] & 0xFF));
    }

    @Test
    void keyFramesAreAlignedAcrossTheH264Rungs() throws Exception {
        Path in = input("h264-alaw", "-c:v libx264 -bf 2", "-c:a pcm_alaw", 8000);
        Path dir = MediaTools.tmpDir().resolve("host-out-keys");
        Run run = host("-q", "-o", dir.toString(), "-r", "h264:320x240:400k", "-r", "h264:176x144:150k", in.toString());
        assertEquals(0, run.exitCode(), run.err());
        List<String> keys = new ArrayList<>();
        for (String name : List.of("host-in-h264-alaw_320x240_h264.flv", "host-in-h264-alaw_176x144_h264.flv")) {
            String text = new String(MediaTools.run("ffprobe", "-v", "error", "-select_streams", "v",
                    "-show_entries", "packet=pts,flags", "-of", "csv=p=0", dir.resolve(name).toString()),
                    StandardCharsets.UTF_8);
            StringBuilder k = new StringBuilder();
            for (String line : text.split("\n")) {
                if (line.contains("K")) {
                    k.append(line.split(",")[0]).append(' ');
                }
            }
            keys.add(k.toString());
        }
        assertEquals(keys.get(0), keys.get(1), "key frames at the same times");
        assertTrue(keys.get(0).trim().split(" ").length >= 2, "the source's second key frame is followed: " + keys);
    }

    @Test
    void userMistakesGiveOneClearLineAndAnExitCode() throws Exception {
        Run missing = host("-q", MediaTools.tmpDir().resolve("no-such-input.flv").toString());
        assertEquals(3, missing.exitCode());
        assertTrue(missing.err().startsWith("error: input not found"), missing.err());
        assertFalse(missing.err().contains("Exception") || missing.err().contains("\tat "), "no stack trace");

        Path notFlv = MediaTools.tmpDir().resolve("host-not-flv.flv");
        Files.writeString(notFlv, "this is not a video");
        Run garbage = host("-q", notFlv.toString());
        assertEquals(3, garbage.exitCode());
        assertTrue(garbage.err().contains("not an FLV file"), garbage.err());

        Path screen = MediaTools.tmpDir().resolve("host-in-screen.flv");
        MediaTools.run("ffmpeg", "-y", "-v", "error", "-f", "lavfi", "-i", "testsrc2=size=64x64:rate=5", "-frames:v",
                "3", "-c:v", "flashsv", "-f", "flv", screen.toString());
        Run unsupported = host("-q", "-o", MediaTools.tmpDir().resolve("host-out-screen").toString(),
                screen.toString());
        assertEquals(3, unsupported.exitCode());
        assertTrue(unsupported.err().contains("unsupported video codec: Screen Video"), unsupported.err());

        Run badRung = host("-r", "h265:1280x720:1M", screen.toString());
        assertEquals(2, badRung.exitCode());
        assertTrue(badRung.err().contains("unknown codec 'h265'"), badRung.err());
        assertEquals(2, host("--preset").exitCode());
        assertEquals(2, host().exitCode());
        Run help = host("--help");
        assertEquals(0, help.exitCode());
        assertTrue(help.out().contains("codec:WIDTHxHEIGHT:bitrate"));
    }
}
