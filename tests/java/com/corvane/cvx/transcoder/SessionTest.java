package com.corvane.cvx.transcoder;

import static org.junit.jupiter.api.Assertions.*;

import com.corvane.cvx.transcoder.model.TranscoderSessionNative;

import java.util.*;
import java.util.concurrent.atomic.AtomicBoolean;
import java.io.ByteArrayOutputStream;
import java.nio.charset.StandardCharsets;
import java.util.logging.*;
import java.util.logging.Formatter;

import org.junit.jupiter.api.Test;

/** The session, its log and its failures, through the real boundary. */
class SessionTest {
    /** A session whose log lines are kept for the test. */
    static Session open(String name, List<LogEntry> log) {
        return Transcoder.session().name(name).logSink(log::add).open();
    }

    @Test
    void aFailureCarriesTheExportAndTheFaultLineWithItsContextNamed() {
        List<LogEntry> log = new ArrayList<>();
        try (Session session = open("cam-1", log)) {
            // 44000 Hz has no AAC rate index: the encoder refuses to initialise.
            TranscoderException e = assertThrows(TranscoderException.class, () -> session.audioEncoder(AudioCodec.AAC)
                    .name("aac out").sampleRate(44000).channels(2).bitrate(96_000).open());
            assertEquals("audioEncoderInitialize", e.export());
            assertTrue(TranscoderSessionNative.failed(e.status()));
            assertTrue(e.lastFault().startsWith("AudioEncoderAAC.initialize[cam-1/aac out]: "), e.lastFault());
            assertTrue(e.getMessage().startsWith("audioEncoderInitialize answered failure, status "), e.getMessage());
            assertTrue(e.getMessage().endsWith("(" + e.lastFault() + ")"), e.getMessage());
            assertEquals(e.lastFault(), session.lastFault());

            LogEntry fault = log.stream().filter(LogEntry::isFault).reduce((a, b) -> b).orElseThrow();
            assertEquals(LogEntry.Source.AUDIO_ENCODER, fault.source());
            assertEquals(0, fault.index());
            assertEquals("cam-1/aac out", fault.contextName());
            assertEquals(e.lastFault(), fault.message(), "the sink got the line before the exception was thrown");
        }
    }

    @Test
    void theLogNamesTheStreamAndEachCodecAndIsDrainedOnClose() {
        List<LogEntry> log = new ArrayList<>();
        Session session = open("studio", log);
        session.videoDecoder(VideoCodec.H264).open();
        Rendition r = session.rendition(64, 48).add();
        session.videoEncoder(VideoCodec.VP8).rendition(r).open();
        session.videoEncoder(VideoCodec.VP8).rendition(r).name("small").open();
        assertTrue(log.isEmpty(), "nothing is delivered before a drain");
        session.close();

        List<String> lines = log.stream().map(LogEntry::message).toList();
        assertEquals("TranscoderSession.isCUDAAvailable[studio]: NVidia CUDA hardware acceleration is NOT available",
                lines.get(0));
        assertTrue(lines.containsAll(List.of(
                "TranscoderSession.videoDecoderCreate[studio/video decoder]: Create video decoder: H.264: default",
                "TranscoderSession.videoEncoderAdd[studio/video encoder 0]: Create video encoder: VP8: default",
                "TranscoderSession.videoEncoderAdd[studio/small]: Create video encoder: VP8: default")),
                lines.toString());
        assertTrue(log.stream().noneMatch(l -> l.message().contains("{context}")));
        assertEquals(LogEntry.Source.SESSION, log.get(0).source());
        assertEquals(LogEntry.Level.PROGRESS, log.get(0).level());
    }

    @Test
    void buildersAndAClosedSessionRefuseWhatTheLibraryWouldMisread() {
        List<LogEntry> log = new ArrayList<>();
        Session session = open(null, log);
        assertThrows(IllegalArgumentException.class, () -> session.rendition(0, 48));
        assertThrows(IllegalStateException.class, () -> session.videoEncoder(VideoCodec.VP8).open(),
                "an encoder without a rendition");
        assertThrows(IllegalStateException.class, () -> session.audioEncoder(AudioCodec.AAC).open(),
                "an audio encoder without its format");
        Rendition r = session.rendition(64, 48).add();
        assertEquals(1, session.bufferSetCount(), "the first rendition made a set");
        assertThrows(IllegalStateException.class, () -> session.bufferSets(2), "sets come before renditions");
        assertThrows(IllegalArgumentException.class, () -> Overlay.bgra(new byte[15], 2, 2));
        session.close();
        assertFalse(session.isOpen());
        session.close();
        assertEquals(0, session.drainLog());
        assertThrows(IllegalStateException.class, () -> session.videoDecoder(VideoCodec.H264).open());
        assertThrows(IllegalStateException.class, () -> r.removeOverlay(1));
        assertThrows(IllegalStateException.class, session::nativeHandle);
        assertEquals(2, log.size(), "the hardware answers, drained once at close");
    }

    @Test
    void theLogDrainsFromAnotherThreadWhileTheSessionIsBuiltAndClosed() throws Exception {
        List<LogEntry> log = Collections.synchronizedList(new ArrayList<>());
        Session session = open("busy", log);
        AtomicBoolean stop = new AtomicBoolean();
        List<Throwable> errors = Collections.synchronizedList(new ArrayList<>());
        Thread drainer = new Thread(() -> {
            while (!stop.get()) {
                session.drainLog();
            }
        });
        drainer.setUncaughtExceptionHandler((thread, e) -> errors.add(e));
        drainer.start();
        int encoders = 40;
        try {
            Rendition r = session.rendition(64, 48).add();
            for (int i = 0; i < encoders; i++) {
                session.videoEncoder(VideoCodec.VP8).rendition(r).open();
            }
        } finally {
            session.close();
            stop.set(true);
            drainer.join();
        }
        assertEquals(List.of(), errors);
        long created = log.stream().filter(l -> l.message().contains("Create video encoder")).count();
        assertEquals(encoders, created, "every line delivered exactly once");
    }

    @Test
    void theDefaultSinkIsJavaLogging() {
        Logger logger = Logger.getLogger("com.corvane.cvx.transcoder");
        ByteArrayOutputStream text = new ByteArrayOutputStream();
        Handler handler = new StreamHandler(text, new Formatter() {
            @Override
            public String format(LogRecord record) {
                return record.getLevel() + " " + record.getMessage() + "\n";
            }
        });
        handler.setLevel(Level.ALL);
        Level before = logger.getLevel();
        logger.addHandler(handler);
        logger.setLevel(Level.ALL);
        logger.setUseParentHandlers(false);
        try (Session session = Transcoder.session().name("jul").open()) {
            assertThrows(TranscoderException.class, () -> session.audioEncoder(AudioCodec.AAC).sampleRate(44000)
                    .channels(1).bitrate(64_000).open());
        } finally {
            logger.removeHandler(handler);
            logger.setLevel(before);
            logger.setUseParentHandlers(true);
        }
        handler.flush();
        String lines = text.toString(StandardCharsets.UTF_8);
        assertTrue(lines.contains("FINE TranscoderSession.isCUDAAvailable[jul]"), lines);
        assertTrue(lines.contains("WARNING AudioEncoderAAC.initialize[jul/audio encoder 0]"), lines);
    }
}
