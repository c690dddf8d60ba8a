package com.corvane.cvx.transcoder.model;

import static org.junit.jupiter.api.Assertions.*;
import static org.junit.jupiter.api.Assumptions.*;

import com.corvane.cvx.transcoder.testing.*;

import java.nio.file.*;
import java.util.*;

import org.junit.jupiter.api.Test;

/** Quick Sync over the fake runtime (java_tests_quicksync); without one, the answers of a machine without it. */
class QuickSyncTest extends NativeTestBase {
    static final int QUICK_SYNC = 1;
    /** Every plane of every rung, against ffmpeg's decode of the source scaled to it. Measured: 36 to 51 dB. */
    static final double MIN_PSNR = 33.0;

    static boolean fakeRuntime() {
        String runtime = System.getenv("CVX_MFX_RUNTIME");
        return runtime != null && runtime.contains("cvx-fake-mfx");
    }

    @Test
    void withoutARuntimeQuickSyncRequestsGetTheSoftwareAnswers() {
        assumeFalse(fakeRuntime());
        assumeFalse(Files.exists(Path.of("/dev/dri/renderD128")), "this machine may have a GPU");
        assertTrue(statements().contains("TranscoderSession.isQuickSyncAvailable[{context}]: Intel Quick Sync"
                + " hardware acceleration is NOT available"));
        assertEquals(0L, lib.videoDecoderCreate(session, H264, QUICK_SYNC));
        // Its initialize opens no session and says so to nobody; the decoder stays inert.
        assertEquals(0L, lib.videoDecoderInitialize(session));
        TranscoderLongByReference index = new TranscoderLongByReference(-1);
        assertEquals(0L, lib.videoEncoderAdd(session, H264, QUICK_SYNC, index));
        assertEquals(List.of("TranscoderSession.videoDecoderCreate[{context}]: Create video decoder: H.264: QuickSync",
                "TranscoderSession.videoEncoderAdd[{context}]: Create video encoder: H.264: default"), statements());
    }

    @Test
    void anH264SourceThroughQuickSyncBecomesALadderWithKeyFramesOnTheSources() throws Exception {
        assumeTrue(fakeRuntime());
        Path file = Media.h264Clip("qsv-ladder", 320, 240, 100);
        Containers.Source source = Containers.flv(file, true);
        assertTrue(source.keys().size() >= 4, "key frames in the source: " + source.keys());
        int[][] ladder = {{320, 240, 600_000}, {160, 120, 250_000}};
        videoDecoder(session, H264, QUICK_SYNC, 1);
        assertEquals(0L, lib.videoEncoderBufferSetsCreate(session, 1));
        for (int[] rung : ladder) {
            assertTrue(rendition(session, rung[0], rung[1], 3, TranscoderSessionNative.FOURCC_YV12) >= 0);
            videoEncoder(session, H264, QUICK_SYNC, rung[0], rung[1], rung[2], 2, 2, true);
        }
        List<String> log = statements();
        for (String line : List.of(
                "TranscoderSession.videoDecoderCreate[{context}]: Create video decoder: H.264: QuickSync",
                "VideoDecoderH264IntelQuickSync.initialize[{context}]: Create video decoder: Hardware",
                "TranscoderSession.videoEncoderAdd[{context}]: Create video encoder: H.264: QuickSync",
                "VideoEncoderH264IntelQuickSync2.initialize[{context}]: Create video encoder: Hardware")) {
            assertTrue(log.contains(line), line + " in " + log);
        }

        Run run = transcode(session, source, ladder.length, true, true);
        // Every input time in display order, the reordering window's last pictures given out at the end.
        assertEquals(new ArrayList<>(source.times()), run.pictureTimes, "display order");
        assertTrue(statements().stream().noneMatch(s -> s.contains("INVALID_SURF_IDX") || s.contains("stopped")));
        for (int r = 0; r < ladder.length; r++) {
            List<TranscoderPacket> out = run.packets.get(r);
            String name = "qsv-ladder-" + ladder[r][0] + "x" + ladder[r][1];
            // Encoded in order, one packet a picture, nothing held back.
            assertEquals(run.pictureTimes, out.stream().map(p -> p.timecode).toList(), name + ": packet times");
            assertTrue(out.stream().allMatch(p -> p.frameType == 1 || p.frameType == 2), name);
            assertEquals(source.keys(), keyTimes(out), name + ": key frames exactly on the source's");
            expectPictures(name, H264, out, file, source.times().first(), ladder[r][0], ladder[r][1],
                    "scale=" + ladder[r][0] + ":" + ladder[r][1], MIN_PSNR);
        }
    }
}
