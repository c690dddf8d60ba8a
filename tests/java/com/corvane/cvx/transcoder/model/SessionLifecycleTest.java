package com.corvane.cvx.transcoder.model;

import static org.junit.jupiter.api.Assertions.*;

import java.util.ArrayList;
import java.util.List;
import java.util.concurrent.atomic.AtomicInteger;

import org.junit.jupiter.api.Test;

class SessionLifecycleTest extends NativeTestBase {

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
