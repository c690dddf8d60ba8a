package com.corvane.cvx.transcoder.model;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;
import static org.junit.jupiter.api.Assumptions.assumeTrue;

import java.nio.file.Files;
import java.nio.file.Path;
import java.util.List;

import org.junit.jupiter.api.BeforeAll;
import org.junit.jupiter.api.Test;

/**
 * On a machine without the NVIDIA driver the probe says so, and a rendition
 * that asks for the CUDA encoder gets the software one, which encodes.
 */
class CudaFallbackTest extends NativeTestBase {

    @BeforeAll
    static void onlyWithoutADriver() {
        assumeTrue(System.getenv("CVX_NVIDIA_DRIVER_DIR") == null, "the fake driver is in use");
        for (String dir : List.of("/usr/lib/x86_64-linux-gnu", "/usr/lib64", "/usr/lib")) {
            assumeTrue(!Files.exists(Path.of(dir, "libnvidia-encode.so.1")), "an NVIDIA driver is installed");
        }
    }

    @Test
    void theProbeSaysNotAvailableAndImplementationTwoIsTheSoftwareEncoder() {
        List<TranscoderLogStatement> log = drainLog();
        assertEquals("TranscoderSession.isCUDAAvailable[{context}]: NVidia CUDA hardware acceleration is NOT available",
                log.get(0).statement);
        assertTrue(log.stream().noneMatch(s -> s.statement.startsWith("NVidiaCUDAUtils.")));

        TranscoderLongByReference index = new TranscoderLongByReference(-1);
        assertEquals(0L, lib.videoEncoderAdd(session, 7, 2, index));
        log = drainLog();
        assertEquals(1, log.size());
        assertEquals("TranscoderSession.videoEncoderAdd[{context}]: Create video encoder: H.264: default",
                log.get(0).statement);
        // The software encoder's settings answer; the CUDA encoder's do not.
        TranscoderNativeParameterValue[] query = {
            TranscoderNativeParameterValue.query(10006), TranscoderNativeParameterValue.query(30010),
        };
        query[1].dataType = 9;
        assertEquals(0L, lib.videoEncoderGetParameterValues(session, 0, query));
        assertEquals(1, query[0].dataType);
        assertEquals(9, query[1].dataType);

        assertEquals(0L, lib.videoEncoderBufferSetsCreate(session, 1));
        assertEquals(0L, lib.videoEncoderBufferAdd(session, 160, 120, 3, new TranscoderLongByReference()));
        // Live baseline: every picture comes straight out.
        assertEquals(0L, lib.videoEncoderSetDefaults(session, 0, 0, 2));
        assertEquals(0L, lib.videoEncoderSetFrameSize(session, 0, 160, 120));
        assertEquals(0L, lib.videoEncoderSetFrameRate(session, 0, 25.0));
        assertEquals(0L, lib.videoEncoderSetBitrate(session, 0, 200_000));
        assertEquals(0L, lib.videoEncoderInitialize(session, 0));
        List<TranscoderPacket> packets = new java.util.ArrayList<>();
        for (int i = 0; i < 10; i++) {
            assertEquals(0L, lib.videoEncoderAddFrame(session, 0, 0, 0, i == 0 ? 1 : 2));
            assertEquals(0L, lib.videoEncoderGetEncodedFrames(session, 0, packets));
        }
        assertEquals(10, packets.size(), "the software encoder's packets");
        assertEquals(1, packets.get(0).frameType);
    }
}
