package com.corvane.cvx.transcoder.model;

import static com.corvane.cvx.transcoder.model.TranscoderSessionNative.*;
import static org.junit.jupiter.api.Assertions.*;

import com.corvane.cvx.transcoder.*;

import java.net.*;
import java.util.*;

import org.junit.jupiter.api.Test;

/** Member ids are kept per class: a class of another shape or loader must be read through its own ids. */
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

    private static void assertPicture(Object frame, int width, int height) throws ReflectiveOperationException {
        Class<?> c = frame.getClass();
        assertEquals(List.of(FOURCC_BGRA, width, height, width * 4L, 0L, width * height * 4),
                List.of(c.getField("fourcc").getLong(frame), c.getField("width").getInt(frame),
                        c.getField("height").getInt(frame), c.getField("stride").getLong(frame),
                        c.getField("frameStartOffset").getLong(frame),
                        ((byte[]) c.getField("bytes").get(frame)).length), c.getName());
    }

    @Test
    void pictureClassesOfOtherShapesAndLoadersGetTheirOwnIds() throws Exception {
        assertEquals(0L, lib.videoEncoderBufferSetsCreate(session, 1));
        long item = rendition(session, 32, 16, 3, FOURCC_I420);
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

    /** The codec numbers the API's enums are made of select the codec they name, or are refused where it has none. */
    @Test
    void codecNumbersSelectTheCodecsTheyName() {
        Map<Object, String> names = Map.ofEntries(Map.entry(VideoCodec.SORENSON_SPARK, "SorensonSpark"),
                Map.entry(VideoCodec.H264, "H.264"), Map.entry(VideoCodec.VP8, "VP8"), Map.entry(VideoCodec.H263,
                "H.263"), Map.entry(VideoCodec.MPEG4_PART2, "MP4"), Map.entry(VideoCodec.MPEG2, "MPEG2"),
                Map.entry(AudioCodec.MPEG_AUDIO, "MPEG1 Part 1/2"), Map.entry(AudioCodec.G711_ALAW, "G711 ALAW"),
                Map.entry(AudioCodec.G711_MULAW, "G711 MULAW"), Map.entry(AudioCodec.VORBIS, "VORBIS"),
                Map.entry(AudioCodec.AAC, "AAC"), Map.entry(AudioCodec.SPEEX, "SPEEX"));
        TranscoderLongByReference index = new TranscoderLongByReference();
        List<String> expected = new ArrayList<>();
        for (VideoCodec c : VideoCodec.values()) {
            assertEquals(c.hasDecoder() ? 0L : FAILURE, lib.videoDecoderCreate(session, c.number(), 0), "" + c);
            assertEquals(c.hasEncoder() ? 0L : FAILURE, lib.videoEncoderAdd(session, c.number(), 0, index), "" + c);
            expected.addAll(c.hasDecoder() ? List.of("video decoder: " + names.get(c) + ": default") : List.of());
            expected.addAll(c.hasEncoder() ? List.of("video encoder: " + names.get(c) + ": default") : List.of());
        }
        for (AudioCodec c : AudioCodec.values()) {
            assertEquals(c.hasDecoder() ? 0L : FAILURE, lib.audioDecoderCreate(session, c.number(), 0), "" + c);
            assertEquals(c.hasEncoder() ? 0L : FAILURE, lib.audioEncoderAdd(session, c.number(), 0, index), "" + c);
            expected.addAll(c.hasDecoder() ? List.of("audio decoder: " + names.get(c) + ": default") : List.of());
            expected.addAll(c.hasEncoder() ? List.of("audio encoder: " + names.get(c) + ": default") : List.of());
        }
        assertEquals(0L, lib.videoDecoderCreate(session, VIDEO_CODEC_H264, VIDEO_IMPLEMENTATION_QUICK_SYNC));
        assertEquals(0L, lib.videoDecoderCreate(session, VIDEO_CODEC_H264,
                VIDEO_DECODER_IMPLEMENTATION_QUICK_SYNC_SOFTWARE));
        assertEquals(0L, lib.audioDecoderCreate(session, AUDIO_CODEC_MPEG_AUDIO, AUDIO_IMPLEMENTATION_MP3));
        expected.addAll(List.of("video decoder: H.264: QuickSync", "video decoder: H.264: QuickSync(software)",
                "audio decoder: MP3: default"));
        assertEquals(expected, drainLog().stream().map(s -> s.statement).filter(s -> s.contains(": Create "))
                .map(s -> s.substring(s.indexOf(": Create ") + ": Create ".length())).toList());
    }
}
