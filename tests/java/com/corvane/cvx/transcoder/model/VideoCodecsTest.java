package com.corvane.cvx.transcoder.model;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNotNull;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.corvane.cvx.transcoder.host.FlvReader;

import java.io.ByteArrayOutputStream;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.Set;
import java.util.TreeMap;
import java.util.TreeSet;

import org.junit.jupiter.api.Test;

/**
 * MPEG-2, MPEG-4, H.263 and Sorenson Spark sources decoded through the exports
 * and encoded again as H.264; an H.264 ladder with key frame follow; the H.264
 * encoder's settings through the parameter exports.
 */
class VideoCodecsTest extends NativeTestBase {
    static final int H264 = 7;

    /**
     * The documented thresholds, for every plane, against ffmpeg's own decode
     * (and for the ladder its own scaling) of the source. Measured on these
     * clips: 47 to 49 dB luma and 44 to 47 dB chroma for the single
     * renditions at 800 kbit/s; 38 to 48 dB luma and 35 to 45 dB chroma on the
     * ladder rungs (500, 350, 150 kbit/s), the smallest rung lowest. The
     * margin covers the H.264 encoder at veryfast and the difference between
     * the two scalers; a picture paired with a neighbour's timecode falls to
     * about 22 dB.
     */
    static final double MIN_PSNR = 40.0;
    static final double MIN_LADDER_PSNR = 32.0;
    /** The average bit rate of each rung stays this close to its target. */
    static final double RATE_TOLERANCE = 0.15;

    /** One compressed frame as a host hands it over. */
    record Frame(byte[] data, long timecode, int frameType) {
    }

    /** A demuxed source: its configuration (null when the format has none) and its frames in decode order. */
    record Source(byte[] config, List<Frame> frames) {
    }

    /** What one H.264 rendition produced, and what the decoder gave it. */
    static final class Run {
        final List<List<TranscoderPacket>> packets = new ArrayList<>();
        final List<Long> pictureTimes = new ArrayList<>();
    }

    // ---- Demuxing the elementary streams ourselves ----

    static int startCodeAt(byte[] d, int i) {
        return i + 3 < d.length && d[i] == 0 && d[i + 1] == 0 && d[i + 2] == 1 ? d[i + 3] & 0xFF : -1;
    }

    /**
     * Splits an MPEG elementary stream into frames: each picture start code
     * begins a frame, or the group or sequence header right before it does.
     * Everything before the first frame is the configuration.
     */
    static Source splitMpeg(byte[] d, int pictureCode, Set<Integer> headerCodes, boolean mpeg2) {
        List<Integer> starts = new ArrayList<>();
        int pending = -1;
        for (int i = 0; i + 3 < d.length; i++) {
            int code = startCodeAt(d, i);
            if (code < 0) {
                continue;
            }
            if (code == pictureCode) {
                starts.add(pending >= 0 ? pending : i);
                pending = -1;
            } else if (i > 0 && headerCodes.contains(code) && pending < 0) {
                pending = i;
            }
        }
        byte[] config = java.util.Arrays.copyOfRange(d, 0, starts.get(0));
        List<Frame> frames = new ArrayList<>();
        for (int f = 0; f < starts.size(); f++) {
            int from = starts.get(f);
            int to = f + 1 < starts.size() ? starts.get(f + 1) : d.length;
            byte[] data = java.util.Arrays.copyOfRange(d, from, to);
            int p = from;
            while (startCodeAt(d, p) != pictureCode) {
                p++;
            }
            // MPEG-2: picture_coding_type after the 10-bit temporal reference;
            // MPEG-4: vop_coding_type, the first two bits.
            int coding = mpeg2 ? ((d[p + 5] & 0xFF) >> 3) & 7 : ((d[p + 4] & 0xFF) >> 6) + 1;
            frames.add(new Frame(data, f * 40L, coding == 1 ? 1 : coding == 3 ? 3 : 2));
        }
        return new Source(config, frames);
    }

