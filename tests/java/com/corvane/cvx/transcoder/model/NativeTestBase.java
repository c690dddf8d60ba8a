package com.corvane.cvx.transcoder.model;

import static org.junit.jupiter.api.Assertions.*;

import com.corvane.cvx.transcoder.testing.*;

import java.io.ByteArrayOutputStream;
import java.nio.file.*;
import java.util.*;
import java.util.function.LongConsumer;

import org.junit.jupiter.api.*;

/** Gives each test a fresh session through the real boundary, the calls that build one, and the checks of output. */
abstract class NativeTestBase {
    static final long FAILURE = TranscoderSessionNative.STATUS_SESSION_FAILURE;
    static final int H264 = 7;
    static final int VP8 = 8;
    static final int VORBIS = 9;
    static final int AAC = 10;
    /** Decode flags: the input is empty; a picture is ready; it is a repeated one. */
    static final long EMPTY = 1;
    static final long PICTURE = 4;
    static final long REPEAT = 8;
    static final long BGRA = TranscoderSessionNative.FOURCC_BGRA;
    static final int TOP_LEFT = TranscoderOverlayFrame.ALIGN_LEFT | TranscoderOverlayFrame.ALIGN_TOP;
    static TranscoderSessionNative lib;

    long session;

    @BeforeAll
    static void loadLibrary() {
        if (lib == null) {
            lib = new TranscoderSessionNative();
            lib.nativeInitialize();
        }
    }

    @BeforeEach
    void createSession() {
        // Codec libraries' messages from earlier tests wait in the process-wide
        // log for the next drain; a throwaway session takes them first.
        long sweeper = lib.createInstance();
        lib.getLogStatements(sweeper, new ArrayList<>());
        lib.destroyInstance(sweeper);
        session = lib.createInstance();
        assertTrue(session != 0, "createInstance gave no session");
    }

    @AfterEach
    void destroySession() {
        lib.destroyInstance(session);
        session = 0;
    }

    List<TranscoderLogStatement> drainLog() {
        List<TranscoderLogStatement> out = new ArrayList<>();
        lib.getLogStatements(session, out);
        return out;
    }

    List<String> statements() {
        return drainLog().stream().map(s -> s.statement).toList();
    }

    /** The level-3 lines, each after its context type and index. */
    List<String> faults() {
        return drainLog().stream().filter(s -> s.level == 3)
                .map(s -> s.contextType + "/" + s.contextIndex + " " + s.statement).toList();
    }

    // ---- Building a session the way a media server does ----

    static void videoDecoder(long session, int codec, int implementation, int buffers) {
        assertEquals(0L, lib.videoDecoderCreate(session, codec, implementation));
        assertEquals(0L, lib.videoDecoderBuffersCreate(session, buffers));
        assertEquals(0L, lib.videoDecoderInitialize(session));
    }

    /** A video encoder at the rendition's size; `preset` and `family` as videoEncoderSetDefaults takes them. */
    static long videoEncoder(long session, int codec, int implementation, int width, int height, long bitrate,
            long family, long preset, boolean keyFrameFollow) {
        TranscoderLongByReference index = new TranscoderLongByReference(-1);
        assertEquals(0L, lib.videoEncoderAdd(session, codec, implementation, index));
        assertEquals(0L, lib.videoEncoderSetDefaults(session, index.value, family, preset));
        assertEquals(0L, lib.videoEncoderSetFrameSize(session, index.value, width, height));
        assertEquals(0L, lib.videoEncoderSetFrameRate(session, index.value, 25.0));
        assertEquals(0L, lib.videoEncoderSetBitrate(session, index.value, bitrate));
        if (keyFrameFollow) {
            assertEquals(0L, lib.videoEncoderSetKeyFrameFollow(session, index.value, true));
        }
        assertEquals(0L, lib.videoEncoderInitialize(session, index.value));
        return index.value;
    }

    /** A rendition of buffer set 0: its item, or the failing status negated. */
    static long rendition(long session, int width, int height, int scaleMode, long fourcc) {
        TranscoderLongByReference index = new TranscoderLongByReference(-1);
        long status = lib.videoEncoderBufferAdd(session, width, height, scaleMode, fourcc, index);
        return status == 0 ? index.value : -status;
    }

