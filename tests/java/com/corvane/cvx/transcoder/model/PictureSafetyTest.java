package com.corvane.cvx.transcoder.model;

import static com.corvane.cvx.transcoder.model.TranscoderSessionNative.*;
import static org.junit.jupiter.api.Assertions.*;

import com.corvane.cvx.transcoder.testing.*;

import java.nio.file.Path;
import java.util.List;

import org.junit.jupiter.api.Test;

/** Hostile sizes, ratios, codes, counts, rectangles and overlays on the picture path: a failure or a picture. */
class PictureSafetyTest extends NativeTestBase {
    static final long UYVY = 0x59565955L;
    static final long XYZ12 = 0x0C5A5958L;
    static final int SPARK = 2;
    /** Means of a scaled picture stay this close to the source's (8-bit levels). */
    static final double MEAN_TOLERANCE = 12.0;

    /** Feeds an FLV file's video into decoder buffer 0 until a picture is in it. */
    void decodeOnePicture(Path flv) throws Exception {
        Containers.Source clip = Containers.flv(flv, true);
        if (clip.config() != null) {
            assertEquals(0L, lib.videoDecoderDecodeCodecConfig(session, clip.config(), 0, clip.config().length));
        }
        boolean[] got = {false};
        for (int i = 0; !got[0]; i++) {
            addFrame(session, clip.frames().get(i));
            decodeAll(session, flags -> got[0] = true);
        }
    }

    void startDecoder(int codec, Path flv) throws Exception {
        videoDecoder(session, codec, 0, 1);
        decodeOnePicture(flv);
    }

    static void assertMeansClose(double[] expected, byte[] bgra, String what) {
        double[] actual = Media.meanBgr(bgra);
        for (int c = 0; c < 3; c++) {
            assertEquals(expected[c], actual[c], MEAN_TOLERANCE, what + ", channel " + c);
        }
    }

    boolean logHasFault(String words) {
        return faults().stream().anyMatch(s -> s.contains(words));
    }

    @Test
    void extremeRatiosScaleInsteadOfCrashing() throws Exception {
        startDecoder(H264, Media.h264Clip("safety-1080p", 1920, 1080, 8));
        double[] source = Media.meanBgr(read(-1, 0, 0, 0).bytes);
        assertEquals(0L, lib.videoEncoderBufferSetsCreate(session, 1));
        assertEquals(0L, rendition(session, 640, 360, 3, FOURCC_I420));
        assertEquals(1L, rendition(session, 8, 8, 3, FOURCC_BGRA));
        assertEquals(0L, lib.videoDecoderTransferFrame(session, 0, 0));

        assertMeansClose(source, read(0, 1, 0, 0).bytes, "8x8 BGRA rendition of 1080p");
        // Widths up to 5 and heights up to 2 from 640x360, and from 1080p.
        int[][] sizes = {{4, 4}, {1, 1}, {5, 2}, {2, 5}, {1, 360}, {640, 1}, {3, 2}};
        for (int[] s : sizes) {
            String what = s[0] + "x" + s[1];
            TranscoderVideoFrame small = read(0, 0, s[0], s[1]);
            assertEquals(s[0] * s[1] * 4, small.bytes.length, what);
            assertMeansClose(source, small.bytes, "640x360 read at " + what);
            assertMeansClose(source, read(-1, 0, s[0], s[1]).bytes, "1080p read at " + what);
        }
        // Past the limits nothing is read and the object is left as it was; a negative size asks for the own.
        for (int[] s : new int[][] {{16385, 16}, {Integer.MAX_VALUE, 2}, {16384, 16384}}) {
            TranscoderVideoFrame frame = read(-1, 0, s[0], s[1]);
            assertEquals(List.of(s[0], true), List.of(frame.width, frame.bytes == null), s[0] + "x" + s[1]);
        }
        assertEquals(1920, read(-1, 0, -5, -5).width);
    }

