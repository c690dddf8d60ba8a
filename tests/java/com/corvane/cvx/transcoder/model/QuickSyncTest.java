package com.corvane.cvx.transcoder.model;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;
import static org.junit.jupiter.api.Assumptions.assumeFalse;
import static org.junit.jupiter.api.Assumptions.assumeTrue;

import com.corvane.cvx.transcoder.host.FlvReader;

import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.TreeSet;

import org.junit.jupiter.api.Test;

/**
 * Intel Quick Sync through the exports. With CVX_MFX_RUNTIME naming the fake
 * Media SDK runtime the tests build (the java_tests_quicksync entry), whole
 * transcodes run through decoder 7/1 and encoder 7/1; without it, the
 * machine's own case: no hardware, every Quick Sync request answered as the
 * library answers it on a machine without the SDK.
 */
class QuickSyncTest extends NativeTestBase {
    static final int H264 = 7;
    static final int QUICK_SYNC = 1;
    static final int QUICK_SYNC_SOFTWARE = 2;
    /** Every plane of every rung, against ffmpeg's decode of the source scaled to it. Measured: 36 to 51 dB. */
    static final double MIN_PSNR = 33.0;

    static boolean fakeRuntime() {
        String runtime = System.getenv("CVX_MFX_RUNTIME");
        return runtime != null && runtime.contains("cvx-fake-mfx");
    }

    List<String> statements() {
        List<String> out = new ArrayList<>();
        for (TranscoderLogStatement s : drainLog()) {
            out.add(s.statement);
        }
        return out;
    }

    @Test
    void withoutARuntimeQuickSyncRequestsGetTheSoftwareAnswers() {
        assumeFalse(fakeRuntime());
        assumeFalse(Files.exists(Path.of("/dev/dri/renderD128")), "this machine may have a GPU");
        assertTrue(statements().contains(
                "TranscoderSession.isQuickSyncAvailable[{context}]: Intel Quick Sync hardware acceleration is NOT available"));
        assertEquals(0L, lib.videoDecoderCreate(session, H264, QUICK_SYNC));
        assertEquals(List.of("TranscoderSession.videoDecoderCreate[{context}]: Create video decoder: H.264: QuickSync"),
                statements());
        // Its initialize opens no session and says so to nobody; the decoder stays inert.
        assertEquals(0L, lib.videoDecoderInitialize(session));
        assertEquals(List.of(), statements());
        TranscoderLongByReference index = new TranscoderLongByReference(-1);
        assertEquals(0L, lib.videoEncoderAdd(session, H264, QUICK_SYNC, index));
        assertEquals(List.of("TranscoderSession.videoEncoderAdd[{context}]: Create video encoder: H.264: default"),
                statements());
    }

    @Test
    void decoderTwoAsksForTheSoftwareImplementation() {
        assumeTrue(fakeRuntime());
        assertTrue(statements().contains(
                "TranscoderSession.isQuickSyncAvailable[{context}]: Intel Quick Sync hardware acceleration is available"));
        assertEquals(0L, lib.videoDecoderCreate(session, H264, QUICK_SYNC_SOFTWARE));
        assertEquals(0L, lib.videoDecoderInitialize(session));
        assertEquals(List.of(
                "TranscoderSession.videoDecoderCreate[{context}]: Create video decoder: H.264: QuickSync(software)",
                "VideoDecoderH264IntelQuickSync.initialize[{context}]: Create video decoder: Software"), statements());
    }

    @Test
    void theEncodersSettingsAreTheSdksParameters() {
        assumeTrue(fakeRuntime());
        TranscoderLongByReference index = new TranscoderLongByReference(-1);
        assertEquals(0L, lib.videoEncoderAdd(session, H264, QUICK_SYNC, index));
        assertEquals(0L, lib.videoEncoderSetDefaults(session, 0, 2, 0));
        assertEquals(0L, lib.videoEncoderSetBitrate(session, 0, 750_000));
        assertEquals(0L, lib.videoEncoderSetParameterValues(session, 0, new TranscoderNativeParameterValue[] {
            TranscoderNativeParameterValue.ofLong(20004, 7),
            TranscoderNativeParameterValue.ofLong(20018, 0x10003),
        }));
        TranscoderNativeParameterValue profile = TranscoderNativeParameterValue.query(20001);
        TranscoderNativeParameterValue usage = TranscoderNativeParameterValue.query(20004);
        TranscoderNativeParameterValue rate = TranscoderNativeParameterValue.query(20013);
        TranscoderNativeParameterValue references = TranscoderNativeParameterValue.query(20018);
        TranscoderNativeParameterValue outside = TranscoderNativeParameterValue.query(20020);
        assertEquals(0L, lib.videoEncoderGetParameterValues(session, 0,
                new TranscoderNativeParameterValue[] {profile, usage, rate, references, outside}));
        assertEquals(TranscoderNativeParameterValue.TYPE_LONG, profile.dataType);
        assertEquals(77, profile.lValue, "main, from setDefaults");
        assertEquals(7, usage.lValue);
        assertEquals(750, rate.lValue, "kilobits, from setBitrate");
        assertEquals(3, references.lValue, "cut to 16 bits");
        assertEquals(TranscoderNativeParameterValue.TYPE_UNKNOWN, outside.dataType);
    }