    /** H.263: every byte-aligned picture start code begins a frame; no configuration. */
    static Source splitH263(byte[] d) {
        List<Integer> starts = new ArrayList<>();
        for (int i = 0; i + 4 < d.length; i++) {
            if (d[i] == 0 && d[i + 1] == 0 && (d[i + 2] & 0xFC) == 0x80) {
                starts.add(i);
            }
        }
        List<Frame> frames = new ArrayList<>();
        for (int f = 0; f < starts.size(); f++) {
            int from = starts.get(f);
            int to = f + 1 < starts.size() ? starts.get(f + 1) : d.length;
            boolean inter = ((d[from + 4] >> 1) & 1) != 0; // PTYPE bit 9
            frames.add(new Frame(java.util.Arrays.copyOfRange(d, from, to), f * 40L, inter ? 2 : 1));
        }
        return new Source(null, frames);
    }

    static Source readSpark(Path flv) throws Exception {
        List<Frame> frames = new ArrayList<>();
        try (FlvReader reader = new FlvReader(flv)) {
            for (FlvReader.Tag tag = reader.next(); tag != null; tag = reader.next()) {
                if (tag.type == FlvReader.TAG_VIDEO) {
                    assertEquals(2, tag.codec);
                    frames.add(new Frame(tag.data, frames.size() * 40L, tag.frameType));
                }
            }
        }
        return new Source(null, frames);
    }

    static Path fixture(String name, String size, String... codec) throws Exception {
        Path file = MediaTools.tmpDir().resolve(name);
        if (!Files.exists(file)) {
            List<String> command = new ArrayList<>(List.of("ffmpeg", "-y", "-v", "error", "-f", "lavfi", "-i",
                    "testsrc2=size=" + size + ":rate=25", "-frames:v", "25", "-g", "12", "-b:v", "1M"));
            command.addAll(List.of(codec));
            command.add(file.toString());
            MediaTools.run(command.toArray(new String[0]));
        }
        return file;
    }

    // ---- Driving the exports ----

    record Rung(int width, int height, long bitrate) {
    }

    /** Decoder, one buffer set with a rendition per rung, and one H.264 encoder per rung. */
    void build(int codec, Rung[] rungs, long family, boolean keyFrameFollow) {
        build(session, codec, 0, rungs, family, keyFrameFollow);
    }

    /** The same with the decoder's and the encoders' implementation number; shared with the Quick Sync tests. */
    static void build(long session, int codec, int implementation, Rung[] rungs, long family,
            boolean keyFrameFollow) {
        assertEquals(0L, lib.videoDecoderCreate(session, codec, implementation));
        assertEquals(0L, lib.videoDecoderBuffersCreate(session, 1));
        assertEquals(0L, lib.videoDecoderInitialize(session));
        assertEquals(0L, lib.videoEncoderBufferSetsCreate(session, 1));
        for (int r = 0; r < rungs.length; r++) {
            TranscoderLongByReference item = new TranscoderLongByReference(-1);
            assertEquals(0L, lib.videoEncoderBufferAdd(session, rungs[r].width(), rungs[r].height(), 3, item));
            TranscoderLongByReference encoder = new TranscoderLongByReference(-1);
            assertEquals(0L, lib.videoEncoderAdd(session, H264, implementation, encoder));
            assertEquals(r, encoder.value);
            assertEquals(0L, lib.videoEncoderSetDefaults(session, r, family, 2));
            assertEquals(0L, lib.videoEncoderSetFrameSize(session, r, rungs[r].width(), rungs[r].height()));
            assertEquals(0L, lib.videoEncoderSetFrameRate(session, r, 25.0));
            assertEquals(0L, lib.videoEncoderSetBitrate(session, r, rungs[r].bitrate()));
            if (keyFrameFollow) {
                assertEquals(0L, lib.videoEncoderSetKeyFrameFollow(session, r, true));
            }
            assertEquals(0L, lib.videoEncoderInitialize(session, r));
        }
    }

    /** Runs every frame through the decoder and every rung of `session`; shared with the Quick Sync tests. */
    static Run transcode(long session, Source source, int rungs) {
        return transcode(session, source, rungs, false);
    }

