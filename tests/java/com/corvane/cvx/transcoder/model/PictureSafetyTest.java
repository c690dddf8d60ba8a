package com.corvane.cvx.transcoder.model;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.corvane.cvx.transcoder.testing.Containers;
import com.corvane.cvx.transcoder.testing.Media;

import java.nio.file.Path;

import org.junit.jupiter.api.Test;

/**
 * What a hostile or careless host can pass on the picture path: extreme
 * scaling ratios, tiny and huge sizes, codes and counts, wrapping rectangles
 * and overlays whose fields disagree with their bytes. Each must give a
 * failure status or a sensible picture, never a crash.
 */
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

    long addRendition(int width, int height, int scaleMode, long fourcc) {
        return rendition(session, width, height, scaleMode, fourcc);
    }

    TranscoderVideoFrame readDecoderFrame(int width, int height) {
        TranscoderVideoFrame frame = new TranscoderVideoFrame();
        frame.width = width;
        frame.height = height;
        assertEquals(0L, lib.videoDecoderBufferGetVideoFrame(session, 0, frame));
        return frame;
    }

    TranscoderVideoFrame readRendition(int set, int item, int width, int height) {
        TranscoderVideoFrame frame = new TranscoderVideoFrame();
        frame.width = width;
        frame.height = height;
        assertEquals(0L, lib.videoEncoderBufferGetVideoFrame(session, set, item, frame));
        return frame;
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

    static Path sparkClip() throws Exception {
        return Media.fixture("safety-spark320.flv", "-f", "lavfi", "-i", "testsrc2=size=320x240:rate=25", "-frames:v",
                "3", "-c:v", "flv1", "-f", "flv");
    }

    @Test
    void extremeRatiosScaleInsteadOfCrashing() throws Exception {
        startDecoder(H264, Media.h264Clip("safety-1080p", 1920, 1080, 8));
        double[] source = Media.meanBgr(readDecoderFrame(0, 0).bytes);
        assertEquals(0L, lib.videoEncoderBufferSetsCreate(session, 1));
        assertEquals(0L, addRendition(640, 360, 3, TranscoderSessionNative.FOURCC_I420));
        assertEquals(1L, addRendition(8, 8, 3, TranscoderSessionNative.FOURCC_BGRA));
        assertEquals(0L, lib.videoDecoderTransferFrame(session, 0, 0));

        assertMeansClose(source, readRendition(0, 1, 0, 0).bytes, "8x8 BGRA rendition of 1080p");
        // Widths up to 5 and heights up to 2 from 640x360, and from 1080p.
        int[][] sizes = {{4, 4}, {1, 1}, {5, 2}, {2, 5}, {1, 360}, {640, 1}, {3, 2}};
        for (int[] s : sizes) {
            String what = s[0] + "x" + s[1];
            TranscoderVideoFrame small = readRendition(0, 0, s[0], s[1]);
            assertEquals(s[0] * s[1] * 4, small.bytes.length, what);
            assertMeansClose(source, small.bytes, "640x360 read at " + what);
            assertMeansClose(source, readDecoderFrame(s[0], s[1]).bytes, "1080p read at " + what);
        }
    }

    @Test
    void overlaysScaledIntoNarrowAreas() throws Exception {
        startDecoder(H264, Media.h264Clip("safety-320", 320, 240, 8));
        assertEquals(0L, lib.videoEncoderBufferSetsCreate(session, 1));
        assertEquals(0L, addRendition(320, 240, 3, TranscoderSessionNative.FOURCC_I420));
        // 1000x40 UYVY, all white (Y 235, U and V 128), into a 4x40 area.
        TranscoderOverlayFrame white = new TranscoderOverlayFrame();
        white.fourcc = UYVY;
        white.width = 1000;
        white.height = 40;
        white.stride = 2000;
        white.bytes = new byte[2000 * 40];
        for (int i = 0; i < white.bytes.length; i += 2) {
            white.bytes[i] = (byte) 128;
            white.bytes[i + 1] = (byte) 235;
        }
        white.dstX = 100;
        white.dstY = 100;
        white.dstWidth = 4;
        white.dstHeight = 40;
        assertEquals(0L, lib.videoDecoderBufferSetOverlayVideoFrame(session, 1, white));
        // Half-transparent white, 64x48 into 16x8: four times narrower, six
        // times lower, a reduction the image library asserted on.
        TranscoderOverlayFrame veil = new TranscoderOverlayFrame();
        veil.width = 64;
        veil.height = 48;
        veil.stride = 256;
        veil.bytes = new byte[256 * 48];
        for (int i = 0; i < veil.bytes.length; i += 4) {
            veil.bytes[i] = veil.bytes[i + 1] = veil.bytes[i + 2] = (byte) 255;
            veil.bytes[i + 3] = (byte) 128;
        }
        veil.dstX = 200;
        veil.dstY = 100;
        veil.dstWidth = 16;
        veil.dstHeight = 8;
        assertEquals(0L, lib.videoEncoderBufferSetOverlayVideoFrame(session, 0, 1, veil));
        assertEquals(0L, lib.videoDecoderTransferFrame(session, 0, 0));
        byte[] bgra = readRendition(0, 0, 0, 0).bytes;
        for (int x = 200; x < 216; x += 5) {
            int at = (103 * 320 + x) * 4;
            for (int c = 0; c < 3; c++) {
                assertTrue((bgra[at + c] & 0xFF) >= 120, "veiled pixel " + x + " channel " + c);
            }
        }
        for (int y = 100; y < 140; y += 13) {
            for (int x = 100; x < 104; x++) {
                int at = (y * 320 + x) * 4;
                for (int c = 0; c < 3; c++) {
                    assertTrue((bgra[at + c] & 0xFF) > 230, "overlay pixel " + x + "," + y);
                }
            }
        }
    }

    @Test
    void xyz12LetterboxRenditionsOfASparkPicture() throws Exception {
        startDecoder(SPARK, sparkClip());
        double[] source = Media.meanBgr(readDecoderFrame(0, 0).bytes);
        assertEquals(0L, lib.videoEncoderBufferSetsCreate(session, 2));
        assertEquals(0L, addRendition(160, 96, 1, XYZ12));
        for (int round = 0; round < 2; round++) {
            for (int set = 0; set < 2; set++) {
                assertEquals(0L, lib.videoDecoderTransferFrame(session, 0, set));
            }
        }
        // 320x240 into 160x96: the picture is 128 columns wide at column 16,
        // with black bars on both sides.
        for (int set = 0; set < 2; set++) {
            byte[] bgra = readRendition(set, 0, 0, 0).bytes;
            assertEquals(160 * 96 * 4, bgra.length);
            for (int y = 0; y < 96; y += 19) {
                for (int x : new int[] {0, 15, 144, 159}) {
                    int at = (y * 160 + x) * 4;
                    for (int c = 0; c < 3; c++) {
                        assertTrue((bgra[at + c] & 0xFF) < 8, "bar pixel " + x + "," + y + " of set " + set);
                    }
                }
            }
            byte[] picture = new byte[128 * 96 * 4];
            for (int y = 0; y < 96; y++) {
                System.arraycopy(bgra, (y * 160 + 16) * 4, picture, y * 128 * 4, 128 * 4);
            }
            assertMeansClose(source, picture, "XYZ12 rendition of set " + set);
        }
    }

    @Test
    void countsAreBoundedAndTheSessionGoesOn() throws Exception {
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
        assertEquals(0L, addRendition(64, 48, 1, TranscoderSessionNative.FOURCC_YV12));
        for (int i = 1; i < 64; i++) {
            assertEquals(i, addRendition(2, 2, 3, TranscoderSessionNative.FOURCC_I420), "rendition " + i);
        }
        assertEquals(FAILURE, -addRendition(2, 2, 3, TranscoderSessionNative.FOURCC_I420),
                "one rendition past the limit");
        for (int set = 0; set < 2; set++) {
            assertEquals(0L, lib.videoDecoderTransferFrame(session, 0, set));
        }
        assertMeansClose(Media.meanBgr(readDecoderFrame(64, 48).bytes), readRendition(1, 0, 0, 0).bytes,
                "the first rendition after refused counts");
    }

    @Test
    void aSessionsPictureMemoryIsBounded() {
        // 16384 x 4096 BGRA is 256 MiB: 1 GiB a rendition over four sets,
        // and four of them are the 4 GiB a session may hold.
        assertEquals(0L, lib.videoEncoderBufferSetsCreate(session, 4));
        for (int i = 0; i < 4; i++) {
            assertEquals(i, addRendition(16384, 4096, 3, TranscoderSessionNative.FOURCC_BGRA), "rendition " + i);
        }
        assertEquals(FAILURE, -addRendition(2, 2, 3, TranscoderSessionNative.FOURCC_I420));
        assertTrue(logHasFault("no picture memory"), "the refusal is logged as a fault");
    }

    @Test
    void renditionSizesAndCodesAreChecked() {
        assertEquals(0L, lib.videoEncoderBufferSetsCreate(session, 1));
        long[][] refused = {
            {0, 48, TranscoderSessionNative.FOURCC_I420}, {64, 0, TranscoderSessionNative.FOURCC_I420},
            {0xFFFFFFFFL, 48, TranscoderSessionNative.FOURCC_I420}, {16385, 16, TranscoderSessionNative.FOURCC_BGRA},
            {16384, 16384, TranscoderSessionNative.FOURCC_BGRA}, {64, 48, 0x36315659L /* YV16 */},
            {64, 48, 0x34363248L /* H264 */}, {64, 48, 0x12345678L}, {64, 48, 0x30313276L /* v210 */},
        };
        for (long[] r : refused) {
            TranscoderLongByReference index = new TranscoderLongByReference(-1);
            assertEquals(FAILURE, lib.videoEncoderBufferAdd(session, r[0], r[1], 3, r[2], index),
                    r[0] + "x" + r[1] + " code " + Long.toHexString(r[2]));
        }
        assertTrue(logHasFault("VideoEncoderBufferAdd"), "refusals are logged as faults");
        // Nothing was added: the first good rendition is item 0.
        assertEquals(0L, addRendition(16384, 2, 3, TranscoderSessionNative.FOURCC_I420));
        assertEquals(1L, addRendition(1, 1, 3, XYZ12));
    }

    @Test
    void wrappingRectanglesAndLyingOverlaysDrawNothingWrong() throws Exception {
        startDecoder(H264, Media.h264Clip("safety-320", 320, 240, 8));
        assertEquals(0L, lib.videoEncoderBufferSetsCreate(session, 1));
        // Letterbox, stretch and crop to fill, each in another code.
        assertEquals(0L, addRendition(96, 64, 1, XYZ12));
        assertEquals(1L, addRendition(96, 64, 3, TranscoderSessionNative.FOURCC_I420));
        assertEquals(2L, addRendition(96, 64, 4, UYVY));
        long[][] rectangles = {
            {0x80000000L, 0x80000000L, 0x7FFFFFFFL, 0x80000001L},
            {-1, -1, -1, -1},
            {Long.MIN_VALUE, Long.MAX_VALUE, 0, 0},
            {319, 239, 0x7FFFFFFFL, 0x7FFFFFFFL},
            {160, 0, 160, 240},
        };
        byte[] junk = new byte[4096];
        new java.util.Random(11).nextBytes(junk);
        long[] codes = {TranscoderSessionNative.FOURCC_BGRA, UYVY, XYZ12, TranscoderSessionNative.FOURCC_I420,
            0x41595556L /* VUYA */, 0x34363248L, 0};
        for (long[] rect : rectangles) {
            for (int item = 0; item < 3; item++) {
                lib.videoEncoderBufferSetCrop(session, item, item == 0 ? rect : null);
                lib.videoEncoderBufferSetSourceRect(session, item, rect);
            }
            for (long code : codes) {
                TranscoderOverlayFrame o = new TranscoderOverlayFrame();
                o.fourcc = code;
                o.bytes = junk;
                o.width = (int) rect[0];
                o.height = (int) rect[3];
                o.stride = rect[1];
                o.frameStartOffset = rect[2];
                o.dstX = (int) rect[2];
                o.dstY = (int) rect[1];
                o.dstWidth = (int) rect[0];
                o.dstHeight = (int) rect[2];
                o.dstAlign = (int) rect[3];
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
        TranscoderVideoFrame stretched = readRendition(0, 1, 0, 0);
        assertEquals(96 * 64 * 4, stretched.bytes.length);
        byte[] right = readDecoderFrame(0, 0).bytes;
        byte[] half = new byte[160 * 240 * 4];
        for (int y = 0; y < 240; y++) {
            System.arraycopy(right, (y * 320 + 160) * 4, half, y * 160 * 4, 160 * 4);
        }
        assertMeansClose(Media.meanBgr(half), stretched.bytes, "the right half, stretched");
    }

    @Test
    void pictureReadsAskingForHugeOrNegativeSizesGiveNothing() throws Exception {
        startDecoder(H264, Media.h264Clip("safety-320", 320, 240, 8));
        int[][] sizes = {{16385, 16}, {Integer.MAX_VALUE, 2}, {16384, 16384}, {-5, -5}};
        for (int[] s : sizes) {
            TranscoderVideoFrame frame = new TranscoderVideoFrame();
            frame.width = s[0];
            frame.height = s[1];
            assertEquals(0L, lib.videoDecoderBufferGetVideoFrame(session, 0, frame));
            if (s[0] > 0) {
                assertNull(frame.bytes, s[0] + "x" + s[1] + " is past the limits");
                assertEquals(s[0], frame.width, "the object is left as it was");
            } else {
                assertEquals(320, frame.width, "a negative size asks for the picture's own");
            }
        }
    }
}
