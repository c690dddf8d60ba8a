package com.corvane.cvx.transcoder.model;

import static org.junit.jupiter.api.Assertions.*;
import static org.junit.jupiter.api.Assumptions.assumeTrue;

import com.corvane.cvx.transcoder.testing.*;

import java.io.IOException;
import java.nio.file.*;
import java.util.*;
import java.util.concurrent.atomic.AtomicReference;

import org.junit.jupiter.api.*;

/** The CUDA encoder over the fake driver (java_tests_cuda: two GPUs, a thread that delivers); else software. */
class CudaEncoderTest extends NativeTestBase {
    static final int CUDA = 2;
    /** The fake GPU encodes with x264's ABR; over six seconds it keeps this close. */
    static final double RATE_TOLERANCE = 0.25;

    static boolean fakeDriver() {
        return System.getenv("CVX_NVIDIA_DRIVER_DIR") != null && System.getenv("CVX_FAKE_NVIDIA_SCRIPT") != null;
    }

    @BeforeAll
    static void scriptTheDriver() throws IOException {
        if (fakeDriver()) {
            // GPU 1 is the faster: 1500 MHz x 16 processors x 48 cores.
            Files.writeString(Path.of(System.getenv("CVX_FAKE_NVIDIA_SCRIPT")), "devices=2\ndriver=12020\n"
                    + "encodeDelayMs=1\ndevice0=Fake GPU A|2|0|1000000|8|2147483648\n"
                    + "device1=Fake GPU B|2|1|1500000|16|4294967296\n");
        }
    }

    long selectedGpu(int encoder) {
        TranscoderNativeParameterValue[] query = {TranscoderNativeParameterValue.query(30010)};
        assertEquals(0L, lib.videoEncoderGetParameterValues(session, encoder, query));
        assertEquals(1, query[0].dataType);
        return query[0].lValue;
    }

    @Test
    void anH264LadderOnTheGpuKeepsEveryTimecodeAndTheSourcesKeyFrames() throws Exception {
        assumeTrue(fakeDriver(), "needs the fake NVIDIA driver (ctest java_tests_cuda)");
        assertEquals(List.of(
                "TranscoderSession.isCUDAAvailable[{context}]: NVidia CUDA hardware acceleration is available",
                "NVidiaCUDAUtils.logCUDAGPUInfo[{context}]: GPU[0]: name:\"Fake GPU A\" version:2.0 driver:12020"
                        + " memory:2048MB processors:8 cores:256 clockRate:1000MHz",
                "NVidiaCUDAUtils.logCUDAGPUInfo[{context}]: GPU[1]: name:\"Fake GPU B\" version:2.1 driver:12020"
                        + " memory:4096MB processors:16 cores:768 clockRate:1500MHz"), statements().subList(0, 3));
        Path file = Media.h264Clip("ladder", 320, 240, 150);
        Containers.Source source = Containers.flv(file, true);
        int[][] ladder = {{320, 240, 500_000}, {256, 192, 350_000}, {160, 120, 150_000}};
        videoDecoder(session, H264, 0, 1);
        assertEquals(0L, lib.videoEncoderBufferSetsCreate(session, 1));
        for (int r = 0; r < ladder.length; r++) {
            assertEquals(r, rendition(session, ladder[r][0], ladder[r][1], 3, TranscoderSessionNative.FOURCC_YV12));
            TranscoderLongByReference index = new TranscoderLongByReference(-1);
            assertEquals(0L, lib.videoEncoderAdd(session, H264, CUDA, index));
            assertEquals(0L, lib.videoEncoderSetDefaults(session, r, 2, 0));
            assertEquals(0L, lib.videoEncoderSetFrameSize(session, r, ladder[r][0], ladder[r][1]));
            assertEquals(0L, lib.videoEncoderSetFrameRate(session, r, 25.0));
            assertEquals(0L, lib.videoEncoderSetBitrate(session, r, ladder[r][2]));
            assertEquals(0L, lib.videoEncoderSetKeyFrameFollow(session, r, true));
            if (r == 1) {
                assertEquals(0L, lib.videoEncoderSetGPUID(session, r, 0)); // the slower GPU, by number
            }
            assertEquals(0L, lib.videoEncoderInitialize(session, r));
        }
        assertEquals(List.of(1L, 0L, 1L), List.of(selectedGpu(0), selectedGpu(1), selectedGpu(2)));
        List<String> lines = statements();
        assertTrue(lines.contains("TranscoderSession.videoEncoderAdd[{context}]: Create video encoder: H.264: CUDA"),
                lines.toString());
        assertTrue(lines.contains("VideoEncoderH264NVidiaCUDA2.initialize[{context}]: setGPUID: 0"), lines.toString());

        // One host thread feeds the session, another pulls the packets the driver's thread delivers meanwhile.
        List<List<TranscoderPacket>> packets = List.of(new ArrayList<>(), new ArrayList<>(), new ArrayList<>());
        AtomicReference<Run> fed = new AtomicReference<>();
        Thread puller = new Thread(() -> {
            for (long deadline = System.nanoTime() + 60_000_000_000L; System.nanoTime() < deadline; ) {
                boolean complete = fed.get() != null;
                for (int r = 0; r < ladder.length; r++) {
                    lib.videoEncoderGetEncodedFrames(session, r, packets.get(r));
                    complete &= complete && packets.get(r).size() >= fed.get().pictureTimes.size();
                }
                if (complete) {
                    return;
                }
                Thread.onSpinWait();
            }
        });
        puller.start();
        fed.set(transcode(session, source, ladder.length, false, false));
        puller.join();
        List<Long> pictureTimes = fed.get().pictureTimes;
        assertTrue(pictureTimes.size() >= 140, "pictures decoded: " + pictureTimes.size());

        for (int r = 0; r < ladder.length; r++) {
            List<TranscoderPacket> out = packets.get(r);
            String name = "cuda-" + ladder[r][0] + "x" + ladder[r][1];
            // Nothing held back: every picture out, in order, with its own time.
            assertEquals(pictureTimes, out.stream().map(p -> p.timecode).toList(), name + ": the pictures' times");
            assertTrue(out.stream().allMatch(p -> p.frameType == 1 || p.frameType == 2), name);
            assertEquals(source.keys(), keyTimes(out), name + ": key frames exactly on the source's");
            expectBitrate(name, out, ladder[r][2], RATE_TOLERANCE);
            expectPictures(name, H264, out, file, source.times().first(), ladder[r][0], ladder[r][1],
                    "scale=" + ladder[r][0] + ":" + ladder[r][1], VideoCodecsTest.MIN_LADDER_PSNR);
        }
    }

