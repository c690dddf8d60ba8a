package com.corvane.cvx.transcoder.model;

import static com.corvane.cvx.transcoder.model.TranscoderSessionNative.*;
import static org.junit.jupiter.api.Assertions.*;

import java.net.URL;
import java.net.URLClassLoader;
import java.util.ArrayList;
import java.util.List;

import org.junit.jupiter.api.Test;

/**
 * The library keeps the member ids of the host's classes between calls. A
 * picture class is known by its fields alone, so every class, and the same
 * class from another loader, must be read through its own ids: ids of
 * another class write other slots of the object (and -Xcheck:jni stops the
 * JVM on them).
 */
class HostObjectsTest extends NativeTestBase {

    /** The same fields as TranscoderVideoFrame's in another order, among fields of its own, without a timecode. */
    public static class ShuffledFrame {
        public int marker = 7;
        public int height;
        public String name = "shuffled";
        public long stride;
        public int width;
        public byte[] bytes;
        public long frameStartOffset;
        public long fourcc;
        public long tail = -5;
    }

    private long rendition(int width, int height) {
        TranscoderLongByReference index = new TranscoderLongByReference();
        assertEquals(0L, lib.videoEncoderBufferSetsCreate(session, 1));
        assertEquals(0L, lib.videoEncoderBufferAdd(session, width, height, 3, TranscoderSessionNative.FOURCC_I420,
                index));
        return index.value;
    }

    private static void assertPicture(Object frame, int width, int height) throws ReflectiveOperationException {
        Class<?> c = frame.getClass();
        assertEquals(TranscoderSessionNative.FOURCC_BGRA, c.getField("fourcc").getLong(frame), c.getName());
        assertEquals(width, c.getField("width").getInt(frame), c.getName());
        assertEquals(height, c.getField("height").getInt(frame), c.getName());
        assertEquals(width * 4L, c.getField("stride").getLong(frame), c.getName());
        assertEquals(0L, c.getField("frameStartOffset").getLong(frame), c.getName());
        assertEquals(width * height * 4, ((byte[]) c.getField("bytes").get(frame)).length, c.getName());
    }

    @Test
    void pictureClassesOfOtherShapesAndLoadersGetTheirOwnIds() throws Exception {
        long item = rendition(32, 16);
        URL classes = TranscoderVideoFrame.class.getProtectionDomain().getCodeSource().getLocation();
        try (URLClassLoader other = new URLClassLoader(new URL[] {classes}, null)) {
            Class<?> foreignPlain = other.loadClass(TranscoderVideoFrame.class.getName());
            assertNotSame(TranscoderVideoFrame.class, foreignPlain);
            for (int round = 0; round < 2; ++round) {
                TranscoderVideoFrame plain = new TranscoderVideoFrame();
                plain.timecode = 99;
                ShuffledFrame shuffled = new ShuffledFrame();
                Object foreign = foreignPlain.getConstructor().newInstance();
                for (Object frame : new Object[] {plain, shuffled, foreign}) {
                    assertEquals(0L, lib.videoEncoderBufferGetVideoFrame(session, 0, item, frame));
                    assertPicture(frame, 32, 16);
                }
                assertEquals(0L, plain.timecode, "the rendition's timecode");
                assertEquals(7, shuffled.marker);
                assertEquals("shuffled", shuffled.name);
                assertEquals(-5L, shuffled.tail);
            }
        }
    }

    /** The constants are the library's own numbers: each one selects the codec it names, or none. */
    @Test
    void codecConstantsSelectTheCodecsTheyName() {
        TranscoderLongByReference index = new TranscoderLongByReference();
        Object[][] table = {
            {"video decoder: SorensonSpark: default", lib.videoDecoderCreate(session, VIDEO_CODEC_SORENSON_SPARK, 0)},
            {"video decoder: H.264: default", lib.videoDecoderCreate(session, VIDEO_CODEC_H264, 0)},
            {"video decoder: H.264: QuickSync",
                lib.videoDecoderCreate(session, VIDEO_CODEC_H264, VIDEO_IMPLEMENTATION_QUICK_SYNC)},
            {"video decoder: H.264: QuickSync(software)", lib.videoDecoderCreate(session, VIDEO_CODEC_H264,
                VIDEO_DECODER_IMPLEMENTATION_QUICK_SYNC_SOFTWARE)},
            {"video decoder: H.263: default", lib.videoDecoderCreate(session, VIDEO_CODEC_H263, 0)},
            {"video decoder: MP4: default", lib.videoDecoderCreate(session, VIDEO_CODEC_MPEG4_PART2, 0)},
            {"video decoder: MPEG2: default", lib.videoDecoderCreate(session, VIDEO_CODEC_MPEG2, 0)},
            {null, lib.videoDecoderCreate(session, VIDEO_CODEC_VP8, 0)},
            {"video encoder: H.264: default", lib.videoEncoderAdd(session, VIDEO_CODEC_H264, 0, index)},
            {"video encoder: VP8: default", lib.videoEncoderAdd(session, VIDEO_CODEC_VP8, 0, index)},
            {"audio decoder: MP3: default",
                lib.audioDecoderCreate(session, AUDIO_CODEC_MPEG_AUDIO, AUDIO_IMPLEMENTATION_MP3)},
            {"audio decoder: MPEG1 Part 1/2: default", lib.audioDecoderCreate(session, AUDIO_CODEC_MPEG_AUDIO, 0)},
            {"audio decoder: G711 ALAW: default", lib.audioDecoderCreate(session, AUDIO_CODEC_G711_ALAW, 0)},
            {"audio decoder: G711 MULAW: default", lib.audioDecoderCreate(session, AUDIO_CODEC_G711_MULAW, 0)},
            {"audio decoder: AAC: default", lib.audioDecoderCreate(session, AUDIO_CODEC_AAC, 0)},
            {"audio decoder: SPEEX: default", lib.audioDecoderCreate(session, AUDIO_CODEC_SPEEX, 0)},
            {null, lib.audioDecoderCreate(session, AUDIO_CODEC_VORBIS, 0)},
            {"audio encoder: VORBIS: default", lib.audioEncoderAdd(session, AUDIO_CODEC_VORBIS, 0, index)},
            {"audio encoder: AAC: default", lib.audioEncoderAdd(session, AUDIO_CODEC_AAC, 0, index)},
        };
        List<String> lines = drainLog().stream().map(s -> s.statement).filter(s -> s.contains(": Create "))
                .map(s -> s.substring(s.indexOf(": Create ") + ": Create ".length())).toList();
        List<String> expected = new ArrayList<>();
        for (Object[] row : table) {
            assertEquals(row[0] == null ? FAILURE : 0L, row[1], String.valueOf(row[0]));
            if (row[0] != null) {
                expected.add((String) row[0]);
            }
        }
        assertEquals(expected, lines);
    }
}