    static long audioEncoder(long session, int codec, long rate, long channels, long bitrate,
            List<TranscoderPacket> headers) {
        TranscoderLongByReference index = new TranscoderLongByReference(-1);
        assertEquals(0L, lib.audioEncoderAdd(session, codec, 0, index));
        assertEquals(0L, lib.audioEncoderSetSampleRate(session, index.value, rate));
        assertEquals(0L, lib.audioEncoderSetChannels(session, index.value, channels));
        assertEquals(0L, lib.audioEncoderSetBitrate(session, index.value, bitrate));
        assertEquals(0L, lib.audioEncoderInitialize(session, index.value));
        assertEquals(0L, lib.audioEncoderGetHeaders(session, index.value, headers));
        return index.value;
    }

    /** A G.711 decoder told its format, with one buffer of `samples` sample frames. */
    static void g711Decoder(long session, int codec, int rate, int channels, int buffers, int samples) {
        assertEquals(0L, lib.audioDecoderCreate(session, codec, 0));
        assertEquals(0L, lib.audioDecoderInitialize(session));
        byte[] description = Containers.g711Description(rate, channels);
        assertEquals(0L, lib.audioDecoderDecodeFirstFrame(session, description, 0, description.length));
        assertEquals(0L, lib.audioDecoderBuffersCreate(session, buffers));
        assertEquals(0L, lib.audioDecoderBuffersAllocate(session, samples, channels, rate));
    }

    /** An overlay of one pixel's bytes (4 for BGRA) repeated over width x height, drawn into the given place. */
    static TranscoderOverlayFrame overlay(long fourcc, int width, int height, byte[] pixel, int x, int y,
            int dstWidth, int dstHeight, int align) {
        TranscoderOverlayFrame o = new TranscoderOverlayFrame();
        o.fourcc = fourcc;
        o.width = width;
        o.height = height;
        o.stride = (long) width * pixel.length;
        o.bytes = new byte[width * height * pixel.length];
        for (int i = 0; i < o.bytes.length; i++) {
            o.bytes[i] = pixel[i % pixel.length];
        }
        o.dstX = x;
        o.dstY = y;
        o.dstWidth = dstWidth;
        o.dstHeight = dstHeight;
        o.dstAlign = align;
        return o;
    }

    /** A picture as BGRA: a rendition's, or with `set` negative the decoder buffer's; 0 x 0 asks for its own size. */
    TranscoderVideoFrame read(int set, int item, int width, int height) {
        TranscoderVideoFrame frame = new TranscoderVideoFrame();
        frame.width = width;
        frame.height = height;
        assertEquals(0L, set < 0 ? lib.videoDecoderBufferGetVideoFrame(session, item, frame)
                : lib.videoEncoderBufferGetVideoFrame(session, set, item, frame));
        return frame;
    }

    /** A rectangle of a BGRA picture `width` pixels wide. */
    static byte[] crop(byte[] bgra, int width, int x, int y, int w, int h) {
        byte[] out = new byte[w * h * 4];
        for (int row = 0; row < h; row++) {
            System.arraycopy(bgra, ((y + row) * width + x) * 4, out, row * w * 4, w * 4);
        }
        return out;
    }

    /** Every B, G and R value of a BGRA rectangle passes `test`. */
    static void expectChannels(byte[] bgra, java.util.function.IntPredicate test, String what) {
        for (int i = 0; i < bgra.length; i++) {
            assertTrue((i & 3) == 3 || test.test(bgra[i] & 0xFF), what + ": " + (bgra[i] & 0xFF) + " at " + i);
        }
    }

    // ---- Driving the decoder ----

    /** Decodes into buffer 0 until the input is empty, handing each new picture's flags on. */
    static void decodeAll(long session, LongConsumer picture) {
        TranscoderLongByReference flags = new TranscoderLongByReference();
        do {
            assertEquals(0L, lib.videoDecoderDecode(session, 0, flags));
            if ((flags.value & PICTURE) != 0 && (flags.value & REPEAT) == 0) {
                picture.accept(flags.value);
            }
        } while ((flags.value & EMPTY) == 0);
    }

    static void addFrame(long session, Containers.Frame frame) {
        assertEquals(0L, lib.videoDecoderAddFrame(session, frame.data(), 0, frame.data().length, frame.timecode(),
                frame.frameType()));
    }

    /** What a transcode gave: each rung's packets, and the decoded pictures' timecodes. */
    static final class Run {
        final List<List<TranscoderPacket>> packets = new ArrayList<>();
        final List<Long> pictureTimes = java.util.Collections.synchronizedList(new ArrayList<>());
    }

