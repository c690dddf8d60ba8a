package com.corvane.cvx.transcoder.host;

import static org.junit.jupiter.api.Assertions.*;

import com.corvane.cvx.transcoder.testing.Media;

import java.nio.file.*;
import java.util.*;
import java.util.regex.*;
import java.util.stream.Stream;

import org.junit.jupiter.api.Test;

/** The host's HLS output read back: codecs as listed, aligned IDR-led segments, true durations, no gaps. */
class HlsOutputTest {
    static final long TICKS = 90_000;
    static final long FRAME = TICKS / 25;
    /** 1024 samples at 44.1 kHz in 90 kHz ticks, rounded either way. */
    static final double AUDIO_FRAME = 1024 * 90_000.0 / 44_100;

    /** One segment as ffprobe sees it on its own. */
    record Segment(String uri, double listedSeconds, long bytes, List<Long> video, List<Boolean> keys,
            List<Long> audio, boolean startsDecodable) {
    }

    /** Tag attributes as in {@code BANDWIDTH=1,CODECS="a,b"}. */
    static Map<String, String> attributes(String line) {
        Map<String, String> out = new LinkedHashMap<>();
        Matcher m = Pattern.compile("([A-Z-]+)=(\"[^\"]*\"|[^,]*)").matcher(line.substring(line.indexOf(':') + 1));
        while (m.find()) {
            out.put(m.group(1), m.group(2).replace("\"", ""));
        }
        return out;
    }

    static Segment segment(Path folder, String uri, double seconds) throws Exception {
        Path file = folder.resolve(uri);
        List<Long> video = new ArrayList<>();
        List<Boolean> keys = new ArrayList<>();
        for (String[] row : Media.probe(file, "-select_streams", "v", "-show_entries", "packet=pts,flags")) {
            video.add(Long.parseLong(row[0]));
            keys.add(row[1].startsWith("K"));
        }
        List<Long> audio = new ArrayList<>();
        for (String[] row : Media.probe(file, "-select_streams", "a", "-show_entries", "packet=pts")) {
            audio.add(Long.parseLong(row[0]));
        }
        // Decoded from this file alone: the parameter sets are in it, and its first picture is an IDR.
        List<String[]> first = Media.probe(file, "-select_streams", "v", "-read_intervals", "%+#1", "-show_entries",
                "frame=key_frame,pict_type");
        boolean decodable = !first.isEmpty() && first.get(0)[0].equals("1") && first.get(0)[1].equals("I");
        return new Segment(uri, seconds, Files.size(file), video, keys, audio, decodable);
    }

    /** A media playlist's segments, after checking the tags of an ended event playlist. */
    static List<Segment> rung(Path playlist) throws Exception {
        List<String> lines = Files.readAllLines(playlist);
        assertEquals("#EXTM3U", lines.get(0));
        assertTrue(lines.contains("#EXT-X-PLAYLIST-TYPE:EVENT"), playlist + ": " + lines);
        assertTrue(lines.contains("#EXT-X-MEDIA-SEQUENCE:0"), playlist + ": " + lines);
        assertEquals("#EXT-X-ENDLIST", lines.get(lines.size() - 1), playlist + " ended");
        int target = -1;
        List<Segment> out = new ArrayList<>();
        for (int i = 0; i < lines.size(); i++) {
            String line = lines.get(i);
            if (line.startsWith("#EXT-X-TARGETDURATION:")) {
                target = Integer.parseInt(line.substring(line.indexOf(':') + 1));
            } else if (line.startsWith("#EXTINF:")) {
                double seconds = Double.parseDouble(line.substring(8, line.indexOf(',')));
                assertTrue(Math.round(seconds) <= target, "within the target duration: " + line);
                out.add(segment(playlist.getParent(), lines.get(++i), seconds));
            }
        }
        return out;
    }

