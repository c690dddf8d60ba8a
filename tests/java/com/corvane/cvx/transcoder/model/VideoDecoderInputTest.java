package com.corvane.cvx.transcoder.model;

import static org.junit.jupiter.api.Assertions.*;

import com.corvane.cvx.transcoder.testing.*;
import com.corvane.cvx.transcoder.testing.Containers.Frame;

import java.nio.ByteBuffer;
import java.nio.file.Path;
import java.util.*;
import java.util.concurrent.atomic.AtomicBoolean;

import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;

/** Input a host passes in the field: frames piled up undecoded, sizes past the limits, size changes, a bad start. */
class VideoDecoderInputTest extends NativeTestBase {
    /** Against ffmpeg's decode converted the same way: measured 99 dB; a wrong size or frame falls below 25. */
    static final double MIN_PSNR = 40.0;

    final List<TranscoderVideoFrame> pictures = new ArrayList<>();

    /** One decode call, reading its picture at its own size; returns the flags. */
    long decodeOnce() {
        TranscoderLongByReference flags = new TranscoderLongByReference();
        assertEquals(0L, lib.videoDecoderDecode(session, 0, flags));
        if ((flags.value & PICTURE) != 0 && (flags.value & REPEAT) == 0) {
            pictures.add(read(-1, 0, 0, 0));
        }
        return flags.value;
    }

    void feed(List<Frame> frames) {
        for (Frame frame : frames) {
            addFrame(session, frame);
            decodeAll(session, flags -> pictures.add(read(-1, 0, 0, 0)));
        }
    }

    long add(Frame frame) {
        return lib.videoDecoderAddFrame(session, frame.data(), 0, frame.data().length, frame.timecode(),
                frame.frameType());
    }

    static List<Frame> shifted(Containers.Source source, long offset) {
        return source.frames().stream().map(f -> new Frame(f.data(), f.timecode() + offset, f.frameType())).toList();
    }

    /** Every picture at the size, matching the source picture of its timecode (or, `firstTime` < 0, its place). */
    static void expectPictures(List<TranscoderVideoFrame> got, Path source, long firstTime, int width, int height)
            throws Exception {
        byte[] reference = Media.raw(source, "scale=in_color_matrix=bt709:flags=bilinear", "bgra");
        int size = width * height * 4;
        for (int k = 0; k < got.size(); k++) {
            TranscoderVideoFrame p = got.get(k);
            String name = "picture " + k + " at " + p.timecode + " ms";
            assertEquals(List.of(width, height), List.of(p.width, p.height), name);
            int index = firstTime < 0 ? k : (int) ((p.timecode - firstTime) / 40);
            double value = Media.psnr(p.bytes, 0, reference, index * size, size, true);
            assertTrue(value > MIN_PSNR, name + ": PSNR " + value);
        }
    }

    /**
     * A host whose decode fails midway adds frames without draining: their bytes must stay, what waits is bounded.
     * (Their pictures take the oldest queued label, so they are checked by order.)
     */
    @Test
    void framesAddedWithoutDecodingWaitAndDecodeWhole() throws Exception {
        Path file = Media.h264Clip("input-pile", 320, 240, 50);
        Containers.Source clip = Containers.flv(file, true);
        List<Frame> frames = new ArrayList<>(clip.frames());
        videoDecoder(session, H264, 0, 1);
        assertEquals(0L, lib.videoDecoderDecodeCodecConfig(session, clip.config(), 0, clip.config().length));

        // Frame 10 grows by a 2 MB filler data unit: its block is a large one of its own.
        Frame large = frames.get(10);
        byte[] filler = new byte[2_000_000];
        Arrays.fill(filler, (byte) 0xFF);
        filler[0] = 12;
        filler[filler.length - 1] = (byte) 0x80;
        ByteBuffer grown = ByteBuffer.allocate(large.data().length + 4 + filler.length);
        grown.put(large.data()).putInt(filler.length).put(filler);
        frames.set(10, new Frame(grown.array(), large.timecode(), large.frameType()));

        feed(frames.subList(0, 10));
        // The large frame, one decode call that stops early, then two frames back to back.
        assertEquals(0L, add(frames.get(10)));
        assertEquals(0, decodeOnce() & EMPTY, "the large frame still waits in part");
        assertEquals(0L, add(frames.get(11)));
        assertEquals(0L, add(frames.get(12)));
        decodeAll(session, flags -> pictures.add(read(-1, 0, 0, 0)));

        // Sixteen frames may wait; the seventeenth is refused with a line and taken after decoding.
        drainLog();
        for (int f = 13; f < 29; f++) {
            assertEquals(0L, add(frames.get(f)));
        }
        assertEquals(FAILURE, add(frames.get(29)));
        List<String> faults = faults();
        assertEquals(1, faults.size());
        assertTrue(faults.get(0).contains(" TranscoderSession.videoDecoderAddFrame[{context}]: frame of "),
                faults.get(0));
        decodeAll(session, flags -> pictures.add(read(-1, 0, 0, 0)));
        feed(frames.subList(29, frames.size()));

        // Every frame but the decoder's reordering window at the end, each whole.
        int held = frames.size() - pictures.size();
        assertTrue(held >= 1 && held <= 4, "pictures held back: " + held);
        expectPictures(pictures, file, -1, 320, 240);
    }

