package com.corvane.cvx.transcoder.host;

import static org.junit.jupiter.api.Assertions.*;

import com.corvane.cvx.transcoder.*;

import java.util.*;

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
}
