package com.corvane.cvx.transcoder.model;

import static org.junit.jupiter.api.Assertions.*;

import java.util.*;
import java.util.concurrent.atomic.AtomicInteger;
import java.util.function.LongSupplier;

import org.junit.jupiter.api.Test;

/** Zero handles (-1, or 0 for no work), missing pieces (failure) and ranges that do not fit (-1, no exception). */
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
}
