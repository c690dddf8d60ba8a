package com.corvane.cvx.transcoder.model;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNotSame;

import java.net.URL;
import java.net.URLClassLoader;
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

    private String created(long status) {
        assertEquals(0L, status);
        List<TranscoderLogStatement> log = drainLog();
        assertEquals(1, log.size());
        String line = log.get(0).statement;
        return line.substring(line.indexOf(": Create ") + ": Create ".length());
    }

    /** The constants are the library's own numbers: each one selects the codec it names. */
    @Test
    void codecConstantsSelectTheCodecsTheyName() {
        drainLog();
        long none = 0;
        assertEquals("video decoder: SorensonSpark: default",
                created(lib.videoDecoderCreate(session, TranscoderSessionNative.VIDEO_CODEC_SORENSON_SPARK, none)));
        assertEquals("video decoder: H.264: default",
                created(lib.videoDecoderCreate(session, TranscoderSessionNative.VIDEO_CODEC_H264, none)));
        assertEquals("video decoder: H.264: QuickSync", created(lib.videoDecoderCreate(session,
                TranscoderSessionNative.VIDEO_CODEC_H264, TranscoderSessionNative.VIDEO_IMPLEMENTATION_QUICK_SYNC)));
        assertEquals("video decoder: H.264: QuickSync(software)", created(lib.videoDecoderCreate(session,
                TranscoderSessionNative.VIDEO_CODEC_H264,
                TranscoderSessionNative.VIDEO_DECODER_IMPLEMENTATION_QUICK_SYNC_SOFTWARE)));
        assertEquals("video decoder: H.263: default",
                created(lib.videoDecoderCreate(session, TranscoderSessionNative.VIDEO_CODEC_H263, none)));
        assertEquals("video decoder: MP4: default",
                created(lib.videoDecoderCreate(session, TranscoderSessionNative.VIDEO_CODEC_MPEG4_PART2, none)));
        assertEquals("video decoder: MPEG2: default",
                created(lib.videoDecoderCreate(session, TranscoderSessionNative.VIDEO_CODEC_MPEG2, none)));
        assertEquals(SESSION_FAILURE, lib.videoDecoderCreate(session, TranscoderSessionNative.VIDEO_CODEC_VP8, none));

        TranscoderLongByReference index = new TranscoderLongByReference();
        assertEquals("video encoder: H.264: default",
                created(lib.videoEncoderAdd(session, TranscoderSessionNative.VIDEO_CODEC_H264, none, index)));
        assertEquals("video encoder: VP8: default",
                created(lib.videoEncoderAdd(session, TranscoderSessionNative.VIDEO_CODEC_VP8, none, index)));

        assertEquals("audio decoder: MP3: default", created(lib.audioDecoderCreate(session,
                TranscoderSessionNative.AUDIO_CODEC_MPEG_AUDIO, TranscoderSessionNative.AUDIO_IMPLEMENTATION_MP3)));
        assertEquals("audio decoder: MPEG1 Part 1/2: default",
                created(lib.audioDecoderCreate(session, TranscoderSessionNative.AUDIO_CODEC_MPEG_AUDIO, none)));
        assertEquals("audio decoder: G711 ALAW: default",
                created(lib.audioDecoderCreate(session, TranscoderSessionNative.AUDIO_CODEC_G711_ALAW, none)));
        assertEquals("audio decoder: G711 MULAW: default",
                created(lib.audioDecoderCreate(session, TranscoderSessionNative.AUDIO_CODEC_G711_MULAW, none)));
        assertEquals("audio decoder: AAC: default",
                created(lib.audioDecoderCreate(session, TranscoderSessionNative.AUDIO_CODEC_AAC, none)));
        assertEquals("audio decoder: SPEEX: default",
                created(lib.audioDecoderCreate(session, TranscoderSessionNative.AUDIO_CODEC_SPEEX, none)));
        assertEquals(SESSION_FAILURE, lib.audioDecoderCreate(session, TranscoderSessionNative.AUDIO_CODEC_VORBIS, none));

        assertEquals("audio encoder: VORBIS: default",
                created(lib.audioEncoderAdd(session, TranscoderSessionNative.AUDIO_CODEC_VORBIS, none, index)));
        assertEquals("audio encoder: AAC: default",
                created(lib.audioEncoderAdd(session, TranscoderSessionNative.AUDIO_CODEC_AAC, none, index)));
    }
}