    /** Every frame decoded into set 0 and through every rung (encoder r reads item r), to the end if asked. */
    static Run transcode(long session, Containers.Source source, int rungs, boolean endOfStream, boolean pull) {
        Run run = new Run();
        for (int r = 0; r < rungs; r++) {
            run.packets.add(new ArrayList<>());
        }
        TranscoderVideoFrame picture = new TranscoderVideoFrame();
        LongConsumer encode = flags -> {
            assertEquals(0L, lib.videoDecoderTransferFrame(session, 0, 0));
            picture.width = 16;
            picture.height = 16;
            assertEquals(0L, lib.videoDecoderBufferGetVideoFrame(session, 0, picture));
            for (int r = 0; r < rungs; r++) {
                assertEquals(0L, lib.videoEncoderAddFrame(session, r, 0, r, 0));
                assertTrue(!pull || lib.videoEncoderGetEncodedFrames(session, r, run.packets.get(r)) == 0);
            }
            run.pictureTimes.add(picture.timecode);
        };
        if (source.config() != null) {
            assertEquals(0L, lib.videoDecoderDecodeCodecConfig(session, source.config(), 0, source.config().length));
        }
        for (Containers.Frame frame : source.frames()) {
            addFrame(session, frame);
            decodeAll(session, encode);
        }
        if (endOfStream) {
            assertEquals(0L, lib.videoDecoderEndOfStream(session));
            decodeAll(session, encode);
            for (int r = 0; r < rungs; r++) {
                assertEquals(0L, lib.videoEncoderEndOfStream(session, r));
                assertEquals(0L, lib.videoEncoderGetEncodedFrames(session, r, run.packets.get(r)));
            }
        }
        return run;
    }

    // ---- Checking output by decoding it ----

    static List<byte[]> data(List<TranscoderPacket> packets) {
        return packets.stream().map(p -> p.buffer).toList();
    }

    static long[] positions(List<TranscoderPacket> packets) {
        return packets.stream().mapToLong(p -> p.timecode).toArray();
    }

    static TreeSet<Long> keyTimes(List<TranscoderPacket> packets) {
        TreeSet<Long> keys = new TreeSet<>();
        packets.stream().filter(p -> p.frameType == 1).forEach(p -> keys.add(p.timecode));
        return keys;
    }

    /** A rung's packets as a file ffmpeg reads: Annex B for H.264, IVF for VP8 (in display order). */
    static Path playable(String name, int codec, List<TranscoderPacket> packets, int width, int height)
            throws Exception {
        boolean h264 = codec == H264;
        Path file = Media.file(name + (h264 ? ".h264" : ".ivf"));
        Files.write(file, h264 ? Containers.annexB(data(packets)) : Containers.ivf(width, height, data(packets)));
        return file;
    }

    /** Each picture of a rung against ffmpeg's decode of its time's source picture (a neighbour's: ~22 dB). */
    static void expectPictures(String name, int codec, List<TranscoderPacket> out, Path source, long firstTime,
            int width, int height, String filter, double minPsnr) throws Exception {
        byte[] decoded = Media.raw420(playable(name, codec, out, width, height), null);
        int frameSize = width * height * 3 / 2;
        assertEquals(out.size(), decoded.length / frameSize, name + ": a decoded picture per packet");
        byte[] reference = Media.raw420(source, filter);
        TreeSet<Long> times = new TreeSet<>();
        out.forEach(p -> times.add(p.timecode));
        ByteArrayOutputStream matched = new ByteArrayOutputStream();
        for (long t : times) {
            matched.write(reference, (int) ((t - firstTime) / 40) * frameSize, frameSize);
        }
        double[] psnr = Media.psnr420(decoded, matched.toByteArray(), width, height, times.size());
        System.out.printf("%s PSNR Y %.1f U %.1f V %.1f dB over %d pictures%n", name, psnr[0], psnr[1], psnr[2],
                times.size());
        for (int p = 0; p < 3; p++) {
            assertTrue(psnr[p] > minPsnr, name + " plane " + p + " PSNR " + psnr[p]);
        }
    }

    /** The average bit rate of a rung's packets at 25 pictures a second, within `tolerance` of its target. */
    static void expectBitrate(String name, List<TranscoderPacket> out, long target, double tolerance) {
        double rate = out.stream().mapToLong(p -> p.buffer.length).sum() * 8 * 25.0 / out.size();
        System.out.printf("%s: %d packets, %.0f bit/s for a target of %d%n", name, out.size(), rate, target);
        assertEquals(target, rate, target * tolerance, name + ": average bit rate");
    }
}