    @Test
    void overlaysScaledIntoNarrowAreas() throws Exception {
        startDecoder(H264, Media.h264Clip("safety-320", 320, 240, 8));
        assertEquals(0L, lib.videoEncoderBufferSetsCreate(session, 1));
        assertEquals(0L, rendition(session, 320, 240, 3, FOURCC_I420));
        // 1000x40 UYVY, all white (Y 235, U and V 128), into a 4x40 area.
        assertEquals(0L, lib.videoDecoderBufferSetOverlayVideoFrame(session, 1,
                overlay(UYVY, 1000, 40, new byte[] {(byte) 128, (byte) 235}, 100, 100, 4, 40, TOP_LEFT)));
        // Half-transparent white, 64x48 into 16x8: four times narrower, six
        // times lower, a reduction the image library asserted on.
        assertEquals(0L, lib.videoEncoderBufferSetOverlayVideoFrame(session, 0, 1,
                overlay(BGRA, 64, 48, new byte[] {-1, -1, -1, (byte) 128}, 200, 100, 16, 8, TOP_LEFT)));
        assertEquals(0L, lib.videoDecoderTransferFrame(session, 0, 0));
        byte[] bgra = read(0, 0, 0, 0).bytes;
        expectChannels(crop(bgra, 320, 200, 103, 16, 1), v -> v >= 120, "veiled pixels");
        expectChannels(crop(bgra, 320, 100, 100, 4, 40), v -> v > 230, "overlay pixels");
    }

    @Test
    void xyz12LetterboxRenditionsOfASparkPicture() throws Exception {
        startDecoder(SPARK, VideoCodecsTest.clip("spark"));
        double[] source = Media.meanBgr(read(-1, 0, 0, 0).bytes);
        assertEquals(0L, lib.videoEncoderBufferSetsCreate(session, 2));
        assertEquals(0L, rendition(session, 160, 96, 1, XYZ12));
        for (int round = 0; round < 2; round++) {
            for (int set = 0; set < 2; set++) {
                assertEquals(0L, lib.videoDecoderTransferFrame(session, 0, set));
            }
        }
        // 320x240 into 160x96: the picture is 128 columns wide at column 16, with black bars on both sides.
        for (int set = 0; set < 2; set++) {
            byte[] bgra = read(set, 0, 0, 0).bytes;
            assertEquals(160 * 96 * 4, bgra.length);
            expectChannels(crop(bgra, 160, 0, 0, 16, 96), v -> v < 8, "left bar of set " + set);
            expectChannels(crop(bgra, 160, 144, 0, 16, 96), v -> v < 8, "right bar of set " + set);
            assertMeansClose(source, crop(bgra, 160, 16, 0, 128, 96), "XYZ12 rendition of set " + set);
        }
    }

    @Test
    void countsSizesAndCodesAreBoundedAndTheSessionGoesOn() throws Exception {
        assertEquals(0L, lib.videoDecoderCreate(session, H264, 0));
        for (long count : new long[] {0xFFFFFFFFL, 1_000_000L, 1025L}) {
            assertEquals(FAILURE, lib.videoDecoderBuffersCreate(session, count), "decoder frames " + count);
            assertEquals(FAILURE, lib.videoEncoderBufferSetsCreate(session, count), "sets " + count);
        }
        assertTrue(logHasFault("limit"), "a refused count is logged as a fault");
        assertEquals(0L, lib.videoDecoderBuffersCreate(session, 1));
        assertEquals(0L, lib.videoEncoderBufferSetsCreate(session, 2));
        assertEquals(0L, lib.videoDecoderInitialize(session));
        decodeOnePicture(Media.h264Clip("safety-320", 320, 240, 8));
        long[][] refused = {{0, 48, FOURCC_I420}, {64, 0, FOURCC_I420}, {0xFFFFFFFFL, 48, FOURCC_I420},
            {16385, 16, FOURCC_BGRA}, {16384, 16384, FOURCC_BGRA}, {64, 48, 0x36315659L /* YV16 */},
            {64, 48, 0x34363248L /* H264 */}, {64, 48, 0x12345678L}, {64, 48, 0x30313276L /* v210 */}};
        for (long[] r : refused) {
            assertEquals(FAILURE, lib.videoEncoderBufferAdd(session, r[0], r[1], 3, r[2], null),
                    r[0] + "x" + r[1] + " code " + Long.toHexString(r[2]));
        }
        assertTrue(logHasFault("VideoEncoderBufferAdd"), "refusals are logged as faults");
        // Nothing was added: the first good rendition is item 0.
        assertEquals(0L, rendition(session, 64, 48, 1, FOURCC_YV12));
        assertEquals(1L, rendition(session, 16384, 2, 3, FOURCC_I420));
        assertEquals(2L, rendition(session, 1, 1, 3, XYZ12));
        for (int i = 3; i < 64; i++) {
            assertEquals(i, rendition(session, 2, 2, 3, FOURCC_I420), "rendition " + i);
        }
        assertEquals(FAILURE, -rendition(session, 2, 2, 3, FOURCC_I420), "one rendition past the limit");
        for (int set = 0; set < 2; set++) {
            assertEquals(0L, lib.videoDecoderTransferFrame(session, 0, set));
        }
        assertMeansClose(Media.meanBgr(read(-1, 0, 64, 48).bytes), read(1, 0, 0, 0).bytes,
                "the first rendition after refused counts");
    }

