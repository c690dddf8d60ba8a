package com.corvane.cvx.transcoder.model;

import static com.corvane.cvx.transcoder.model.TranscoderSessionNative.*;
import static org.junit.jupiter.api.Assertions.*;

import com.corvane.cvx.transcoder.AudioCodec;
import com.corvane.cvx.transcoder.VideoCodec;

import java.net.*;
import java.util.*;
import java.util.concurrent.atomic.AtomicInteger;
import java.util.function.LongSupplier;

import org.junit.jupiter.api.Test;

/**
 * The boundary itself: zero handles (-1, or 0 for no work), missing pieces (failure), ranges that do not fit (-1, no
 * exception), parameter records, and the member ids the library keeps per host class.
 */
class SessionBoundaryTest extends NativeTestBase {
    record Case(String what, long expected, LongSupplier call) {
    }

    static void expect(Case... cases) {
        for (Case c : cases) {
            assertEquals(c.expected(), c.call().getAsLong(), c.what());
        }
    }

    @Test
    void zeroHandlesMissingPiecesAndBadRangesGetTheirStatuses() {
        byte[] data = new byte[100];
        TranscoderLongByReference audioIndex = new TranscoderLongByReference(55);
        TranscoderLongByReference videoIndex = new TranscoderLongByReference(5);
        TranscoderLongByReference flags = new TranscoderLongByReference(77);
        TranscoderVideoFrame frame = new TranscoderVideoFrame();
        frame.width = 3;
        expect(new Case("destroy 0", 0, () -> lib.destroyInstance(0)),
                new Case("log of 0", -1, () -> lib.getLogStatements(0, new ArrayList<>())),
                new Case("a second initialisation", 0, () -> lib.nativeInitialize()),
                new Case("log into null", -1, () -> lib.getLogStatements(session, null)));
        assertTrue(drainLog().isEmpty(), "the statements given to a null list are gone");
        expect(new Case("no audio decoder", FAILURE, () -> lib.audioDecoderInitialize(session)),
                new Case("initialise 0", -1, () -> lib.audioDecoderInitialize(0)),
                new Case("Vorbis is no decoder", FAILURE, () -> lib.audioDecoderCreate(session, VORBIS, 0)),
                new Case("first frame of none", 0, () -> lib.audioDecoderIsFirstFrameDecoded(session)),
                new Case("first frame of 0", 0, () -> lib.audioDecoderIsFirstFrameDecoded(0)),
                new Case("audio frame into 0", -1, () -> lib.audioDecoderDecodeFrame(0, data, 0, 4, 0, 0)),
                new Case("audio config into 0", -1, () -> lib.audioDecoderDecodeCodecConfig(0, data, 0, 4)),
                new Case("no audio buffer", FAILURE, () -> lib.audioDecoderDecodeFrame(session, data, 0, 4, 0, 0)),
                new Case("MP3 is no encoder", FAILURE, () -> lib.audioEncoderAdd(session, 2, 0, audioIndex)),
                new Case("no audio encoder", FAILURE, () -> lib.audioEncoderSetQuality(session, 0, 0.5)),
                new Case("a null out-object", 0, () -> lib.audioEncoderAdd(session, VORBIS, 0, null)),
                new Case("the encoder made", 0, () -> lib.audioEncoderSetQuality(session, 0, 0.5)),
                new Case("no buffer 4", FAILURE, () -> lib.audioEncoderAddSampleBuffer(session, 0, 4,
                        new ArrayList<>())),
                new Case("transfer in 0", -1, () -> lib.videoDecoderTransferFrame(0, 0, 0)),
                new Case("no video decoder", FAILURE, () -> lib.videoDecoderTransferFrame(session, 0, 0)),
                new Case("decode in 0", 0, () -> lib.videoDecoderDecode(0, 0, flags)),
                new Case("MPEG-4 is no encoder", FAILURE, () -> lib.videoEncoderAdd(session, 10, 0, videoIndex)),
                new Case("video config into 0", -1, () -> lib.videoDecoderDecodeCodecConfig(0, data, 0, 8)),
                new Case("video frame into 0", -1, () -> lib.videoDecoderAddFrame(0, data, 0, 8, 0, 1)),
                new Case("no decoder frame 4", 0, () -> lib.videoDecoderBufferGetVideoFrame(session, 4, frame)),
                new Case("no rendition 9", 0, () -> lib.videoEncoderBufferSetOverlayVideoFrame(session, 9, 1,
                        new TranscoderOverlayFrame())),
                new Case("no crop", 0, () -> lib.videoEncoderBufferSetCrop(session, 0, null)),
                new Case("a long rectangle", 0, () -> lib.videoEncoderBufferSetSourceRect(session, 0,
                        new long[] {1, 2, 3, 4, 5, 6, 7, 8})));
        assertEquals(0, audioIndex.value, "the index is written even when creation failed");
        assertEquals(0, videoIndex.value, "the index is written even when creation failed");
        assertEquals(77, flags.value, "a zero handle writes no flags");
        assertEquals(3, frame.width, "a bad index leaves the object as it was");

        g711Decoder(session, 7, 8000, 1, 1, 160);
        videoDecoder(session, H264, 0, 1);
        List<TranscoderPacket> none = new ArrayList<>();
        expect(new Case("a null out-object", 0, () -> lib.audioDecoderGetSampleRate(session, null)),
                new Case("no array", -1, () -> lib.audioDecoderDecodeFrame(session, null, 0, 10, 0, 0)),
                new Case("past the end", -1, () -> lib.audioDecoderDecodeFrame(session, data, 95, 10, 0, 0)),
                new Case("a negative offset", -1, () -> lib.audioDecoderDecodeFrame(session, data, -1, 10, 0, 0)),
                new Case("a huge length", -1, () -> lib.audioDecoderDecodeFrame(session, data, 0, Long.MAX_VALUE, 0,
                        0)),
                new Case("a config past the end", -1, () -> lib.audioDecoderDecodeCodecConfig(session, data, 50, 51)),
                new Case("the whole array", 0, () -> lib.audioDecoderDecodeFrame(session, data, 0, 100, 0, 0)),
                new Case("more than the buffer takes is cut", 0, () -> lib.audioDecoderDecodeFrame(session,
                        new byte[1600], 0, 1600, 20, 0)),
                new Case("a frame index out of range", FAILURE, () -> lib.videoDecoderDecode(session, 3, flags)),
                new Case("an empty frame", 0, () -> lib.videoDecoderAddFrame(session, new byte[0], 0, 0, 0, 1)),
                new Case("a frame past the end", -1, () -> lib.videoDecoderAddFrame(session, new byte[4], 2, 4, 0,
                        1)),
                new Case("no video encoder", FAILURE, () -> lib.videoEncoderGetEncodedFrames(session, 0, none)));
        assertEquals(List.of(), none);
        // Garbage in the decoder is the stream's fault, not the host's: it decodes to nothing, without a crash.
        byte[] garbage = new byte[200];
        new Random(7).nextBytes(garbage);
        lib.videoDecoderAddFrame(session, garbage, 0, garbage.length, 0, 1);
        for (int i = 0; i < 10; i++) {
            lib.videoDecoderDecode(session, 0, flags);
        }
        assertEquals(1L, lib.audioDecoderIsFirstFrameDecoded(session), "the session still answers");
    }

