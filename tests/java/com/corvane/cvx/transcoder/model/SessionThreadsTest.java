package com.corvane.cvx.transcoder.model;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.corvane.cvx.transcoder.host.FlvReader;

import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Set;
import java.util.TreeSet;
import java.util.concurrent.ConcurrentLinkedQueue;
import java.util.concurrent.atomic.AtomicInteger;
import java.util.concurrent.atomic.AtomicLong;

import org.junit.jupiter.api.Test;

/**
 * Several sessions transcode on threads of their own through the exports
 * while two more threads make the calls the exports allow beside a session's
 * own: one drains every session's log, one installs, replaces and removes
 * overlays on the decoder frames and on a rendition. Outputs are decoded.
 */
class SessionThreadsTest extends NativeTestBase {
    static final int SESSIONS = 3;
    static final int RATE = 8000;
    static final int PACKET = 160;

    /** One session's stream: H.264 into VP8 and H.264, G.711 into Vorbis and AAC. */
    static final class Stream implements Runnable {
        final long handle = lib.createInstance();
        final VideoTools.Clip clip;
        final List<String> failures = new ArrayList<>();
        final List<List<TranscoderPacket>> video = List.of(new ArrayList<>(), new ArrayList<>());
        final List<List<TranscoderPacket>> audio = List.of(new ArrayList<>(), new ArrayList<>());
        final Set<Long> inputTimes = new TreeSet<>();
        int pictures;

        Stream(VideoTools.Clip clip) {
            this.clip = clip;
        }

        void check(String call, long status) {
            if (status != 0) {
                failures.add(call + " answered " + status);
            }
        }

        void build() {
            check("videoDecoderCreate", lib.videoDecoderCreate(handle, 7, 0));
            check("videoDecoderBuffersCreate", lib.videoDecoderBuffersCreate(handle, 1));
            check("videoDecoderInitialize", lib.videoDecoderInitialize(handle));
            check("videoEncoderBufferSetsCreate", lib.videoEncoderBufferSetsCreate(handle, 1));
            TranscoderLongByReference item = new TranscoderLongByReference();
            check("videoEncoderBufferAdd", lib.videoEncoderBufferAdd(handle, 96, 72, 1, item));
            check("videoEncoderBufferAdd", lib.videoEncoderBufferAdd(handle, 64, 64, 4, item));
            long[][] renditions = {{8, 96, 72}, {7, 64, 64}};
            for (long[] r : renditions) {
                TranscoderLongByReference encoder = new TranscoderLongByReference();
                check("videoEncoderAdd", lib.videoEncoderAdd(handle, r[0], 0, encoder));
                check("videoEncoderSetDefaults", lib.videoEncoderSetDefaults(handle, encoder.value, 0, 0));
                check("videoEncoderSetFrameSize", lib.videoEncoderSetFrameSize(handle, encoder.value, r[1], r[2]));
                check("videoEncoderSetFrameRate", lib.videoEncoderSetFrameRate(handle, encoder.value, 25.0));
                check("videoEncoderSetBitrate", lib.videoEncoderSetBitrate(handle, encoder.value, 300_000));
                check("videoEncoderInitialize", lib.videoEncoderInitialize(handle, encoder.value));
            }
            check("videoDecoderDecodeCodecConfig",
                    lib.videoDecoderDecodeCodecConfig(handle, clip.config, 0, clip.config.length));

            check("audioDecoderCreate", lib.audioDecoderCreate(handle, 7, 0));
            check("audioDecoderInitialize", lib.audioDecoderInitialize(handle));
            byte[] description = G711.description(RATE, 1);
            check("audioDecoderDecodeFirstFrame",
                    lib.audioDecoderDecodeFirstFrame(handle, description, 0, description.length));
            check("audioDecoderBuffersCreate", lib.audioDecoderBuffersCreate(handle, 2));
            check("audioDecoderBuffersAllocate", lib.audioDecoderBuffersAllocate(handle, PACKET, 1, RATE));
            long[][] encoders = {{9, 16000}, {10, 24000}};
            for (long[] e : encoders) {
                TranscoderLongByReference encoder = new TranscoderLongByReference();
                check("audioEncoderAdd", lib.audioEncoderAdd(handle, e[0], 0, encoder));
                check("audioEncoderSetSampleRate", lib.audioEncoderSetSampleRate(handle, encoder.value, RATE));
                check("audioEncoderSetChannels", lib.audioEncoderSetChannels(handle, encoder.value, 1));
                check("audioEncoderSetBitrate", lib.audioEncoderSetBitrate(handle, encoder.value, e[1]));
                check("audioEncoderInitialize", lib.audioEncoderInitialize(handle, encoder.value));
                check("audioEncoderGetHeaders", lib.audioEncoderGetHeaders(handle, encoder.value, new ArrayList<>()));
            }
        }

