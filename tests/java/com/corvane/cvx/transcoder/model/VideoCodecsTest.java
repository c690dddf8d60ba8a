package com.corvane.cvx.transcoder.model;

import static org.junit.jupiter.api.Assertions.*;

import com.corvane.cvx.transcoder.testing.*;

import java.nio.file.*;
import java.util.*;

import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;

/** Every video decoder's source re-encoded; an H.264 source through a ladder of both encoders, to its end. */
class VideoCodecsTest extends NativeTestBase {
    /** Against ffmpeg's decode (and scaling); measured 44 to 49 dB single, 36 to 48 dB on the ladder's rungs. */
    static final double MIN_PSNR = 40.0;
    static final double MIN_LADDER_PSNR = 32.0;
    /** The average bit rate of each H.264 rung stays this close to its target. */
    static final double RATE_TOLERANCE = 0.15;

    /** 25 frames of ffmpeg's test pattern in the format a source codec comes in. */
    static Path clip(String codec) throws Exception {
        String[][] formats = {{"mpeg2", "352x240", "-c:v mpeg2video -aspect 4:3 -f mpeg2video", "m2v"},
            {"mpeg4", "320x240", "-c:v mpeg4 -f m4v", "m4v"}, {"h263", "352x288", "-c:v h263 -f h263", "263"},
            {"spark", "320x240", "-c:v flv1 -f flv", "flv"}};
        for (String[] f : formats) {
            if (f[0].equals(codec)) {
                List<String> args = new ArrayList<>(List.of("-f", "lavfi", "-i", "testsrc2=size=" + f[1] + ":rate=25",
                        "-frames:v", "25", "-g", "12", "-b:v", "1M"));
                args.addAll(List.of(f[2].split(" ")));
                return Media.fixture("codecs-" + codec + "." + f[3], args.toArray(new String[0]));
            }
        }
        throw new IllegalArgumentException(codec);
    }

    static Containers.Source frames(String codec, Path clip) throws Exception {
        return switch (codec) {
            case "spark" -> Containers.flv(clip, true);
            case "h263" -> Containers.h263(Files.readAllBytes(clip));
            default -> Containers.mpegVideo(Files.readAllBytes(clip), codec.equals("mpeg2"));
        };
    }

    /** Source to one H.264 rendition at its own size, zero latency: every picture comes straight out. */
    @ParameterizedTest(name = "{0}")
    @CsvSource({"mpeg2, 11, 352, 240", "mpeg4, 10, 320, 240", "h263, 9, 352, 288", "spark, 2, 320, 240"})
    void everySourceCodecDecodesAndBecomesH264(String name, int codec, int width, int height) throws Exception {
        Path file = clip(name);
        Containers.Source source = frames(name, file);
        assertEquals(25, source.frames().size());
        videoDecoder(session, codec, 0, 1);
        assertEquals(0L, lib.videoEncoderBufferSetsCreate(session, 1));
        assertEquals(0L, rendition(session, width, height, 3, TranscoderSessionNative.FOURCC_I420));
        videoEncoder(session, H264, 0, width, height, 800_000, 0, 2, false);
        Run run = transcode(session, source, 1, true, true);
        assertEquals(25, run.pictureTimes.size(), name + ": every picture, the last ones at the end");
        List<TranscoderPacket> out = run.packets.get(0);
        assertEquals(run.pictureTimes, out.stream().map(p -> p.timecode).toList(), name + ": a packet per picture");
        assertTrue(out.stream().allMatch(p -> p.frameType == 1 || p.frameType == 2), name);
        assertEquals(1, out.get(0).frameType);
        expectPictures(name, H264, out, file, 0, width, height, "scale=" + width + ":" + height, MIN_PSNR);
        if (name.equals("mpeg2")) {
            assertTrue(statements().stream().anyMatch(s -> s.startsWith("VideoDecoderMP2.updateDecodeInfo[{context}]: ")
                    && s.contains("aspect:4x3 frame:352x240 display:320x240")),
                    "the decoder logs the display size from the aspect code");
        }
    }

    /** A rung: encoder, size, scale mode, bit rate, and the ffmpeg filter that makes the same picture. */
    record Rung(int codec, int width, int height, int scaleMode, long bitrate, String filter) {
    }

    static final Rung[] LADDER = {
        new Rung(H264, 320, 240, 3, 500_000, "scale=320:240"),
        new Rung(H264, 256, 192, 3, 350_000, "scale=256:192"),
        new Rung(H264, 160, 120, 3, 150_000, "scale=160:120"),
        // The first VP8 rung carries a 16x16 white overlay in its bottom-right corner.
        new Rung(VP8, 160, 120, 3, 600_000, "scale=160:120,drawbox=x=144:y=104:w=16:h=16:color=white:t=fill"),
        new Rung(VP8, 320, 180, 1, 600_000, "scale=240:180,pad=320:180:40:0:black"),
        new Rung(VP8, 240, 240, 4, 600_000, "crop=240:240:40:0,scale=240:240"),
    };
    static final int FRAMES = 150;