    @Test
    void anH264SourceThroughQuickSyncBecomesALadderWithKeyFramesOnTheSources() throws Exception {
        assumeTrue(fakeRuntime());
        Path file = VideoTools.h264Clip("qsv-ladder.flv", 320, 240, 100);
        VideoTools.Clip clip = VideoTools.readFlv(file);
        List<VideoCodecsTest.Frame> frames = new ArrayList<>();
        TreeSet<Long> sourceKeys = new TreeSet<>();
        TreeSet<Long> inputTimes = new TreeSet<>();
        for (FlvReader.Tag tag : clip.frames) {
            frames.add(new VideoCodecsTest.Frame(tag.data, tag.presentationTime(), tag.frameType));
            inputTimes.add(tag.presentationTime());
            if (tag.frameType == 1) {
                sourceKeys.add(tag.presentationTime());
            }
        }
        assertTrue(sourceKeys.size() >= 4, "key frames in the source: " + sourceKeys);
        VideoCodecsTest.Rung[] ladder = {
            new VideoCodecsTest.Rung(320, 240, 600_000), new VideoCodecsTest.Rung(160, 120, 250_000),
        };

        VideoCodecsTest.build(session, H264, QUICK_SYNC, ladder, 2, true);
        List<String> log = statements();
        for (String line : List.of(
                "TranscoderSession.videoDecoderCreate[{context}]: Create video decoder: H.264: QuickSync",
                "VideoDecoderH264IntelQuickSync.initialize[{context}]: Create video decoder: Hardware",
                "TranscoderSession.videoEncoderAdd[{context}]: Create video encoder: H.264: QuickSync",
                "VideoEncoderH264IntelQuickSync2.initialize[{context}]: Create video encoder: Hardware")) {
            assertTrue(log.contains(line), line + " in " + log);
        }

        VideoCodecsTest.Run run = VideoCodecsTest.transcode(session,
                new VideoCodecsTest.Source(clip.config, frames), ladder.length, true);
        // Every input time in display order, the reordering window's last
        // pictures given out at the end of the stream.
        TreeSet<Long> decodedTimes = new TreeSet<>(run.pictureTimes);
        assertEquals(new ArrayList<>(decodedTimes), run.pictureTimes, "display order");
        assertEquals(inputTimes, decodedTimes);
        assertTrue(statements().stream().noneMatch(s -> s.contains("INVALID_SURF_IDX") || s.contains("stopped")));

        for (int r = 0; r < ladder.length; r++) {
            VideoCodecsTest.Rung rung = ladder[r];
            List<TranscoderPacket> out = run.packets.get(r);
            String name = "qsv-ladder-" + rung.width() + "x" + rung.height();
            // Encoded in order, one packet a picture, nothing held back.
            assertEquals(run.pictureTimes.size(), out.size(), name + ": a packet per picture");
            TreeSet<Long> keys = new TreeSet<>();
            for (int i = 0; i < out.size(); i++) {
                TranscoderPacket p = out.get(i);
                assertEquals(run.pictureTimes.get(i), p.timecode, name + ": packet " + i + " keeps its time");
                assertTrue(p.frameType == 1 || p.frameType == 2, name + ": frame type " + p.frameType);
                if (p.frameType == 1) {
                    keys.add(p.timecode);
                }
            }
            TreeSet<Long> expectedKeys = new TreeSet<>(sourceKeys);
            expectedKeys.retainAll(decodedTimes);
            assertEquals(expectedKeys, keys, name + ": key frames exactly on the source's");
            double[] psnr = VideoCodecsTest.checkRendition(name, file, inputTimes.first(),
                    "scale=" + rung.width() + ":" + rung.height(), rung, out);
            for (int p = 0; p < 3; p++) {
                assertTrue(psnr[p] > MIN_PSNR, name + " plane " + p + " PSNR " + psnr[p]);
            }
        }
    }
}