    @Test
    void lengthsAndSettingsBeyondTheLimitsAreRefusedWithALine() {
        videoDecoder(session, H264, 0, 1);
        drainLog();
        int largest = 32 * 1024 * 1024;
        byte[] tooLong = new byte[largest + 1];
        assertEquals(FAILURE, lib.videoDecoderAddFrame(session, tooLong, 0, tooLong.length, 0, 1));
        assertEquals(FAILURE, lib.videoDecoderDecodeCodecConfig(session, tooLong, 0, 1024 * 1024 + 1));
        ByteBuffer.wrap(tooLong).putInt(largest - 4).put((byte) 12);  // the largest frame: one filler data unit
        assertEquals(0L, lib.videoDecoderAddFrame(session, tooLong, 0, largest, 0, 1), "the largest frame");
        assertEquals(0L, lib.videoDecoderSetParameterValues(session, new TranscoderNativeParameterValue[] {
            TranscoderNativeParameterValue.ofLong(1, 4), TranscoderNativeParameterValue.ofLong(1, 17),
            TranscoderNativeParameterValue.ofLong(0, -1)}));
        TranscoderNativeParameterValue threads = TranscoderNativeParameterValue.query(1);
        TranscoderNativeParameterValue options = TranscoderNativeParameterValue.query(0);
        assertEquals(0L, lib.videoDecoderGetParameterValues(session,
                new TranscoderNativeParameterValue[] {threads, options}));
        assertEquals(4, threads.lValue, "17 threads were refused");
        assertEquals(1, options.lValue, "negative options were refused");
        List<String> faults = faults();
        assertEquals(4, faults.size(), faults.toString());
        assertTrue(faults.get(0).contains("frame of 33554433 bytes refused"), faults.get(0));
        assertTrue(faults.get(1).contains("configuration of 1048577 bytes refused"), faults.get(1));
        assertTrue(faults.get(2).contains("VideoDecoderH264.setParameterLong[{context}]: setting 1 takes 1 to 16"));
        assertTrue(faults.get(3).contains("VideoDecoderH264.setParameterLong[{context}]: setting 0 takes 0 to"));
    }

    /** New parameter sets in band before each IDR, no new configuration: every frame comes out at its own size. */
    @Test
    void aSizeChangeInBandGivesEveryFrameAtItsSize() throws Exception {
        Path firstFile = Media.h264Clip("input-change-a", 320, 240, 50);
        Path secondFile = Media.h264Clip("input-change-b", 176, 144, 50);
        Containers.Source first = Containers.flv(firstFile, true);
        Containers.Source second = Containers.flv(secondFile, true);
        final long secondOffset = 10_000;
        List<Frame> frames = new ArrayList<>(first.frames());
        byte[] inBand = Containers.inBandParameterSets(second.config());
        for (Frame f : shifted(second, secondOffset)) {
            byte[] data = f.data();
            if (f.frameType() == 1) {
                data = Arrays.copyOf(inBand, inBand.length + f.data().length);
                System.arraycopy(f.data(), 0, data, inBand.length, f.data().length);
            }
            frames.add(new Frame(data, f.timecode(), f.frameType()));
        }
        videoDecoder(session, H264, 0, 1);
        assertEquals(0L, lib.videoDecoderDecodeCodecConfig(session, first.config(), 0, first.config().length));
        feed(frames);
        List<TranscoderVideoFrame> before = pictures.stream().filter(p -> p.timecode < secondOffset).toList();
        List<TranscoderVideoFrame> after = pictures.stream().filter(p -> p.timecode >= secondOffset).toList();
        assertEquals(50, before.size(), "every picture of the first size");
        assertTrue(after.size() >= 46, "pictures of the second size: " + after.size());
        long firstTime = first.times().first();
        long secondTime = second.times().first() + secondOffset;
        for (int i = 0; i < pictures.size(); i++) {
            long expected = i < 50 ? firstTime + 40L * i : secondTime + 40L * (i - 50);
            assertEquals(expected, pictures.get(i).timecode, "display order, none missing");
        }
        expectPictures(before, firstFile, firstTime, 320, 240);
        expectPictures(after, secondFile, secondTime, 176, 144);
    }