        @Override
        public void run() {
            short[] sine = MediaTools.sine(440, RATE, PACKET * 2 * clip.frames.size(), 9000);
            byte[] alaw = new byte[PACKET];
            TranscoderLongByReference flags = new TranscoderLongByReference();
            int audioPacket = 0;
            for (FlvReader.Tag frame : clip.frames) {
                long time = frame.presentationTime();
                inputTimes.add(time);
                check("videoDecoderAddFrame",
                        lib.videoDecoderAddFrame(handle, frame.data, 0, frame.data.length, time, frame.frameType));
                do {
                    check("videoDecoderDecode", lib.videoDecoderDecode(handle, 0, flags));
                    if ((flags.value & 4) != 0 && (flags.value & 8) == 0) {
                        pictures++;
                        check("videoDecoderTransferFrame", lib.videoDecoderTransferFrame(handle, 0, 0));
                        for (int e = 0; e < 2; e++) {
                            check("videoEncoderAddFrame", lib.videoEncoderAddFrame(handle, e, 0, e, 0));
                            check("videoEncoderGetEncodedFrames",
                                    lib.videoEncoderGetEncodedFrames(handle, e, video.get(e)));
                        }
                    }
                } while ((flags.value & 1) == 0 && failures.isEmpty());
                for (int k = 0; k < 2; k++, audioPacket++) {
                    for (int i = 0; i < PACKET; i++) {
                        alaw[i] = G711.alaw(sine[audioPacket * PACKET + i]);
                    }
                    long buffer = audioPacket % 2;
                    check("audioDecoderDecodeFrame",
                            lib.audioDecoderDecodeFrame(handle, alaw, 0, PACKET, audioPacket * 20L, buffer));
                    for (int e = 0; e < 2; e++) {
                        check("audioEncoderAddSampleBuffer",
                                lib.audioEncoderAddSampleBuffer(handle, e, buffer, audio.get(e)));
                    }
                }
            }
        }
    }

    static TranscoderOverlayFrame square(int side, int alpha, int align) {
        TranscoderOverlayFrame overlay = new TranscoderOverlayFrame();
        overlay.width = side;
        overlay.height = side;
        overlay.stride = side * 4L;
        overlay.bytes = new byte[side * side * 4];
        for (int i = 0; i < overlay.bytes.length; i += 4) {
            overlay.bytes[i + 1] = (byte) 200;
            overlay.bytes[i + 3] = (byte) alpha;
        }
        overlay.dstWidth = side;
        overlay.dstHeight = side;
        overlay.dstAlign = align;
        return overlay;
    }

    @Test
    void sessionsTranscodeWhileOtherThreadsDrainLogsAndChangeOverlays() throws Exception {
        VideoTools.Clip clip = VideoTools.readFlv(VideoTools.h264Clip("threads-source.flv", 160, 120, 25));
        List<Stream> streams = new ArrayList<>();
        for (int s = 0; s < SESSIONS; s++) {
            Stream stream = new Stream(clip);
            assertTrue(stream.handle != 0, "createInstance gave no session");
            stream.build();
            streams.add(stream);
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
        threads.add(new Thread(() -> {
            // At least one round, however fast the sessions finish.
            List<TranscoderLogStatement> statements = new ArrayList<>();
            do {
                for (Stream stream : streams) {
                    statements.clear();
                    assertEquals(0L, lib.getLogStatements(stream.handle, statements));
                    drained.addAndGet(statements.size());
                }
                Thread.yield();
            } while (running.get() > 0);
        }));
        threads.add(new Thread(() -> {
            int round = 0;
            do {
                for (Stream stream : streams) {
                    boolean remove = round % 3 == 2;
                    int align = TranscoderOverlayFrame.ALIGN_RIGHT | TranscoderOverlayFrame.ALIGN_BOTTOM;
                    assertEquals(0L, lib.videoEncoderBufferSetOverlayVideoFrame(stream.handle, 1, round % 3,
                            remove ? null : square(8, round % 2 == 0 ? 255 : 128, align)));
                    assertEquals(0L, lib.videoDecoderBufferSetOverlayVideoFrame(stream.handle, round % 3,
                            remove ? null : square(4, 200, 0)));
                    overlayCalls.addAndGet(2);
                }
                round++;
                Thread.yield();
            } while (running.get() > 0);
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
            assertEquals(List.of(), stream.failures, name);
            // The decoder holds its reordering window at the end.
            assertTrue(stream.pictures >= clip.frames.size() - 4 && stream.pictures < clip.frames.size(), name);
            for (int e = 0; e < 2; e++) {
                List<TranscoderPacket> packets = stream.video.get(e);
                assertEquals(stream.pictures, packets.size(), name + " rendition " + e);
                assertEquals(1, packets.get(0).frameType, name + " rendition " + e + " opens with a key frame");
                long previous = Long.MIN_VALUE;
                for (TranscoderPacket p : packets) {
                    assertTrue(stream.inputTimes.contains(p.timecode), name + ": a source time " + p.timecode);
                    if (e == 0) {
                        assertTrue(p.timecode > previous, name + ": VP8 packets in display order");
                        previous = p.timecode;
                    }
                }
            }
            Path ivf = MediaTools.tmpDir().resolve("threads-" + s + ".ivf");
            VideoTools.writeIvf(ivf, 96, 72, stream.video.get(0));
            byte[] decoded = VideoTools.rawFrames(ivf, null);
            assertEquals(stream.pictures * 96 * 72 * 3 / 2, decoded.length, name + ": every VP8 packet decodes");
            assertTrue(stream.audio.get(0).size() > 10, name + ": Vorbis packets " + stream.audio.get(0).size());
            assertTrue(stream.audio.get(1).size() > 5, name + ": AAC packets " + stream.audio.get(1).size());
            long[] positions = stream.audio.get(0).stream().mapToLong(p -> p.timecode).toArray();
            long[] sorted = positions.clone();
            Arrays.sort(sorted);
            assertArrayEquals(sorted, positions, name + ": sample positions never go back");
        }
    }
}
