package com.corvane.cvx.transcoder.host;

import static org.junit.jupiter.api.Assertions.*;

import com.corvane.cvx.transcoder.*;
import com.corvane.cvx.transcoder.testing.Media;

import java.io.*;
import java.nio.file.*;
import java.util.*;
import java.util.stream.Stream;

import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.ValueSource;

/** The host's own parts without the library: ladder parsing, decode times, AAC, EBML, HLS packing and playlists. */
class HostPartsTest {
    @Test
    void renditionsParseWithTheirDefaultsAndUnits() throws Exception {
        RenditionPlan r = RenditionPlan.parse("h264:1280x720:2.5M");
        assertEquals(RenditionPlan.CODEC_H264, r.codec());
        assertEquals(2_500_000, r.bitrate());
        assertEquals(RenditionPlan.SCALE_LETTERBOX, r.scaleMode());
        RenditionPlan v = RenditionPlan.parse("VP8:640x360:700k:crop");
        assertEquals(RenditionPlan.CODEC_VP8, v.codec());
        assertEquals(RenditionPlan.SCALE_CROP, v.scaleMode());
        assertEquals("webm", v.extension());
        assertEquals(3, RenditionPlan.parse("h264:64x64:50000:3").scaleMode());

        LadderPlan ladder = LadderPlan.defaults();
        assertEquals(4, ladder.renditions().size());
        assertEquals(3, ladder.renditions().stream().filter(RenditionPlan::isH264).count());
        assertEquals(640, ladder.renditions().get(3).width());
    }

    @ParameterizedTest
    @ValueSource(strings = {"h264:1280x720", "mpeg2:1280x720:1M", "h264:1281x720:1M", "h264:0x720:1M",
        "h264:1280*720:1M", "h264:1280x720:fast", "h264:1280x720:5", "vp8:640x360:1M:zoom"})
    void badRenditionsAreUsageErrors(String text) {
        HostException e = assertThrows(HostException.class, () -> RenditionPlan.parse(text));
        assertEquals(HostException.USAGE, e.exitCode());
        assertTrue(e.getMessage().startsWith("bad rendition '" + text + "'"), e.getMessage());
    }

    /** Decode-order frame numbers at 40 ms (later than all before: P, else B) give times the player can use. */
    static void expectTimes(int[] order, long shift) throws Exception {
        List<long[]> out = new ArrayList<>();
        DecodeTimeline timeline = new DecodeTimeline((p, pts, dts) -> out.add(new long[] {p.timecode(), pts, dts}));
        int latest = -1;
        for (int frame : order) {
            PictureType type = latest < 0 ? PictureType.KEY : frame > latest ? PictureType.PREDICTED
                    : PictureType.BIDIRECTIONAL;
            latest = Math.max(latest, frame);
            timeline.add(new VideoPacket(new byte[0], frame * 40L, type));
        }
        timeline.finish();
        assertEquals(order.length, out.size());
        Set<Long> presentations = new HashSet<>();
        long lastDecode = Long.MIN_VALUE;
        for (long[] t : out) {
            assertEquals(t[0] + shift, t[1], "presentation is the packet's time plus the one shift");
            assertTrue(t[2] > lastDecode && t[2] <= t[1], "decode times rise, and never pass presentation");
            assertTrue(presentations.add(t[1]), "no two frames at one time");
            lastDecode = t[2];
        }
    }

    @Test
    void decodeTimesRiseAndNeverPassThePresentationTimes() throws Exception {
        // Two B-frames at first, then a deeper group with a referenced B-frame beyond the first window: the
        // shift must cover it, two frames, without bending any presentation time.
        expectTimes(new int[] {0, 3, 1, 2, 6, 4, 5, 9, 7, 8, 12, 10, 11, 15, 13, 14, 18, 16, 17, 21, 19, 20, 24, 22,
            23, 27, 25, 26, 31, 29, 28, 30, 35, 33, 32, 34}, 80);
        expectTimes(new int[] {0, 1, 2, 3}, 0);
    }

    @Test
    void aacConfigurationCarriesTypeRateAndChannels() {
        assertArrayEquals(new byte[] {0x12, 0x10}, AudioFormat.aac(44100, 2).config());
        assertArrayEquals(new byte[] {0x11, (byte) 0x90}, AudioFormat.aac(48000, 2).config());
        assertArrayEquals(new byte[] {0x15, (byte) 0x88}, AudioFormat.aac(8000, 1).config());
        assertThrows(IllegalArgumentException.class, () -> AudioFormat.aac(44000, 2));
    }