    /** Without the driver the probe says so, and a rendition asking for the CUDA encoder gets the software one. */
    @Test
    void withoutADriverImplementationTwoIsTheSoftwareEncoder() {
        assumeTrue(System.getenv("CVX_NVIDIA_DRIVER_DIR") == null, "the fake driver is in use");
        for (String dir : List.of("/usr/lib/x86_64-linux-gnu", "/usr/lib64", "/usr/lib")) {
            assumeTrue(!Files.exists(Path.of(dir, "libnvidia-encode.so.1")), "an NVIDIA driver is installed");
        }
        List<String> log = statements();
        assertEquals("TranscoderSession.isCUDAAvailable[{context}]: NVidia CUDA hardware acceleration is NOT"
                + " available", log.get(0));
        assertTrue(log.stream().noneMatch(s -> s.startsWith("NVidiaCUDAUtils.")));
        assertEquals(0L, lib.videoEncoderBufferSetsCreate(session, 1));
        assertEquals(0L, rendition(session, 160, 120, 3, TranscoderSessionNative.FOURCC_YV12));
        // Live baseline: every picture comes straight out.
        assertEquals(0L, videoEncoder(session, H264, CUDA, 160, 120, 200_000, 0, 2, false));
        List<String> created = statements();
        assertTrue(created.contains("TranscoderSession.videoEncoderAdd[{context}]: Create video encoder: H.264:"
                + " default") && created.stream().noneMatch(s -> s.contains("CUDA")), created.toString());
        List<TranscoderPacket> packets = new ArrayList<>();
        for (int i = 0; i < 10; i++) {
            assertEquals(0L, lib.videoEncoderAddFrame(session, 0, 0, 0, i == 0 ? 1 : 2));
            assertEquals(0L, lib.videoEncoderGetEncodedFrames(session, 0, packets));
        }
        assertEquals(10, packets.size(), "the software encoder's packets");
        assertEquals(1, packets.get(0).frameType);
    }
}
