package com.corvane.cvx.transcoder.model;

import static org.junit.jupiter.api.Assertions.*;

import com.corvane.cvx.transcoder.testing.*;

import java.util.*;
import java.util.concurrent.ConcurrentLinkedQueue;
import java.util.concurrent.atomic.*;
import java.util.function.Function;

import org.junit.jupiter.api.Test;

/** Sessions transcode on threads of their own while other threads drain their logs and change overlays. */
class SessionThreadsTest extends NativeTestBase {
    static final int SESSIONS = 3;
    static final int RATE = 8000;
    static final int PACKET = 160;

    /** One session's stream: H.264 into VP8 and H.264, G.711 into Vorbis and AAC. */
    static final class Stream implements Runnable {
        final long handle = lib.createInstance();
        final Containers.Source clip;
        final byte[] audioSource;
        final List<List<TranscoderPacket>> video = List.of(new ArrayList<>(), new ArrayList<>());
        final List<List<TranscoderPacket>> audio = List.of(new ArrayList<>(), new ArrayList<>());
        int pictures;

        Stream(Containers.Source clip, byte[] audioSource) {
            this.clip = clip;
            this.audioSource = audioSource;
            videoDecoder(handle, H264, 0, 1);
            assertEquals(0L, lib.videoEncoderBufferSetsCreate(handle, 1));
            assertEquals(0L, rendition(handle, 96, 72, 1, TranscoderSessionNative.FOURCC_I420));
            assertEquals(1L, rendition(handle, 64, 64, 4, TranscoderSessionNative.FOURCC_I420));
            videoEncoder(handle, VP8, 0, 96, 72, 300_000, 0, 0, false);
            videoEncoder(handle, H264, 0, 64, 64, 300_000, 0, 0, false);
            assertEquals(0L, lib.videoDecoderDecodeCodecConfig(handle, clip.config(), 0, clip.config().length));
            g711Decoder(handle, 7, RATE, 1, 2, PACKET);
            audioEncoder(handle, VORBIS, RATE, 1, 16000, new ArrayList<>());
            audioEncoder(handle, AAC, RATE, 1, 24000, new ArrayList<>());
        }

        @Override
        public void run() {
            byte[] alaw = audioSource;
            int audioPacket = 0;
            for (Containers.Frame frame : clip.frames()) {
                addFrame(handle, frame);
                decodeAll(handle, flags -> {
                    pictures++;
                    assertEquals(0L, lib.videoDecoderTransferFrame(handle, 0, 0));
                    for (int e = 0; e < 2; e++) {
                        assertEquals(0L, lib.videoEncoderAddFrame(handle, e, 0, e, 0));
                        assertEquals(0L, lib.videoEncoderGetEncodedFrames(handle, e, video.get(e)));
                    }
                });
                for (int k = 0; k < 2; k++, audioPacket++) {
                    assertEquals(0L, lib.audioDecoderDecodeFrame(handle, alaw, audioPacket * PACKET, PACKET,
                            audioPacket * 20L, audioPacket % 2));
                    for (int e = 0; e < 2; e++) {
                        assertEquals(0L, lib.audioEncoderAddSampleBuffer(handle, e, audioPacket % 2, audio.get(e)));
                    }
                }
            }
        }
    }