    @Test
    void frameRatesAreEstimatedFromMillisecondTimes() {
        // Rates whose frame times round to whole milliseconds unevenly; a gap in each (a lost frame).
        for (double rate : new double[] {30, 29.97, 60, 59.94, 23.976, 24, 12.5}) {
            List<Long> times = new ArrayList<>();
            for (int i = 0; i < 60; i++) {
                if (i != 17) {
                    times.add(Math.round(1000 + i * 1000 / rate));
                }
            }
            java.util.Collections.shuffle(times, new java.util.Random(3));
            assertEquals(rate, InputProbe.estimateRate(times), 1e-9, "at " + rate + " fps");
        }
        assertEquals(25.0, InputProbe.estimateRate(List.of(0L, 40L, 80L, 120L)), 1e-9);
        assertEquals(25.0, InputProbe.estimateRate(List.of(0L)), 1e-9, "too few frames: the default");
    }

    @Test
    void ebmlSizesTakeTheFewestBytes() {
        java.io.ByteArrayOutputStream out = new java.io.ByteArrayOutputStream();
        Ebml.size(out, 126);
        Ebml.size(out, 127);
        Ebml.size(out, 300);
        assertArrayEquals(new byte[] {(byte) 0xFE, 0x40, 0x7F, 0x41, 0x2C}, out.toByteArray());
        byte[] laced = Ebml.xiphLaced(List.of(new byte[30], new byte[300], new byte[5]));
        assertArrayEquals(new byte[] {2, 30, (byte) 255, 45}, java.util.Arrays.copyOf(laced, 4));
        assertEquals(4 + 335, laced.length);
    }

    @Test
    void everyAudioFrameComesBackWholeWhateverItsSizeAgainstThePacketBoundaries() throws Exception {
        // A PES of an AAC frame is 21 bytes of headers and the frame: these sizes end a PES one byte short
        // of a packet, on it, one past it (the one-byte adaptation field, none, a nearly empty packet),
        // and the same around two packets.
        List<Integer> sizes = new ArrayList<>(List.of(1, 600));
        for (int d = -2; d <= 2; d++) {
            sizes.add(184 - 21 + d);
            sizes.add(2 * 184 - 21 + d);
        }
        Path file = Media.file("hls-parts-audio.ts");
        TsMuxer muxer = new TsMuxer(AudioFormat.aac(44100, 1));
        try (OutputStream out = Files.newOutputStream(file)) {
            muxer.tables(out);
            for (int i = 0; i < sizes.size(); i++) {
                byte[] frame = new byte[sizes.get(i)];
                java.util.Arrays.fill(frame, (byte) 0x5A);
                long written = muxer.audio(out, frame, 90_000 + i * 2090L);
                assertEquals(0, written % TsMuxer.PACKET_SIZE, "whole packets");
            }
        }
        List<String> lines = Media.probe(file, "-show_entries", "packet=size,pts").stream()
                .map(row -> String.join(",", row)).toList();
        assertEquals(sizes.size(), lines.size(), lines.toString());
        for (int i = 0; i < sizes.size(); i++) {
            // The ADTS header stays with the frame.
            assertEquals((90_000 + i * 2090L) + "," + (sizes.get(i) + 7), lines.get(i), "frame " + i);
        }
    }

    @Test
    void playlistFiguresFollowTheSegments() {
        // target 4 s: the peak looks at runs of 2 to 6 seconds, so the short last segment counts only
        // together with the one before it.
        HlsMediaPlaylist p = new HlsMediaPlaylist(4000);
        p.add(new HlsMediaPlaylist.Segment("a.ts", 4000, 500_000));
        p.add(new HlsMediaPlaylist.Segment("b.ts", 4000, 1_000_000));
        p.add(new HlsMediaPlaylist.Segment("c.ts", 400, 400_000));
        assertEquals(4, p.targetDuration());
        assertEquals(Math.round(1_400_000 * 8000.0 / 4400), p.peakBitrate());
        assertEquals(Math.round(1_900_000 * 8000.0 / 8400), p.averageBitrate());
        // A key frame gap longer than the target lengthens the segment, and the target duration covers it.
        p.add(new HlsMediaPlaylist.Segment("d.ts", 6520, 100_000));
        assertEquals(7, p.targetDuration());
        assertEquals("6.520", HlsMediaPlaylist.seconds(6520));
        assertEquals("0.040", HlsMediaPlaylist.seconds(40));
        HlsMediaPlaylist shortOnly = new HlsMediaPlaylist(4000);
        shortOnly.add(new HlsMediaPlaylist.Segment("a.ts", 1000, 100_000));
        assertEquals(shortOnly.averageBitrate(), shortOnly.peakBitrate(), "no run long enough: the average");
    }

