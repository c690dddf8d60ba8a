package com.corvane.cvx.transcoder.host;

import static org.junit.jupiter.api.Assertions.*;

import com.corvane.cvx.transcoder.*;
import com.corvane.cvx.transcoder.testing.Media;

import java.io.*;
import java.nio.file.*;
import java.util.*;
import java.util.stream.Stream;

import org.junit.jupiter.api.Test;

/** The HLS output's parts without the library: packet packing, playlist figures, live rewriting. */
class HlsPartsTest {
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
