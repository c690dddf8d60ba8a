package com.corvane.cvx.transcoder.model;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;
import static org.junit.jupiter.api.Assumptions.assumeTrue;

import com.corvane.cvx.transcoder.host.FlvReader;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.TreeSet;
import java.util.concurrent.atomic.AtomicBoolean;
import java.util.concurrent.atomic.AtomicInteger;

import org.junit.jupiter.api.BeforeAll;
import org.junit.jupiter.api.Test;

/**
 * The CUDA H.264 encoder through the exports, over the fake NVIDIA driver the
 * tests build (two GPUs, an encoder over x264 that delivers from a thread of
 * its own): the probe's lines, a three-rung ladder decoded by ffmpeg while a
 * second host thread pulls the packets, and setGPUID. Runs where
 * CVX_NVIDIA_DRIVER_DIR and CVX_FAKE_NVIDIA_SCRIPT are set at JVM start (the
 * java_tests_cuda entry); skipped elsewhere.
 */
class CudaEncoderTest extends NativeTestBase {
    static final int H264 = 7;
    static final int CUDA = 2;
    static final int SELECTED_GPU = 30010;
    /** The fake GPU encodes with x264's ABR; over five seconds it keeps this close. */
    static final double RATE_TOLERANCE = 0.25;

    @BeforeAll
    static void scriptTheDriver() throws IOException {
        String script = System.getenv("CVX_FAKE_NVIDIA_SCRIPT");
        assumeTrue(System.getenv("CVX_NVIDIA_DRIVER_DIR") != null && script != null,
                "needs the fake NVIDIA driver (ctest java_tests_cuda)");
        // GPU 1 is the faster: 1500 MHz x 16 processors x 48 cores.
        Files.writeString(Path.of(script), "devices=2\ndriver=12020\nencodeDelayMs=1\n"
                + "device0=Fake GPU A|2|0|1000000|8|2147483648\n"
                + "device1=Fake GPU B|2|1|1500000|16|4294967296\n");
    }

    List<String> statements(int contextType) {
        List<String> out = new ArrayList<>();
        for (TranscoderLogStatement s : drainLog()) {
            if (s.contextType == contextType) {
                out.add(s.statement);
            }
        }
        return out;
    }

    long selectedGpu(int encoder) {
        TranscoderNativeParameterValue[] query = {TranscoderNativeParameterValue.query(SELECTED_GPU)};
        assertEquals(0L, lib.videoEncoderGetParameterValues(session, encoder, query));
        assertEquals(1, query[0].dataType);
        return query[0].lValue;
    }

    @Test
    void aSessionOpensWithTheProbeAndOneLinePerGpu() {
        List<String> lines = statements(0);
        assertEquals(List.of(
                "TranscoderSession.isCUDAAvailable[{context}]: NVidia CUDA hardware acceleration is available",
                "NVidiaCUDAUtils.logCUDAGPUInfo[{context}]: GPU[0]: name:\"Fake GPU A\" version:2.0 driver:12020"
                        + " memory:2048MB processors:8 cores:256 clockRate:1000MHz",
                "NVidiaCUDAUtils.logCUDAGPUInfo[{context}]: GPU[1]: name:\"Fake GPU B\" version:2.1 driver:12020"
                        + " memory:4096MB processors:16 cores:768 clockRate:1500MHz"),
                lines.subList(0, 3));
    }

    static final VideoCodecsTest.Rung[] LADDER = {
        new VideoCodecsTest.Rung(320, 240, 500_000), new VideoCodecsTest.Rung(256, 192, 350_000),
        new VideoCodecsTest.Rung(160, 120, 150_000),
    };