    /** A new configuration while overlays change: flag 32, the decoder picture resizes, the rendition does not. */
    @Test
    void aNewConfigurationResizesTheDecoderFrameButNotTheRendition() throws Exception {
        Containers.Source first = Containers.flv(Media.h264Clip("size-a", 320, 240, 10), true);
        Containers.Source second = Containers.flv(Media.h264Clip("size-b", 176, 144, 10), true);
        videoDecoder(session, H264, 0, 1);
        assertEquals(0L, lib.videoEncoderBufferSetsCreate(session, 1));
        assertEquals(0L, rendition(session, 160, 120, 3, TranscoderSessionNative.FOURCC_I420));
        videoEncoder(session, VP8, 0, 160, 120, 300_000, 0, 0, false);
        Run run = transcode(session, first, 1, false, true);
        assertEquals(0L, lib.videoDecoderDecodeCodecConfig(session, second.config(), 0, second.config().length));
        AtomicBoolean stop = new AtomicBoolean();
        Thread overlays = new Thread(() -> {
            TranscoderOverlayFrame o = overlay(BGRA, 4, 4, new byte[] {1, 2, 3, (byte) 0x80}, 0, 0, 20, 20, TOP_LEFT);
            for (int i = 0; !stop.get(); i++) {
                lib.videoEncoderBufferSetOverlayVideoFrame(session, 0, i % 3, i % 2 == 0 ? o : null);
                lib.videoDecoderBufferSetOverlayVideoFrame(session, i % 3, i % 2 == 0 ? o : null);
            }
        });
        overlays.start();
        long[] seen = {0};
        try {
            for (Frame f : shifted(second, 1000)) { // the stream's clock runs on
                addFrame(session, f);
                decodeAll(session, flags -> {
                    seen[0] |= flags;
                    assertEquals(0L, lib.videoDecoderTransferFrame(session, 0, 0));
                    assertEquals(0L, lib.videoEncoderAddFrame(session, 0, 0, 0, 0));
                    assertEquals(0L, lib.videoEncoderGetEncodedFrames(session, 0, run.packets.get(0)));
                    run.pictureTimes.add(0L);
                });
            }
        } finally {
            stop.set(true);
            overlays.join();
        }
        assertTrue((seen[0] & 32) != 0, "the new size is reported with flag 32");
        TranscoderVideoFrame decoderFrame = read(-1, 0, 0, 0);
        assertEquals(List.of(176, 144), List.of(decoderFrame.width, decoderFrame.height));
        TranscoderVideoFrame rendition = read(0, 0, 0, 0);
        assertEquals(List.of(160, 120), List.of(rendition.width, rendition.height));
        assertEquals(run.pictureTimes.size(), run.packets.get(0).size());
        Path ivf = playable("size-change-vp8", VP8, run.packets.get(0), 160, 120);
        assertEquals(run.pictureTimes.size(), Media.raw420(ivf, null).length / (160 * 120 * 3 / 2));
    }

    /** Garbage first must not settle which of the H.263 family the stream is: the first real picture does. */
    @ParameterizedTest(name = "{0}")
    @CsvSource({"spark, 2, 320, 240", "h263, 9, 352, 288"})
    void recoversFromAGarbageStart(String name, int codec, int width, int height) throws Exception {
        Path file = VideoCodecsTest.clip(name);
        Containers.Source source = VideoCodecsTest.frames(name, file);
        byte[] garbage = new byte[200];
        new Random(11).nextBytes(garbage);
        garbage[0] = 0x47;
        videoDecoder(session, codec, 0, 1);
        List<Frame> frames = new ArrayList<>(List.of(new Frame(garbage, -40, 1)));
        frames.addAll(source.frames());
        feed(frames);
        assertEquals(source.frames().size() - 1, pictures.size(), "every picture but the one the stream holds");
        for (int i = 0; i < pictures.size(); i++) {
            assertEquals(40L * i, pictures.get(i).timecode);
        }
        expectPictures(pictures, file, 0, width, height);
    }
}