    @Test
    void aSessionsPictureMemoryIsBounded() {
        // 16384 x 4096 BGRA is 256 MiB: 1 GiB a rendition over four sets,
        // and four of them are the 4 GiB a session may hold.
        assertEquals(0L, lib.videoEncoderBufferSetsCreate(session, 4));
        for (int i = 0; i < 4; i++) {
            assertEquals(i, rendition(session, 16384, 4096, 3, FOURCC_BGRA), "rendition " + i);
        }
        assertEquals(FAILURE, -rendition(session, 2, 2, 3, FOURCC_I420));
        assertTrue(logHasFault("no picture memory"), "the refusal is logged as a fault");
    }

    @Test
    void wrappingRectanglesAndLyingOverlaysDrawNothingWrong() throws Exception {
        startDecoder(H264, Media.h264Clip("safety-320", 320, 240, 8));
        assertEquals(0L, lib.videoEncoderBufferSetsCreate(session, 1));
        // Letterbox, stretch and crop to fill, each in another code.
        assertEquals(0L, rendition(session, 96, 64, 1, XYZ12));
        assertEquals(1L, rendition(session, 96, 64, 3, FOURCC_I420));
        assertEquals(2L, rendition(session, 96, 64, 4, UYVY));
        long[][] rectangles = {
            {0x80000000L, 0x80000000L, 0x7FFFFFFFL, 0x80000001L},
            {-1, -1, -1, -1},
            {Long.MIN_VALUE, Long.MAX_VALUE, 0, 0},
            {319, 239, 0x7FFFFFFFL, 0x7FFFFFFFL},
            {160, 0, 160, 240},
        };
        byte[] junk = new byte[4096];
        new java.util.Random(11).nextBytes(junk);
        long[] codes = {FOURCC_BGRA, UYVY, XYZ12, FOURCC_I420,
            0x41595556L /* VUYA */, 0x34363248L, 0};
        for (long[] rect : rectangles) {
            for (int item = 0; item < 3; item++) {
                lib.videoEncoderBufferSetCrop(session, item, item == 0 ? rect : null);
                lib.videoEncoderBufferSetSourceRect(session, item, rect);
            }
            for (long code : codes) {
                TranscoderOverlayFrame o = overlay(code, 0, 0, new byte[1], (int) rect[2], (int) rect[1],
                        (int) rect[0], (int) rect[2], (int) rect[3]);
                o.width = (int) rect[0];
                o.height = (int) rect[3];
                o.bytes = junk;
                o.stride = rect[1];
                o.frameStartOffset = rect[2];
                assertEquals(0L, lib.videoDecoderBufferSetOverlayVideoFrame(session, (int) code & 7, o));
                for (int item = 0; item < 3; item++) {
                    assertEquals(0L, lib.videoEncoderBufferSetOverlayVideoFrame(session, item, 1, o));
                }
                assertEquals(0L, lib.videoDecoderTransferFrame(session, 0, 0));
            }
        }
        assertTrue(logHasFault("cannot be drawn"), "overlays whose fields lie are reported");
        // The last rectangle is valid: the right half of the source.
        for (int item = 0; item < 3; item++) {
            lib.videoEncoderBufferSetOverlayVideoFrame(session, item, 1, null);
        }
        for (long code : codes) {
            lib.videoDecoderBufferSetOverlayVideoFrame(session, (int) code & 7, null);
        }
        decodeOnePicture(Media.h264Clip("safety-320", 320, 240, 8));
        assertEquals(0L, lib.videoDecoderTransferFrame(session, 0, 0));
        TranscoderVideoFrame stretched = read(0, 1, 0, 0);
        assertEquals(96 * 64 * 4, stretched.bytes.length);
        byte[] half = crop(read(-1, 0, 0, 0).bytes, 320, 160, 0, 160, 240);
        assertMeansClose(Media.meanBgr(half), stretched.bytes, "the right half, stretched");
    }
}
