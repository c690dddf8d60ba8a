package com.corvane.cvx.transcoder.model;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.corvane.cvx.transcoder.host.FlvReader;

import java.io.ByteArrayOutputStream;
import java.nio.ByteBuffer;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Random;

import org.junit.jupiter.api.Test;

/**
 * What the video decoder makes of input a host passes in the field, through
 * the exports: frames added without decoding in between, lengths and settings
 * beyond its limits, a size change carried in the stream, a bad start.
 */
class VideoDecoderInputTest extends NativeTestBase {
    /**
     * A decoded picture against ffmpeg's decode of the same source picture,
     * both converted to BGRA the same way: measured identical (99 dB); a
     * picture decoded with the wrong sizes or paired with another frame's
     * timecode falls below 25 dB.
     */
    static final double MIN_PSNR = 40.0;

    record Frame(byte[] data, long timecode, int frameType) {
    }

    record Picture(long timecode, int width, int height, byte[] bgra) {
    }

    final List<Picture> pictures = new ArrayList<>();

    void createDecoder(int codec) {
        assertEquals(0L, lib.videoDecoderCreate(session, codec, 0));
        assertEquals(0L, lib.videoDecoderBuffersCreate(session, 1));
        assertEquals(0L, lib.videoDecoderInitialize(session));
    }

    /** One decode call, reading its picture at its own size; returns the flags. */
    long decodeOnce() {
        TranscoderLongByReference flags = new TranscoderLongByReference();
        assertEquals(0L, lib.videoDecoderDecode(session, 0, flags));
        if ((flags.value & 4) != 0 && (flags.value & 8) == 0) {
            TranscoderVideoFrame frame = new TranscoderVideoFrame();
            assertEquals(0L, lib.videoDecoderBufferGetVideoFrame(session, 0, frame));
            pictures.add(new Picture(frame.timecode, frame.width, frame.height, frame.bytes));
        }
        return flags.value;
    }

    /** Decodes until the input is empty. */
    void decodeAll() {
        while ((decodeOnce() & 1) == 0) {
            // each call reports one thing
        }
    }

    long addFrame(Frame frame) {
        return lib.videoDecoderAddFrame(session, frame.data(), 0, frame.data().length, frame.timecode(),
                frame.frameType());
    }

    static List<Frame> framesOf(VideoTools.Clip clip, long timeOffset) {
        List<Frame> frames = new ArrayList<>();
        for (FlvReader.Tag tag : clip.frames) {
            frames.add(new Frame(tag.data, tag.presentationTime() + timeOffset, tag.frameType));
        }
        return frames;
    }

    /** ffmpeg's decode as BGRA, converted as the library converts: BT.709, bilinear. */
    static byte[] referenceBgra(Path file) throws Exception {
        return MediaTools.run("ffmpeg", "-v", "error", "-i", file.toString(), "-fps_mode", "passthrough", "-vf",
                "scale=in_color_matrix=bt709:flags=bilinear,format=bgra", "-f", "rawvideo", "-");
    }

    /** PSNR over B, G and R of one picture against picture `index` of a reference. */
    static double psnr(Picture picture, byte[] reference, int index) {
        int size = picture.width() * picture.height() * 4;
        double squared = 0;
        for (int i = 0; i < size; i++) {
            if ((i & 3) != 3) {
                double d = (picture.bgra()[i] & 0xFF) - (reference[index * size + i] & 0xFF);
                squared += d * d;
            }
        }
        double mse = squared / (size / 4 * 3);
        return mse == 0 ? 99 : 10 * Math.log10(255.0 * 255.0 / mse);
    }

    /**
     * Every picture at the given size, with the content of the source picture
     * of its timecode, or with `firstTime` negative, of its place in display order.
     */
    void expectPictures(List<Picture> got, Path source, long firstTime, int width, int height) throws Exception {
        byte[] reference = referenceBgra(source);
        for (int k = 0; k < got.size(); k++) {
            Picture p = got.get(k);
            String name = "picture " + k + " at " + p.timecode() + " ms";
            assertEquals(width, p.width(), name);
            assertEquals(height, p.height(), name);
            double value = psnr(p, reference, firstTime < 0 ? k : (int) ((p.timecode() - firstTime) / 40));
            assertTrue(value > MIN_PSNR, name + ": PSNR " + value);
        }
    }