    @Test
    void aNewSessionLogsBothHardwareAnswersOnceAndIndependently() {
        long other = lib.createInstance();
        assertNotEquals(0L, other);
        assertNotEquals(session, other);
        List<TranscoderLogStatement> log = drainLog();
        assertEquals(List.of("TranscoderSession.isCUDAAvailable[{context}]: NVidia CUDA hardware acceleration is NOT"
                + " available", "TranscoderSession.isQuickSyncAvailable[{context}]: Intel Quick Sync hardware"
                + " acceleration is NOT available"), log.stream().map(s -> s.statement).toList());
        for (TranscoderLogStatement s : log) {
            assertEquals("2 0 0", s.level + " " + s.contextType + " " + s.contextIndex);
        }
        assertEquals("TranscoderSession.isCUDAAvailable[stream-7]: NVidia CUDA hardware acceleration is NOT available",
                log.get(0).format("stream-7"));
        assertTrue(drainLog().isEmpty(), "a drain empties the queue");
        List<TranscoderLogStatement> otherLog = new ArrayList<>();
        assertEquals(0L, lib.getLogStatements(other, otherLog));
        assertEquals(2, otherLog.size(), "the other session's own lines");
        assertEquals(0L, lib.destroyInstance(other));
    }

    @Test
    void manySessionsComeAndGoFromSeveralThreads() throws InterruptedException {
        Thread[] threads = new Thread[4];
        AtomicInteger failures = new AtomicInteger();
        for (int t = 0; t < threads.length; t++) {
            threads[t] = new Thread(() -> {
                for (int i = 0; i < 50; i++) {
                    long s = lib.createInstance();
                    List<TranscoderLogStatement> log = new ArrayList<>();
                    if (s == 0 || lib.getLogStatements(s, log) != 0 || log.size() < 2) {
                        failures.incrementAndGet();
                    }
                    lib.destroyInstance(s);
                }
            });
            threads[t].start();
        }
        for (Thread t : threads) {
            t.join();
        }
        assertEquals(0, failures.get());
    }