    /**
     * The same; with {@code endOfStream} the host then ends the stream: the decoder's last pictures go through
     * every rung, and each encoder gives out what it holds.
     */
    static Run transcode(long session, Source source, int rungs, boolean endOfStream) {
        Run run = new Run();
        for (int r = 0; r < rungs; r++) {
            run.packets.add(new ArrayList<>());
        }
        if (source.config() != null) {
            assertEquals(0L, lib.videoDecoderDecodeCodecConfig(session, source.config(), 0, source.config().length));
        }
        for (Frame frame : source.frames()) {
            assertEquals(0L, lib.videoDecoderAddFrame(session, frame.data(), 0, frame.data().length,
                    frame.timecode(), frame.frameType()));
            decodeUntilEmpty(session, run, rungs);
        }
        if (endOfStream) {
            assertEquals(0L, lib.videoDecoderEndOfStream(session));
            decodeUntilEmpty(session, run, rungs);
            for (int r = 0; r < rungs; r++) {
                assertEquals(0L, lib.videoEncoderEndOfStream(session, r));
                assertEquals(0L, lib.videoEncoderGetEncodedFrames(session, r, run.packets.get(r)));
            }
        }
        return run;
    }

    /** Decodes until flag 1, each picture into every rung. */
    static void decodeUntilEmpty(long session, Run run, int rungs) {
        TranscoderLongByReference flags = new TranscoderLongByReference();
        TranscoderVideoFrame picture = new TranscoderVideoFrame();
        do {
            assertEquals(0L, lib.videoDecoderDecode(session, 0, flags));
            if ((flags.value & 4) != 0 && (flags.value & 8) == 0) {
                assertEquals(0L, lib.videoDecoderTransferFrame(session, 0, 0));
                picture.width = 16;
                picture.height = 16;
                assertEquals(0L, lib.videoDecoderBufferGetVideoFrame(session, 0, picture));
                run.pictureTimes.add(picture.timecode);
                for (int r = 0; r < rungs; r++) {
                    assertEquals(0L, lib.videoEncoderAddFrame(session, r, 0, r, 0));
                    assertEquals(0L, lib.videoEncoderGetEncodedFrames(session, r, run.packets.get(r)));
                }
            }
        } while ((flags.value & 1) == 0);
    }

    /** Length-prefixed access units back to Annex B; fails on a prefix that does not walk the unit. */
    static Path writeAnnexB(String name, List<TranscoderPacket> packets) throws Exception {
        ByteArrayOutputStream out = new ByteArrayOutputStream();
        for (TranscoderPacket p : packets) {
            assertEquals(TranscoderPacket.TYPE_VIDEO, p.type);
            byte[] b = p.buffer;
            int at = 0;
            while (at < b.length) {
                assertTrue(at + 4 <= b.length, "prefix inside the unit");
                int n = ((b[at] & 0xFF) << 24) | ((b[at + 1] & 0xFF) << 16) | ((b[at + 2] & 0xFF) << 8)
                        | (b[at + 3] & 0xFF);
                assertTrue(n > 0 && at + 4 + n <= b.length, "unit length " + n + " at " + at);
                out.write(new byte[] {0, 0, 0, 1}, 0, 4);
                out.write(b, at + 4, n);
                at += 4 + n;
            }
        }
        Path file = MediaTools.tmpDir().resolve(name);
        Files.write(file, out.toByteArray());
        return file;
    }

    /**
     * Decodes one rendition with ffmpeg and compares it, picture by picture in
     * timecode order, with ffmpeg's own decode of the source through `filter`.
     */
    static double[] checkRendition(String name, Path source, long firstTime, String filter, Rung rung,
            List<TranscoderPacket> out) throws Exception {
        Path h264 = writeAnnexB(name + ".h264", out);
        byte[] decoded = VideoTools.rawFrames(h264, null);
        int frameSize = rung.width() * rung.height() * 3 / 2;
        assertEquals(out.size(), decoded.length / frameSize, name + ": a decoded picture per packet");
        byte[] reference = VideoTools.rawFrames(source, filter);
        TreeSet<Long> times = new TreeSet<>();
        for (TranscoderPacket p : out) {
            times.add(p.timecode);
        }
        // The decoded pictures in display order against the source pictures of those timecodes.
        ByteArrayOutputStream matched = new ByteArrayOutputStream();
        for (long t : times) {
            matched.write(reference, (int) ((t - firstTime) / 40) * frameSize, frameSize);
        }
        double[] psnr = VideoTools.psnr(decoded, matched.toByteArray(), rung.width(), rung.height(), times.size());
        System.out.printf("%s PSNR Y %.1f U %.1f V %.1f dB over %d pictures%n", name, psnr[0], psnr[1], psnr[2],
                times.size());
        return psnr;
    }