    /**
     * A host whose decode fails midway (an out-of-range buffer index, say)
     * adds the next frames without draining the decoder. The decoder still
     * reads the bytes of the frames before; they must be there, and what may
     * wait is bounded. (Such frames give their labels to the oldest block
     * still queued, so their pictures' timecodes are not their own: the
     * pictures are checked by their order.)
     */
    @Test
    void framesAddedWithoutDecodingWaitAndDecodeWhole() throws Exception {
        Path file = VideoTools.h264Clip("input-pile.flv", 320, 240, 50);
        VideoTools.Clip clip = VideoTools.readFlv(file);
        List<Frame> frames = framesOf(clip, 0);
        createDecoder(7);
        assertEquals(0L, lib.videoDecoderDecodeCodecConfig(session, clip.config, 0, clip.config.length));

        // Frame 10 grows by a 2 MB filler data unit: its block is a large one of its own.
        Frame large = frames.get(10);
        byte[] filler = new byte[2_000_000];
        Arrays.fill(filler, (byte) 0xFF);
        filler[0] = 12;
        filler[filler.length - 1] = (byte) 0x80;
        ByteBuffer grown = ByteBuffer.allocate(large.data().length + 4 + filler.length);
        grown.put(large.data()).putInt(filler.length).put(filler);
        frames.set(10, new Frame(grown.array(), large.timecode(), large.frameType()));

        int f = 0;
        for (; f < 10; f++) {
            assertEquals(0L, addFrame(frames.get(f)));
            decodeAll();
        }
        // The large frame, one decode call that stops early, then two frames back to back.
        assertEquals(0L, addFrame(frames.get(f++)));
        assertEquals(0, decodeOnce() & 1, "the large frame still waits in part");
        assertEquals(0L, addFrame(frames.get(f++)));
        assertEquals(0L, addFrame(frames.get(f++)));
        decodeAll();

        // Sixteen frames may wait; the seventeenth is refused with a line and taken after decoding.
        drainLog();
        for (int i = 0; i < 16; i++) {
            assertEquals(0L, addFrame(frames.get(f++)));
        }
        assertEquals(SESSION_FAILURE, addFrame(frames.get(f)));
        List<TranscoderLogStatement> log = drainLog();
        assertEquals(1, log.size());
        assertEquals(3, log.get(0).level);
        assertTrue(log.get(0).statement.startsWith("TranscoderSession.videoDecoderAddFrame[{context}]: frame of "),
                log.get(0).statement);
        decodeAll();
        for (; f < frames.size(); f++) {
            assertEquals(0L, addFrame(frames.get(f)));
            decodeAll();
        }

        // Every frame but the decoder's reordering window at the end, each whole.
        int held = frames.size() - pictures.size();
        assertTrue(held >= 1 && held <= 4, "pictures held back: " + held);
        expectPictures(pictures, file, -1, 320, 240);
    }

    @Test
    void lengthsAndSettingsBeyondTheLimitsAreRefusedWithALine() {
        createDecoder(7);
        drainLog();
        int largest = 32 * 1024 * 1024;
        byte[] tooLong = new byte[largest + 1];
        assertEquals(SESSION_FAILURE, lib.videoDecoderAddFrame(session, tooLong, 0, tooLong.length, 0, 1));
        assertEquals(SESSION_FAILURE, lib.videoDecoderDecodeCodecConfig(session, tooLong, 0, 1024 * 1024 + 1));
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
        List<String> faults = new ArrayList<>();
        for (TranscoderLogStatement s : drainLog()) {
            if (s.level == 3) {
                faults.add(s.statement);
            }
        }
        assertEquals(4, faults.size(), faults.toString());
        assertTrue(faults.get(0).contains("frame of 33554433 bytes refused"), faults.get(0));
        assertTrue(faults.get(1).contains("configuration of 1048577 bytes refused"), faults.get(1));
        assertTrue(faults.get(2).startsWith("VideoDecoderH264.setParameterLong[{context}]: setting 1 takes 1 to 16"));
        assertTrue(faults.get(3).startsWith("VideoDecoderH264.setParameterLong[{context}]: setting 0 takes 0 to"));
    }