    interface Exchange {
        long apply(long session, TranscoderNativeParameterValue[] values);
    }

    private final Exchange[] exchanges = {
        (s, v) -> lib.videoDecoderSetParameterValues(s, v),
        (s, v) -> lib.videoDecoderGetParameterValues(s, v),
        (s, v) -> lib.audioDecoderSetParameterValues(s, v),
        (s, v) -> lib.audioDecoderGetParameterValues(s, v),
        (s, v) -> lib.videoEncoderSetParameterValues(s, 0, v),
        (s, v) -> lib.videoEncoderGetParameterValues(s, 0, v),
        (s, v) -> lib.audioEncoderSetParameterValues(s, 0, v),
        (s, v) -> lib.audioEncoderGetParameterValues(s, 0, v),
        (s, v) -> lib.videoEncoderSetParameterValues(s, 12345, v),
        (s, v) -> lib.audioEncoderGetParameterValues(s, -1, v),
    };

    @Test
    void withoutACodecEveryExchangeAnswersZeroAndLeavesTheRecords() {
        for (Exchange exchange : exchanges) {
            TranscoderNativeParameterValue query = TranscoderNativeParameterValue.query(10036);
            query.dataType = 7;
            TranscoderNativeParameterValue set = TranscoderNativeParameterValue.ofLongArray(10036, new long[] {1, 2});
            TranscoderNativeParameterValue[] records = {query, set, null};
            assertEquals(0L, exchange.apply(session, records));
            assertEquals(0L, exchange.apply(0, records));
            assertEquals(7, query.dataType);
            assertNull(query.larValue);
            assertArrayEquals(new long[] {1, 2}, set.larValue);
            assertEquals(0L, exchange.apply(0, new TranscoderNativeParameterValue[0]));
            assertEquals(0L, exchange.apply(session, null));
        }
    }

    /** What the boundary converts: type 9 skipped, reads typed, arrays by length only, unknown indices untouched. */
    @Test
    void h264SettingsRoundTripWithTheirTypes() {
        assertEquals(0L, lib.videoEncoderAdd(session, H264, 0, null));
        assertEquals(0L, lib.videoEncoderSetDefaults(session, 0, 2, 2));
        TranscoderNativeParameterValue skipped = TranscoderNativeParameterValue.ofLong(10069, 7);
        skipped.dataType = 9;
        assertEquals(0L, lib.videoEncoderSetParameterValues(session, 0, new TranscoderNativeParameterValue[] {skipped,
            TranscoderNativeParameterValue.ofDouble(10008, 29.97), TranscoderNativeParameterValue.ofLongArray(10036,
                new long[] {-2, 3, 4, 5, 6, 7, 8, 9})}));
        TranscoderNativeParameterValue[] read = {TranscoderNativeParameterValue.query(10069),
            TranscoderNativeParameterValue.query(10008), TranscoderNativeParameterValue.query(10036),
            TranscoderNativeParameterValue.query(10141)};
        read[3].dataType = 4;
        read[3].lValue = 55;
        assertEquals(0L, lib.videoEncoderGetParameterValues(session, 0, read));
        assertEquals(List.of(1, 3, 2, 4), Arrays.stream(read).map(r -> r.dataType).toList(), "the types");
        assertEquals(-1, read[0].lValue, "the record with data type 9 was skipped: the preset's choice stays");
        assertEquals(29.97, read[1].dValue);
        assertArrayEquals(new long[4], read[2].larValue);
        assertEquals(55, read[3].lValue);
        // The encoder still opens with what arrived.
        assertEquals(0L, lib.videoEncoderSetFrameSize(session, 0, 160, 120));
        assertEquals(0L, lib.videoEncoderInitialize(session, 0));
    }

    /** TranscoderVideoFrame's fields in another order among its own, no timecode: another class's ids would miss. */
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