    @Test
    void sessionsTranscodeWhileOtherThreadsDrainLogsAndChangeOverlays() throws Exception {
        Containers.Source clip = Containers.flv(Media.h264Clip("threads-source", 160, 120, 25), true);
        List<Stream> streams = new ArrayList<>();
        for (int s = 0; s < SESSIONS; s++) {
            streams.add(new Stream(clip, Media.g711("sine=frequency=440:sample_rate=8000:duration=2", 1, true)));
        }
        ConcurrentLinkedQueue<Throwable> thrown = new ConcurrentLinkedQueue<>();
        AtomicInteger running = new AtomicInteger(SESSIONS);
        AtomicLong drained = new AtomicLong();
        AtomicLong overlayCalls = new AtomicLong();
        List<Thread> threads = new ArrayList<>();
        for (Stream stream : streams) {
            threads.add(new Thread(() -> {
                stream.run();
                running.decrementAndGet();
            }));
        }
        // Each of the two other threads makes at least one round, however fast the sessions finish.
        Function<Runnable, Thread> whileRunning = round -> new Thread(() -> {
            do {
                round.run();
                Thread.yield();
            } while (running.get() > 0);
        });
        threads.add(whileRunning.apply(() -> {
            for (Stream stream : streams) {
                List<TranscoderLogStatement> statements = new ArrayList<>();
                assertEquals(0L, lib.getLogStatements(stream.handle, statements));
                drained.addAndGet(statements.size());
            }
        }));
        int align = TranscoderOverlayFrame.ALIGN_RIGHT | TranscoderOverlayFrame.ALIGN_BOTTOM;
        byte[][] greens = {{0, (byte) 200, 0, -1}, {0, (byte) 200, 0, (byte) 128}};
        threads.add(whileRunning.apply(() -> {
            long round = overlayCalls.getAndIncrement();
            boolean remove = round % 3 == 2;
            for (Stream stream : streams) {
                assertEquals(0L, lib.videoEncoderBufferSetOverlayVideoFrame(stream.handle, 1, round % 3,
                        remove ? null : overlay(BGRA, 8, 8, greens[(int) round % 2], 0, 0, 8, 8, align)));
                assertEquals(0L, lib.videoDecoderBufferSetOverlayVideoFrame(stream.handle, round % 3,
                        remove ? null : overlay(BGRA, 4, 4, greens[1], 0, 0, 4, 4, 0)));
            }
        }));
        for (Thread t : threads) {
            t.setUncaughtExceptionHandler((thread, e) -> {
                thrown.add(e);
                running.set(0);
            });
            t.start();
        }
        for (Thread t : threads) {
            t.join(120_000);
            assertFalse(t.isAlive(), "a thread did not finish");
        }
        for (Stream stream : streams) {
            lib.destroyInstance(stream.handle);
        }
        assertTrue(thrown.isEmpty(), () -> "thrown: " + thrown);
        assertTrue(drained.get() > 0);
        assertTrue(overlayCalls.get() > 0);

        for (int s = 0; s < SESSIONS; s++) {
            Stream stream = streams.get(s);
            String name = "session " + s;
            // The decoder holds its reordering window at the end.
            assertTrue(stream.pictures >= clip.frames().size() - 4 && stream.pictures < clip.frames().size(), name);
            for (int e = 0; e < 2; e++) {
                List<TranscoderPacket> packets = stream.video.get(e);
                assertEquals(stream.pictures, packets.size(), name + " rendition " + e);
                assertEquals(1, packets.get(0).frameType, name + " rendition " + e + " opens with a key frame");
                long previous = Long.MIN_VALUE;
                for (TranscoderPacket p : packets) {
                    assertTrue(clip.times().contains(p.timecode), name + ": a source time " + p.timecode);
                    if (e == 0) {
                        assertTrue(p.timecode > previous, name + ": VP8 packets in display order");
                        previous = p.timecode;
                    }
                }
            }
            byte[] decoded = Media.raw420(playable("threads-" + s, VP8, stream.video.get(0), 96, 72), null);
            assertEquals(stream.pictures * 96 * 72 * 3 / 2, decoded.length, name + ": every VP8 packet decodes");
            assertTrue(stream.audio.get(0).size() > 10, name + ": Vorbis packets " + stream.audio.get(0).size());
            assertTrue(stream.audio.get(1).size() > 5, name + ": AAC packets " + stream.audio.get(1).size());
            List<Long> positions = stream.audio.get(0).stream().map(p -> p.timecode).toList();
            assertEquals(positions.stream().sorted().toList(), positions, name + ": sample positions never go back");
        }
    }
}