    @Test
    void ladderBecomesHlsWithAlignedIndependentSegmentsThatFfmpegReads() throws Exception {
        // Key frames at uneven distances; with a 1.6 s target a segment is cut at the first key frame at
        // least 1.6 s after its start: 0 (0.8 too early), 1.6 exactly (2.0 and 3.0 too early), 4.4 (5.2 too
        // early).
        Path in = ReferenceHostTest.input("hls", "-c:v libx264 -bf 2 -g 1000 -sc_threshold 0 -force_key_frames"
                + " 0,0.8,1.6,2,3,4.4,5.2", "-c:a aac", 44100, 6);
        Path out = Media.file("hls-out");
        Path hls = Media.file("hls-out-hls");
        ReferenceHostTest.Run run = ReferenceHostTest.host("-q", "-o", out.toString(), "--hls", hls.toString(),
                "--hls-segment", "1.6", "-r", "h264:320x240:400k", "-r", "h264:160x120:150k", "-r",
                "vp8:160x120:150k", in.toString());
        assertEquals(0, run.exitCode(), run.err());
        assertTrue(run.out().contains("HLS master playlist " + hls.resolve("master.m3u8").toAbsolutePath()), run.out());

        // The master names the two H.264 rungs, not the VP8 one, which is a WebM file beside the folder.
        List<String> master = Files.readAllLines(hls.resolve("master.m3u8"));
        List<Map<String, String>> variants = new ArrayList<>();
        List<String> uris = new ArrayList<>();
        for (int i = 0; i < master.size(); i++) {
            if (master.get(i).startsWith("#EXT-X-STREAM-INF:")) {
                variants.add(attributes(master.get(i)));
                uris.add(master.get(++i));
            }
        }
        assertEquals(List.of("320x240/index.m3u8", "160x120/index.m3u8"), uris);
        assertEquals("vp8", Media.streams(out.resolve(ReferenceHostTest.output(in, "160x120_vp8.webm"))).get("video")
                .get("codec_name"));

        // ffprobe reads the master and finds each variant's streams as the master describes them.
        // (Each stream is listed twice, under its program and alone: by index, once.)
        Map<String, String[]> byIndex = new LinkedHashMap<>();
        for (String[] row : Media.probe(hls.resolve("master.m3u8"), "-show_entries",
                "stream=index,codec_name,profile,level,width,height:stream_tags=variant_bitrate")) {
            byIndex.put(row[0], java.util.Arrays.copyOfRange(row, 1, row.length));
        }
        List<String[]> streams = new ArrayList<>(byIndex.values());
        assertEquals(4, streams.size(), "video and audio of two variants");
        Map<String, Integer> profileIdc = Map.of("Constrained Baseline", 66, "Baseline", 66, "Main", 77, "High", 100);
        for (int v = 0; v < 2; v++) {
            String[] video = streams.get(2 * v);
            String[] audio = streams.get(2 * v + 1);
            Map<String, String> a = variants.get(v);
            String context = uris.get(v) + " " + String.join(",", video);
            assertEquals("h264", video[0], context);
            assertEquals(a.get("RESOLUTION"), video[2] + "x" + video[3], context);
            String codecs = String.format(Locale.ROOT, "avc1.%02x", profileIdc.get(video[1]));
            assertTrue(a.get("CODECS").startsWith(codecs), a + " " + context);
            assertEquals(Integer.parseInt(video[4]), Integer.parseInt(a.get("CODECS").substring(9, 11), 16),
                    "level in " + a);
            assertEquals("aac", audio[0]);
            assertEquals("LC", audio[1]);
            assertTrue(a.get("CODECS").endsWith(",mp4a.40.2"), a.toString());
            assertEquals(a.get("BANDWIDTH"), video[video.length - 1], "variant bit rate");
        }

        List<List<Long>> starts = new ArrayList<>();
        for (int v = 0; v < 2; v++) {
            Path playlist = hls.resolve(uris.get(v));
            List<Long> video = new ArrayList<>();
            List<Long> audio = new ArrayList<>();
            List<Long> rungStarts = new ArrayList<>();
            long bytes = 0;
            double seconds = 0;
            for (Segment s : rung(playlist)) {
                String context = playlist + " " + s.uri();
                assertTrue(s.keys().get(0) && s.startsDecodable(), context + " opens with an IDR picture");
                long first = s.video().stream().min(Long::compare).orElseThrow();
                long end = s.video().stream().max(Long::compare).orElseThrow() + FRAME;
                assertEquals(first, (long) s.video().get(0), context + ": nothing shown before the key frame");
                assertEquals(s.listedSeconds() * TICKS, end - first, FRAME, context + ": listed duration");
                rungStarts.add(first);
                video.addAll(s.video());
                audio.addAll(s.audio());
                bytes += s.bytes();
                seconds += s.listedSeconds();
            }
            // Presentation times run on from segment to segment, one frame apart; audio frames likewise. Every
            // input frame reaches every rung, the last segment too.
            video.sort(Long::compare);
            assertEquals(150, video.size(), playlist + ": every frame");
            for (int i = 1; i < video.size(); i++) {
                assertEquals(FRAME, video.get(i) - video.get(i - 1), playlist + " video frame " + i);
            }
            for (int i = 1; i < audio.size(); i++) {
                assertEquals(AUDIO_FRAME, audio.get(i) - audio.get(i - 1), 1.0, playlist + " audio frame " + i);
            }
            assertEquals(video.get(0), audio.get(0), 2 * FRAME, "audio starts with the video");
            // Cut at the first key frame at or after the target, at the same instants in every rung.
            assertEquals(List.of(0L, 16 * TICKS / 10, 44 * TICKS / 10), rungStarts.stream()
                    .map(t -> t - rungStarts.get(0)).toList(), playlist + ": segment starts");
            starts.add(rungStarts);
            Map<String, String> a = variants.get(v);
            assertEquals(bytes * 8 / seconds, Double.parseDouble(a.get("AVERAGE-BANDWIDTH")), bytes * 8 / seconds / 100,
                    "average bit rate of " + playlist);
            assertTrue(Long.parseLong(a.get("BANDWIDTH")) >= Long.parseLong(a.get("AVERAGE-BANDWIDTH")), a.toString());

            // The whole variant plays without a complaint, with its audio.
            assertEquals("", Media.warnings(playlist), playlist + " plays cleanly");
            assertEquals(440.0, Media.frequency(Media.pcm(playlist, 8000), 8000), 5.0, playlist + " keeps the tone");
        }
        assertEquals(starts.get(0), starts.get(1), "every rung switches at the same instants");
        try (Stream<Path> files = Files.walk(hls)) {
            assertFalse(files.anyMatch(f -> f.toString().endsWith(".tmp")), "no half-written playlists");
        }
    }
}