    /**
     * Source -> one H.264 rendition at its own size, zero latency: every picture comes straight out, and at the
     * end of the stream the decoder's last ones.
     */
    void decodeAndReencode(String name, int codec, Path file, Source source, Rung rung) throws Exception {
        build(codec, new Rung[] {rung}, 0, false);
        Run run = transcode(session, source, 1, true);
        assertEquals(source.frames().size(), run.pictureTimes.size(), name + ": every picture");
        List<TranscoderPacket> out = run.packets.get(0);
        assertEquals(run.pictureTimes.size(), out.size(), name + ": one packet per decoded picture");
        for (int i = 0; i < out.size(); i++) {
            assertEquals(run.pictureTimes.get(i), out.get(i).timecode, name + ": packet " + i + " keeps its time");
            assertTrue(out.get(i).frameType == 1 || out.get(i).frameType == 2);
        }
        assertEquals(1, out.get(0).frameType);
        String filter = "scale=" + rung.width() + ":" + rung.height();
        double[] psnr = checkRendition(name, file, 0, filter, rung, out);
        for (int p = 0; p < 3; p++) {
            assertTrue(psnr[p] > MIN_PSNR, name + " plane " + p + " PSNR " + psnr[p]);
        }
    }

    @Test
    void mpeg2WithAFourByThreeAspectDecodesAndBecomesH264() throws Exception {
        Path file = fixture("codecs-mpeg2.m2v", "352x240", "-c:v", "mpeg2video", "-aspect", "4:3", "-f",
                "mpeg2video");
        Source source = splitMpeg(Files.readAllBytes(file), 0x00, Set.of(0xB3, 0xB8), true);
        assertEquals(25, source.frames().size());
        assertEquals(0xB3, startCodeAt(source.config(), 0), "the sequence header configures");
        decodeAndReencode("mpeg2", 11, file, source, new Rung(352, 240, 800_000));
        boolean sawAspect = false;
        for (TranscoderLogStatement s : drainLog()) {
            if (s.statement.startsWith("VideoDecoderMP2.updateDecodeInfo[{context}]: ")) {
                assertTrue(s.statement.contains("aspect:4x3 frame:352x240 display:320x240"), s.statement);
                sawAspect = true;
            }
        }
        assertTrue(sawAspect, "the decoder logs the display size from the aspect code");
    }

    @Test
    void mpeg4PartTwoDecodesAndBecomesH264() throws Exception {
        Path file = fixture("codecs-mpeg4.m4v", "320x240", "-c:v", "mpeg4", "-f", "m4v");
        Source source = splitMpeg(Files.readAllBytes(file), 0xB6, Set.of(0xB3), false);
        assertEquals(25, source.frames().size());
        int vol = -1;
        for (int i = 0; i < source.config().length; i++) {
            int code = startCodeAt(source.config(), i);
            vol = code >= 0x20 && code <= 0x2F ? i : vol;
        }
        assertTrue(vol >= 0, "the configuration holds the video object layer header");
        decodeAndReencode("mpeg4", 10, file, source, new Rung(320, 240, 800_000));
    }

    @Test
    void h263DecodesAndBecomesH264() throws Exception {
        Path file = fixture("codecs-h263.263", "352x288", "-c:v", "h263", "-f", "h263");
        Source source = splitH263(Files.readAllBytes(file));
        assertEquals(25, source.frames().size());
        assertEquals(3, source.frames().stream().filter(f -> f.frameType() == 1).count());
        decodeAndReencode("h263", 9, file, source, new Rung(352, 288, 800_000));
    }

    @Test
    void sorensonSparkFromFlvDecodesAndBecomesH264() throws Exception {
        Path file = fixture("codecs-spark.flv", "320x240", "-c:v", "flv1", "-f", "flv");
        Source source = readSpark(file);
        assertEquals(25, source.frames().size());
        decodeAndReencode("spark", 2, file, source, new Rung(320, 240, 800_000));
    }

