package com.corvane.cvx.transcoder.model;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNotEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.util.ArrayList;
import java.util.List;

import org.junit.jupiter.api.Test;

class SessionLifecycleTest extends NativeTestBase {

    @Test
    void aNewSessionLogsBothHardwareAnswers() {
        List<TranscoderLogStatement> log = drainLog();
        assertEquals(2, log.size());
        assertEquals("TranscoderSession.isCUDAAvailable[{context}]: NVidia CUDA hardware acceleration is NOT available",
                log.get(0).statement);
        assertEquals("TranscoderSession.isQuickSyncAvailable[{context}]: Intel Quick Sync hardware acceleration is"
                + " NOT available", log.get(1).statement);
        for (TranscoderLogStatement s : log) {
            assertEquals(2, s.level);
            assertEquals(0, s.contextType);
            assertEquals(0, s.contextIndex);
        }
        assertEquals("TranscoderSession.isCUDAAvailable[stream-7]: NVidia CUDA hardware acceleration is NOT available",
                log.get(0).format("stream-7"));
        assertTrue(drainLog().isEmpty(), "a drain empties the queue");
    }

    @Test
    void zeroHandlesAreAnsweredWithoutTouchingAnything() {
        assertEquals(0L, lib.destroyInstance(0));
        assertEquals(-1L, lib.getLogStatements(0, new ArrayList<>()));
        assertEquals(0L, lib.nativeInitialize(), "a second initialisation is harmless");
    }

    @Test
    void aNullListLosesTheStatementsWithoutACrash() {
        assertEquals(-1L, lib.getLogStatements(session, null));
        assertTrue(drainLog().isEmpty(), "the statements were taken off the queue");
    }

    @Test
    void sessionsAreIndependent() {
        long other = lib.createInstance();
        assertNotEquals(0L, other);
        assertNotEquals(session, other);
        assertEquals(2, drainLog().size());
        List<TranscoderLogStatement> otherLog = new ArrayList<>();
        assertEquals(0L, lib.getLogStatements(other, otherLog));
        assertEquals(2, otherLog.size());
        assertEquals(0L, lib.destroyInstance(other));
    }

    @Test
    void manySessionsComeAndGoFromSeveralThreads() throws InterruptedException {
        Thread[] threads = new Thread[4];
        long[] failures = new long[1];
        for (int t = 0; t < threads.length; t++) {
            threads[t] = new Thread(() -> {
                for (int i = 0; i < 50; i++) {
                    long s = lib.createInstance();
                    List<TranscoderLogStatement> log = new ArrayList<>();
                    if (s == 0 || lib.getLogStatements(s, log) != 0 || log.size() < 2) {
                        synchronized (failures) {
                            failures[0]++;
                        }
                    }
                    lib.destroyInstance(s);
                }
            });
            threads[t].start();
        }
        for (Thread t : threads) {
            t.join();
        }
        assertEquals(0L, failures[0]);
    }

    @Test
    void videoEncodersStopAtTheSessionsBoundWithAReason() {
        TranscoderLongByReference index = new TranscoderLongByReference();
        for (int i = 0; i < 64; i++) {
            assertEquals(0L, lib.videoEncoderAdd(session, 8, 0, index));
        }
        assertEquals(63L, index.value);
        drainLog();
        assertEquals(SESSION_FAILURE, lib.videoEncoderAdd(session, 8, 0, index));
        assertEquals(0L, index.value, "the index is written even when creation failed");
        List<TranscoderLogStatement> log = drainLog();
        assertEquals(1, log.size());
        assertEquals("TranscoderSession.videoEncoderAdd[{context}]: a session has at most 64 video encoders",
                log.get(0).statement);
        assertEquals(3, log.get(0).level);
        assertEquals(2, log.get(0).contextType);
        assertEquals(0L, lib.videoEncoderSetBitrate(session, 63, 500_000), "the encoders made still answer");
    }
}