    /** A length-prefixed access unit: a key frame carries SPS (Main, level 3.0) and PPS. */
    static byte[] accessUnit(boolean key, int size) {
        ByteArrayOutputStream out = new ByteArrayOutputStream();
        List<byte[]> units = new ArrayList<>();
        units.add(new byte[] {0x09, (byte) (key ? 0x10 : 0x30)});
        if (key) {
            units.add(new byte[] {0x67, 0x4D, 0x40, 0x1E, (byte) 0xEC});
            units.add(new byte[] {0x68, (byte) 0xEB, (byte) 0xE3, (byte) 0xCB});
        }
        byte[] slice = new byte[size];
        slice[0] = (byte) (key ? 0x65 : 0x41);
        units.add(slice);
        for (byte[] u : units) {
            out.writeBytes(new byte[] {0, 0, (byte) (u.length >> 8), (byte) u.length});
            out.writeBytes(u);
        }
        return out.toByteArray();
    }

    @Test
    void playlistsAreRewrittenAsSegmentsCompleteAndEndedAtTheClose() throws Exception {
        Path dir = Media.emptyFolder("hls-parts-live");
        HlsLadder ladder = new HlsLadder(dir, 1000);
        HlsWriter rung = ladder.rung("320x240", 320, 240, 25.0, AudioFormat.aac(48000, 2), 0);
        Path playlist = dir.resolve("320x240").resolve(HlsWriter.PLAYLIST);
        // 4 s at 25 fps, key frames every 0.6 s: cuts at 0, 1.2, 2.4, 3.6; 1024-sample AAC frames beside it.
        long audioPosition = 0;
        Set<String> seen = new LinkedHashSet<>();
        for (int frame = 0; frame < 100; frame++) {
            long time = frame * 40L;
            boolean key = frame % 15 == 0;
            rung.writeVideo(new VideoPacket(accessUnit(key, 300 + frame), time, key ? PictureType.KEY
                    : PictureType.PREDICTED));
            for (; audioPosition * 1000 / 48000 < time + 40; audioPosition += 1024) {
                rung.writeAudio(new AudioPacket(new byte[200], audioPosition, 48000, 2));
            }
            if (Files.exists(playlist)) {
                String text = Files.readString(playlist);
                assertTrue(text.contains("#EXT-X-PLAYLIST-TYPE:EVENT\n"), text);
                assertFalse(text.contains("#EXT-X-ENDLIST"), "still running: " + text);
                assertTrue(Files.exists(ladder.master()), "the master is out with the first segments");
                seen.add(text);
            }
        }
        assertTrue(seen.size() >= 2, "the playlist grew while the stream ran: " + seen);
        rung.close();
        String text = Files.readString(playlist);
        assertEquals(String.join("\n", "#EXTM3U", "#EXT-X-VERSION:3", "#EXT-X-TARGETDURATION:1",
                "#EXT-X-MEDIA-SEQUENCE:0", "#EXT-X-PLAYLIST-TYPE:EVENT", "#EXT-X-INDEPENDENT-SEGMENTS",
                "#EXTINF:1.200,", "segment-00000.ts", "#EXTINF:1.200,", "segment-00001.ts",
                "#EXTINF:1.200,", "segment-00002.ts", "#EXTINF:0.400,", "segment-00003.ts", "#EXT-X-ENDLIST", ""),
                text);
        String master = Files.readString(ladder.master());
        assertTrue(master.contains("RESOLUTION=320x240,FRAME-RATE=25.000,CODECS=\"avc1.4d401e,mp4a.40.2\"\n"
                + "320x240/index.m3u8\n"), master);
        try (Stream<Path> files = Files.walk(dir)) {
            assertEquals(List.of(), files.filter(f -> f.toString().endsWith(".tmp")).toList(), "no half-written files");
        }
    }
}
