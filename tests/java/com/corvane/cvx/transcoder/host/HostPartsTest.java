package com.corvane.cvx.transcoder.host;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.corvane.cvx.transcoder.PictureType;
import com.corvane.cvx.transcoder.VideoPacket;

import java.util.ArrayList;
import java.util.HashSet;
import java.util.List;
import java.util.Set;

import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.ValueSource;

/** The host's own arithmetic, without the library: ladder parsing, decode times, AAC configuration. */
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

    static VideoPacket packet(long time, int type) {
        return new VideoPacket(new byte[0], time, PictureType.values()[type - 1]);
    }

    /** Runs decode-order frame numbers (1 key, 2 P, 3 B) through the timeline at 40 ms a frame. */
    static List<long[]> times(int[] frames, int[] types) throws Exception {
        List<long[]> out = new ArrayList<>();
        DecodeTimeline timeline = new DecodeTimeline((p, pts, dts) -> out.add(new long[] {p.timecode(), pts, dts}));
        for (int i = 0; i < frames.length; i++) {
            timeline.add(packet(frames[i] * 40L, types[i]));
        }
        timeline.finish();
        return out;
    }

    @Test
    void decodeTimesRiseAndNeverPassThePresentationTimes() throws Exception {
        // Two B-frames at first, then a deeper group with a referenced B-frame
        // beyond the first window: the shift must cover it without bending
        // any presentation time.
        List<Integer> order = new ArrayList<>(List.of(0, 3, 1, 2, 6, 4, 5, 9, 7, 8, 12, 10, 11, 15, 13, 14, 18, 16,
                17, 21, 19, 20, 24, 22, 23, 27, 25, 26));
        List<Integer> types = new ArrayList<>(List.of(1, 2, 3, 3, 2, 3, 3, 2, 3, 3, 2, 3, 3, 2, 3, 3, 2, 3, 3, 2, 3, 3,
                2, 3, 3, 2, 3, 3));
        order.addAll(List.of(31, 29, 28, 30, 35, 33, 32, 34));
        types.addAll(List.of(2, 3, 3, 3, 2, 3, 3, 3));
        List<long[]> out = times(order.stream().mapToInt(Integer::intValue).toArray(),
                types.stream().mapToInt(Integer::intValue).toArray());
        assertEquals(order.size(), out.size());
        long shift = out.get(0)[1] - out.get(0)[0];
        assertEquals(80, shift, "two frames: B-frames may be references");
        Set<Long> presentations = new HashSet<>();
        long lastDecode = Long.MIN_VALUE;
        for (long[] t : out) {
            assertEquals(t[0] + shift, t[1], "presentation is the packet's time plus the one shift");
            assertTrue(t[2] > lastDecode, "decode times rise");
            assertTrue(t[2] <= t[1], "decoded no later than presented");
            assertTrue(presentations.add(t[1]), "no two frames at one time");
            lastDecode = t[2];
        }
    }

    @Test
    void streamsWithoutReorderingKeepTheirTimes() throws Exception {
        List<long[]> out = times(new int[] {0, 1, 2, 3}, new int[] {1, 2, 2, 2});
        for (long[] t : out) {
            assertEquals(t[0], t[1]);
            assertEquals(t[0], t[2]);
        }
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
        List<Long> ntsc = new ArrayList<>();
        for (int i = 0; i < 60; i++) {
            ntsc.add(Math.round(i * 1001 / 30.0));
        }
        java.util.Collections.shuffle(ntsc, new java.util.Random(3));
        assertEquals(29.97, InputProbe.estimateRate(ntsc), 1e-9);
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
}