    /**
     * A stream that changes size in mid-stream, with the new parameter sets in
     * band in front of each IDR picture (as encoders that change size in band
     * send them) and no new configuration: the decoder goes on putting the
     * configuration's sets in front of every other frame, and every frame
     * still comes out at its own size.
     */
    @Test
    void aSizeChangeInBandGivesEveryFrameAtItsSize() throws Exception {
        Path firstFile = VideoTools.h264Clip("input-change-a.flv", 320, 240, 50);
        Path secondFile = VideoTools.h264Clip("input-change-b.flv", 176, 144, 50);
        VideoTools.Clip first = VideoTools.readFlv(firstFile);
        VideoTools.Clip second = VideoTools.readFlv(secondFile);
        final long secondOffset = 10_000;
        List<Frame> frames = framesOf(first, 0);
        byte[] inBand = inBandParameterSets(second.config);
        for (Frame frame : framesOf(second, secondOffset)) {
            frames.add(frame.frameType() != 1 ? frame
                    : new Frame(concat(inBand, frame.data()), frame.timecode(), frame.frameType()));
        }

        createDecoder(7);
        assertEquals(0L, lib.videoDecoderDecodeCodecConfig(session, first.config, 0, first.config.length));
        for (Frame frame : frames) {
            assertEquals(0L, addFrame(frame));
            decodeAll();
        }
        List<Picture> before = pictures.stream().filter(p -> p.timecode() < secondOffset).toList();
        List<Picture> after = pictures.stream().filter(p -> p.timecode() >= secondOffset).toList();
        assertEquals(50, before.size(), "every picture of the first size");
        assertTrue(after.size() >= 46, "pictures of the second size: " + after.size());
        long firstTime = framesOf(first, 0).stream().mapToLong(Frame::timecode).min().orElseThrow();
        long secondTime = framesOf(second, secondOffset).stream().mapToLong(Frame::timecode).min().orElseThrow();
        for (int i = 0; i < pictures.size(); i++) {
            long expected = i < 50 ? firstTime + 40L * i : secondTime + 40L * (i - 50);
            assertEquals(expected, pictures.get(i).timecode(), "display order, none missing");
        }
        expectPictures(before, firstFile, firstTime, 320, 240);
        expectPictures(after, secondFile, secondTime, 176, 144);
    }

    /** The SPS and PPS of a configuration record as length-prefixed NAL units. */
    static byte[] inBandParameterSets(byte[] record) {
        int spsLength = ((record[6] & 0xFF) << 8) | (record[7] & 0xFF);
        int ppsAt = 8 + spsLength + 1;
        int ppsLength = ((record[ppsAt] & 0xFF) << 8) | (record[ppsAt + 1] & 0xFF);
        ByteArrayOutputStream out = new ByteArrayOutputStream();
        out.writeBytes(new byte[] {0, 0, (byte) (spsLength >> 8), (byte) spsLength});
        out.write(record, 8, spsLength);
        out.writeBytes(new byte[] {0, 0, (byte) (ppsLength >> 8), (byte) ppsLength});
        out.write(record, ppsAt + 2, ppsLength);
        return out.toByteArray();
    }

    static byte[] concat(byte[] a, byte[] b) {
        byte[] out = Arrays.copyOf(a, a.length + b.length);
        System.arraycopy(b, 0, out, a.length, b.length);
        return out;
    }

    /**
     * Garbage before the first picture must not settle which of MPEG-4 part
     * 2, H.263 and Sorenson Spark the stream is: the first recognisable
     * picture decides, and every picture from there on comes out.
     */
    void recoversFromAGarbageStart(int codec, Path file, List<VideoCodecsTest.Frame> source, int width, int height)
            throws Exception {
        byte[] garbage = new byte[200];
        new Random(11).nextBytes(garbage);
        garbage[0] = 0x47;
        createDecoder(codec);
        assertEquals(0L, addFrame(new Frame(garbage, -40, 1)));
        decodeAll();
        for (VideoCodecsTest.Frame frame : source) {
            assertEquals(0L, addFrame(new Frame(frame.data(), frame.timecode(), frame.frameType())));
            decodeAll();
        }
        assertEquals(source.size() - 1, pictures.size(), "every picture but the one the stream holds");
        for (int i = 0; i < pictures.size(); i++) {
            assertEquals(40L * i, pictures.get(i).timecode());
        }
        expectPictures(pictures, file, 0, width, height);
    }

    @Test
    void sorensonSparkRecoversFromAGarbageStart() throws Exception {
        Path file = VideoCodecsTest.fixture("codecs-spark.flv", "320x240", "-c:v", "flv1", "-f", "flv");
        recoversFromAGarbageStart(2, file, VideoCodecsTest.readSpark(file).frames(), 320, 240);
    }

    @Test
    void h263RecoversFromAGarbageStart() throws Exception {
        Path file = VideoCodecsTest.fixture("codecs-h263.263", "352x288", "-c:v", "h263", "-f", "h263");
        recoversFromAGarbageStart(9, file, VideoCodecsTest.splitH263(Files.readAllBytes(file)).frames(), 352, 288);
    }
}