    /** H.264 and VP8 in every scale mode: every frame at its own time at the end, then input is refused. */
    @Test
    void anH264SourceBecomesALadderThatEndsWithEveryFrameAndKeyFramesOnTheSources() throws Exception {
        Path file = Media.h264Clip("ladder", 320, 240, FRAMES);
        Containers.Source source = Containers.flv(file, true);
        TreeSet<Long> inputTimes = source.times();
        assertTrue(source.keys().size() >= 5, "key frames in the source: " + source.keys());
        videoDecoder(session, H264, 0, 1);
        assertEquals(0L, lib.videoEncoderBufferSetsCreate(session, 1));
        for (int r = 0; r < LADDER.length; r++) {
            Rung rung = LADDER[r];
            // The overload without a code: I420 renditions.
            TranscoderLongByReference item = new TranscoderLongByReference(-1);
            assertEquals(0L, lib.videoEncoderBufferAdd(session, rung.width(), rung.height(), rung.scaleMode(), item));
            assertEquals(r, item.value);
            assertEquals(r, videoEncoder(session, rung.codec(), 0, rung.width(), rung.height(), rung.bitrate(),
                    rung.codec() == H264 ? 2 : 0, rung.codec() == H264 ? 2 : 0, rung.codec() == H264));
        }
        TranscoderOverlayFrame white = overlay(BGRA, 8, 8, new byte[] {-1, -1, -1, -1}, 0, 0, 16, 16,
                TranscoderOverlayFrame.ALIGN_RIGHT | TranscoderOverlayFrame.ALIGN_BOTTOM);
        assertEquals(0L, lib.videoEncoderBufferSetOverlayVideoFrame(session, 3, 1, white));

        Run run = transcode(session, source, LADDER.length, true, true);
        assertEquals(new ArrayList<>(inputTimes), run.pictureTimes, "every picture, in display order");
        for (int r = 0; r < LADDER.length; r++) {
            Rung rung = LADDER[r];
            List<TranscoderPacket> out = run.packets.get(r);
            String name = "ladder-" + rung.width() + "x" + rung.height() + (rung.codec() == VP8 ? "-vp8" : "-h264");
            assertEquals(FRAMES, out.size(), name + ": a packet per input frame");
            TreeSet<Long> times = new TreeSet<>(out.stream().map(p -> p.timecode).toList());
            assertEquals(inputTimes, times, name + ": each of the source's timecodes once");
            if (rung.codec() == H264) {
                assertTrue(out.stream().anyMatch(p -> p.frameType == 3), name + ": B-frames");
                assertEquals(source.keys(), keyTimes(out), name + ": key frames exactly on the source's");
                expectBitrate(name, out, rung.bitrate(), RATE_TOLERANCE);
            } else {
                assertEquals(new ArrayList<>(inputTimes), out.stream().map(p -> p.timecode).toList(),
                        name + ": VP8 in display order");
            }
            expectPictures(name, rung.codec(), out, file, inputTimes.first(), rung.width(), rung.height(),
                    rung.filter(), MIN_LADDER_PSNR);
        }

        // The decoder's last picture stays readable as BGRA, at its own size and scaled.
        TranscoderVideoFrame last = read(-1, 0, 0, 0);
        assertEquals(List.of(320, 240, 320 * 4L, TranscoderSessionNative.FOURCC_BGRA, inputTimes.last()),
                List.of(last.width, last.height, last.stride, last.fourcc, last.timecode));
        byte[] reference = Media.run("ffmpeg", "-v", "error", "-i", file.toString(), "-vf",
                "select=eq(n\\," + (FRAMES - 1) + ")", "-frames:v", "1", "-f", "rawvideo", "-pix_fmt", "bgra", "-");
        for (int c = 0; c < 3; c++) {
            assertEquals(Media.meanBgr(reference)[c], Media.meanBgr(last.bytes)[c], 3.0, "mean of channel " + c);
        }
        assertEquals(64 * 48 * 4, read(-1, 0, 64, 48).bytes.length);

        drainLog();
        Containers.Frame first = source.frames().get(0);
        assertEquals(FAILURE, lib.videoDecoderAddFrame(session, first.data(), 0, first.data().length, 0, 1));
        for (int r = 0; r < LADDER.length; r++) {
            assertEquals(FAILURE, lib.videoEncoderAddFrame(session, r, 0, r, 0));
        }
        List<String> refusals = new ArrayList<>(List.of("1/0 VideoDecoderH264.addFrame[{context}]: refused: the stream"
                + " has ended"));
        for (int r = 0; r < LADDER.length; r++) {
            refusals.add("2/" + r + " VideoEncoder" + (LADDER[r].codec() == H264 ? "H264" : "VPX")
                    + ".addFrame[{context}]: frame refused: the stream has ended");
        }
        assertEquals(refusals, faults());
        // Ending again changes nothing: the decoder reports its input empty at once, the encoders hold nothing.
        assertEquals(0L, lib.videoDecoderEndOfStream(session));
        TranscoderLongByReference flags = new TranscoderLongByReference();
        assertEquals(0L, lib.videoDecoderDecode(session, 0, flags));
        assertEquals(EMPTY, flags.value);
        assertEquals(0L, lib.videoEncoderEndOfStream(session, 0));
        List<TranscoderPacket> none = new ArrayList<>();
        assertEquals(0L, lib.videoEncoderGetEncodedFrames(session, 0, none));
        assertEquals(List.of(), none);
    }
}