    static final Rung[] LADDER = {
        new Rung(320, 240, 500_000), new Rung(256, 192, 350_000), new Rung(160, 120, 150_000),
    };

    @Test
    void anH264SourceWithBFramesBecomesAThreeRungLadderWithKeyFramesOnTheSources() throws Exception {
        Path file = VideoTools.h264Clip("codecs-ladder.flv", 320, 240, 150);
        VideoTools.Clip clip = VideoTools.readFlv(file);
        List<Frame> frames = new ArrayList<>();
        TreeSet<Long> sourceKeys = new TreeSet<>();
        TreeSet<Long> inputTimes = new TreeSet<>();
        for (FlvReader.Tag tag : clip.frames) {
            frames.add(new Frame(tag.data, tag.presentationTime(), tag.frameType));
            inputTimes.add(tag.presentationTime());
            if (tag.frameType == 1) {
                sourceKeys.add(tag.presentationTime());
            }
        }
        assertTrue(sourceKeys.size() >= 5, "key frames in the source: " + sourceKeys);
        System.out.println("source starts at " + inputTimes.first() + " ms, key frames " + sourceKeys);
        build(7, LADDER, 2, true);
        Run run = transcode(session, new Source(clip.config, frames), LADDER.length);

        // The decoder holds its reordering window at the end; the pictures it
        // gave are the earliest input timecodes.
        TreeSet<Long> decodedTimes = new TreeSet<>(run.pictureTimes);
        assertEquals(run.pictureTimes.size(), decodedTimes.size());
        int delay = frames.size() - decodedTimes.size();
        assertTrue(delay >= 1 && delay <= 4, "pictures held back by the decoder: " + delay);
        assertEquals(new TreeSet<>(inputTimes.headSet(decodedTimes.last(), true)), decodedTimes);

        for (int r = 0; r < LADDER.length; r++) {
            Rung rung = LADDER[r];
            List<TranscoderPacket> out = run.packets.get(r);
            String name = "ladder-" + rung.width() + "x" + rung.height();
            // The encoder keeps its lookahead when the stream stops: the
            // packets are the decoded pictures but for a short tail.
            TreeSet<Long> times = new TreeSet<>();
            TreeSet<Long> keys = new TreeSet<>();
            boolean bFrames = false;
            long bytes = 0;
            for (TranscoderPacket p : out) {
                assertTrue(times.add(p.timecode), name + ": timecode " + p.timecode + " twice");
                assertTrue(p.frameType >= 1 && p.frameType <= 3);
                bFrames |= p.frameType == 3;
                if (p.frameType == 1) {
                    keys.add(p.timecode);
                }
                bytes += p.buffer.length;
            }
            assertTrue(decodedTimes.containsAll(times), name + ": only the source's timecodes");
            TreeSet<Long> missing = new TreeSet<>(decodedTimes);
            missing.removeAll(times);
            assertTrue(missing.size() <= 20, name + ": pictures still in the encoder " + missing.size());
            if (!missing.isEmpty()) {
                assertTrue(decodedTimes.tailSet(missing.first(), true).size() <= 20, name + ": missing " + missing);
            }
            assertTrue(bFrames, name + ": B-frames in the output");
            TreeSet<Long> expectedKeys = new TreeSet<>(sourceKeys);
            expectedKeys.retainAll(times);
            assertEquals(expectedKeys, keys, name + ": key frames exactly on the source's");

            double seconds = times.size() / 25.0;
            double rate = bytes * 8 / seconds;
            System.out.printf("%s: %d packets, %.0f bit/s for a target of %d%n", name, out.size(), rate,
                    rung.bitrate());
            assertEquals(rung.bitrate(), rate, rung.bitrate() * RATE_TOLERANCE, name + ": average bit rate");

            double[] psnr = checkRendition(name, file, inputTimes.first(), "scale=" + rung.width() + ":" + rung.height(),
                    rung, out);
            for (int p = 0; p < 3; p++) {
                assertTrue(psnr[p] > MIN_LADDER_PSNR, name + " plane " + p + " PSNR " + psnr[p]);
            }
        }
    }