    @Test
    void anH264LadderOnTheGpuKeepsEveryTimecodeAndTheSourcesKeyFrames() throws Exception {
        Path file = VideoTools.h264Clip("codecs-ladder.flv", 320, 240, 150);
        VideoTools.Clip clip = VideoTools.readFlv(file);
        TreeSet<Long> sourceKeys = new TreeSet<>();
        TreeSet<Long> inputTimes = new TreeSet<>();
        for (FlvReader.Tag tag : clip.frames) {
            inputTimes.add(tag.presentationTime());
            if (tag.frameType == 1) {
                sourceKeys.add(tag.presentationTime());
            }
        }
        drainLog();

        assertEquals(0L, lib.videoDecoderCreate(session, H264, 0));
        assertEquals(0L, lib.videoDecoderBuffersCreate(session, 1));
        assertEquals(0L, lib.videoDecoderInitialize(session));
        assertEquals(0L, lib.videoEncoderBufferSetsCreate(session, 1));
        for (int r = 0; r < LADDER.length; r++) {
            VideoCodecsTest.Rung rung = LADDER[r];
            TranscoderLongByReference index = new TranscoderLongByReference(-1);
            assertEquals(0L, lib.videoEncoderBufferAdd(session, rung.width(), rung.height(), 3, index));
            assertEquals(0L, lib.videoEncoderAdd(session, H264, CUDA, index));
            assertEquals(r, index.value);
            assertEquals(0L, lib.videoEncoderSetDefaults(session, r, 2, 0));
            assertEquals(0L, lib.videoEncoderSetFrameSize(session, r, rung.width(), rung.height()));
            assertEquals(0L, lib.videoEncoderSetFrameRate(session, r, 25.0));
            assertEquals(0L, lib.videoEncoderSetBitrate(session, r, rung.bitrate()));
            assertEquals(0L, lib.videoEncoderSetKeyFrameFollow(session, r, true));
            // The middle rung goes to the slower GPU by number.
            if (r == 1) {
                assertEquals(0L, lib.videoEncoderSetGPUID(session, r, 0));
            }
            assertEquals(0L, lib.videoEncoderInitialize(session, r));
        }
        assertEquals(List.of(1L, 0L, 1L), List.of(selectedGpu(0), selectedGpu(1), selectedGpu(2)));
        List<String> encoderLines = statements(2);
        assertTrue(encoderLines.contains("TranscoderSession.videoEncoderAdd[{context}]: Create video encoder: H.264: CUDA"),
                encoderLines.toString());
        assertTrue(encoderLines.contains("VideoEncoderH264NVidiaCUDA2.initialize[{context}]: setGPUID: 0"),
                encoderLines.toString());

        // One host thread feeds the session, another pulls the packets that
        // the driver's thread delivers meanwhile.
        List<List<TranscoderPacket>> packets = new ArrayList<>();
        for (int r = 0; r < LADDER.length; r++) {
            packets.add(new ArrayList<>());
        }
        AtomicBoolean fed = new AtomicBoolean(false);
        AtomicInteger pictures = new AtomicInteger();
        List<Long> pictureTimes = new ArrayList<>();
        Thread puller = new Thread(() -> {
            long deadline = System.nanoTime() + 60_000_000_000L;
            while (System.nanoTime() < deadline) {
                boolean complete = fed.get();
                for (int r = 0; r < LADDER.length; r++) {
                    lib.videoEncoderGetEncodedFrames(session, r, packets.get(r));
                    complete &= packets.get(r).size() >= pictures.get();
                }
                if (complete) {
                    return;
                }
                Thread.onSpinWait();
            }
        });
        puller.start();
        assertEquals(0L, lib.videoDecoderDecodeCodecConfig(session, clip.config, 0, clip.config.length));
        TranscoderLongByReference flags = new TranscoderLongByReference();
        TranscoderVideoFrame picture = new TranscoderVideoFrame();
        for (FlvReader.Tag tag : clip.frames) {
            assertEquals(0L, lib.videoDecoderAddFrame(session, tag.data, 0, tag.data.length, tag.presentationTime(),
                    tag.frameType));
            do {
                assertEquals(0L, lib.videoDecoderDecode(session, 0, flags));
                if ((flags.value & 4) != 0 && (flags.value & 8) == 0) {
                    assertEquals(0L, lib.videoDecoderTransferFrame(session, 0, 0));
                    picture.width = 16;
                    picture.height = 16;
                    assertEquals(0L, lib.videoDecoderBufferGetVideoFrame(session, 0, picture));
                    for (int r = 0; r < LADDER.length; r++) {
                        assertEquals(0L, lib.videoEncoderAddFrame(session, r, 0, r, 0));
                    }
                    pictureTimes.add(picture.timecode);
                    pictures.incrementAndGet();
                }
            } while ((flags.value & 1) == 0);
        }
        fed.set(true);
        puller.join();
        assertTrue(pictureTimes.size() >= 140, "pictures decoded: " + pictureTimes.size());

        for (int r = 0; r < LADDER.length; r++) {
            VideoCodecsTest.Rung rung = LADDER[r];
            List<TranscoderPacket> out = packets.get(r);
            String name = "cuda-" + rung.width() + "x" + rung.height();
            // Nothing held back: every picture out, in order, with its own time.
            List<Long> times = new ArrayList<>();
            TreeSet<Long> keys = new TreeSet<>();
            long bytes = 0;
            for (TranscoderPacket p : out) {
                times.add(p.timecode);
                assertTrue(p.frameType == 1 || p.frameType == 2, name + ": frame type " + p.frameType);
                if (p.frameType == 1) {
                    keys.add(p.timecode);
                }
                bytes += p.buffer.length;
            }
            assertEquals(pictureTimes, times, name + ": the pictures' timecodes in order");
            TreeSet<Long> expectedKeys = new TreeSet<>(sourceKeys);
            expectedKeys.retainAll(times);
            assertEquals(expectedKeys, keys, name + ": key frames exactly on the source's");
            double rate = bytes * 8 / (times.size() / 25.0);
            System.out.printf("%s: %d packets, %d key frames, %.0f bit/s for a target of %d%n", name, out.size(),
                    keys.size(), rate, rung.bitrate());
            assertEquals(rung.bitrate(), rate, rung.bitrate() * RATE_TOLERANCE, name + ": average bit rate");
            double[] psnr = VideoCodecsTest.checkRendition(name, file, inputTimes.first(),
                    "scale=" + rung.width() + ":" + rung.height(), rung, out);
            for (int p = 0; p < 3; p++) {
                assertTrue(psnr[p] > VideoCodecsTest.MIN_LADDER_PSNR, name + " plane " + p + " PSNR " + psnr[p]);
            }
        }
    }

    @Test
    void aGpuNumberPastTheDevicesIsLoggedAndTheBestGpuTaken() {
        TranscoderLongByReference index = new TranscoderLongByReference(-1);
        assertEquals(0L, lib.videoEncoderAdd(session, H264, CUDA, index));
        assertEquals(0L, lib.videoEncoderSetDefaults(session, 0, 2, 0));
        assertEquals(0L, lib.videoEncoderSetFrameSize(session, 0, 160, 120));
        assertEquals(0L, lib.videoEncoderSetFrameRate(session, 0, 25.0));
        assertEquals(0L, lib.videoEncoderSetGPUID(session, 0, 2));
        drainLog();
        assertEquals(0L, lib.videoEncoderInitialize(session, 0));
        List<TranscoderLogStatement> log = drainLog();
        assertEquals(1, log.size());
        assertEquals("VideoEncoderH264NVidiaCUDA2.initialize[{context}]: GPUID does not exist: setGPUID: 2"
                + " deviceCount: 2", log.get(0).statement);
        assertEquals(3, log.get(0).level);
        assertEquals(2, log.get(0).contextType);
        assertEquals(1L, selectedGpu(0));
    }
}