    // ---- Settings through the parameter exports ----

    static TranscoderNativeParameterValue[] records(TranscoderNativeParameterValue... values) {
        return values;
    }

    @Test
    void h264SettingsRoundTripThroughTheParameterExports() {
        TranscoderLongByReference index = new TranscoderLongByReference(-1);
        assertEquals(0L, lib.videoEncoderAdd(session, H264, 0, index));
        assertEquals(0L, lib.videoEncoderSetDefaults(session, 0, 2, 2));

        TranscoderNativeParameterValue skipped = TranscoderNativeParameterValue.ofLong(10069, 7);
        skipped.dataType = 9;
        assertEquals(0L, lib.videoEncoderSetParameterValues(session, 0, records(
                skipped,
                TranscoderNativeParameterValue.ofLong(10074, 0x100000003L),
                TranscoderNativeParameterValue.ofLong(10071, -40),
                TranscoderNativeParameterValue.ofDouble(10008, 29.97),
                TranscoderNativeParameterValue.ofLongArray(10036, new long[] {-2, 3, 4, 5, 6, 7, 8, 9, 10, 11}),
                TranscoderNativeParameterValue.ofLongArray(10139, new long[] {0x1FF, 2}))));

        TranscoderNativeParameterValue bFrames = TranscoderNativeParameterValue.query(10069);
        TranscoderNativeParameterValue refs = TranscoderNativeParameterValue.query(10074);
        TranscoderNativeParameterValue bias = TranscoderNativeParameterValue.query(10071);
        TranscoderNativeParameterValue rate = TranscoderNativeParameterValue.query(10008);
        TranscoderNativeParameterValue deblock = TranscoderNativeParameterValue.query(10036);
        TranscoderNativeParameterValue bytes = TranscoderNativeParameterValue.query(10139);
        TranscoderNativeParameterValue unknown = TranscoderNativeParameterValue.query(10141);
        unknown.dataType = 4;
        unknown.lValue = 55;
        TranscoderNativeParameterValue otherClass = TranscoderNativeParameterValue.query(20000);
        otherClass.dataType = 1;
        assertEquals(0L, lib.videoEncoderGetParameterValues(session, 0,
                records(bFrames, refs, bias, rate, deblock, bytes, unknown, otherClass)));

        assertEquals(TranscoderNativeParameterValue.TYPE_LONG, bFrames.dataType);
        assertEquals(-1, bFrames.lValue, "the record with data type 9 was skipped: the preset's choice stays");
        assertEquals(3, refs.lValue, "cut to 32 bits");
        assertEquals(-40, bias.lValue, "widened with sign");
        assertEquals(TranscoderNativeParameterValue.TYPE_DOUBLE, rate.dataType);
        assertEquals(29.97, rate.dValue);
        assertEquals(TranscoderNativeParameterValue.TYPE_LONG_ARRAY, deblock.dataType);
        assertArrayEquals(new long[4], deblock.larValue, "type and length come back, the contents don't");
        assertEquals(TranscoderNativeParameterValue.TYPE_LONG_ARRAY, bytes.dataType);
        assertArrayEquals(new long[64], bytes.larValue);
        assertEquals(4, unknown.dataType, "an unknown index leaves the record as it was");
        assertEquals(55, unknown.lValue);
        assertNull(unknown.larValue);
        assertEquals(1, otherClass.dataType);

        // The array writes arrived: the deblocking offsets act on the encoder,
        // which still opens and encodes with them.
        assertEquals(0L, lib.videoEncoderSetFrameSize(session, 0, 160, 120));
        assertEquals(0L, lib.videoEncoderInitialize(session, 0));

        // A bad encoder index answers 0 and touches nothing.
        TranscoderNativeParameterValue untouched = TranscoderNativeParameterValue.query(10069);
        assertEquals(0L, lib.videoEncoderSetParameterValues(session, 3, records(
                TranscoderNativeParameterValue.ofLong(10069, 1))));
        assertEquals(0L, lib.videoEncoderGetParameterValues(session, 3, records(untouched)));
        assertEquals(0, untouched.dataType);
        assertNotNull(deblock.larValue);
    }
}
