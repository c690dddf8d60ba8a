package com.corvane.cvx.transcoder.model;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.corvane.cvx.transcoder.host.FlvReader;

import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.TreeSet;

import org.junit.jupiter.api.Test;

/**
 * The end of a stream through the exports: after the host's last frame, the decoder's reordering window and
 * each encoder's lookahead come out with their own timecodes, and further input is refused with a fault line.
 */
class EndOfStreamTest extends NativeTestBase {
    static final int FRAMES = 300;
    static final int RATE = 44100;
    /** Whole packets, but not a multiple of 1024: the AAC encoder ends on a partial frame. */
    static final int SAMPLES = 88_000;
    /** The last samples are another tone, so the output's end can be told from its middle. */
    static final int TAIL = 2048;
    static final int PACKET = 1000;

    List<String> faults() {
        List<String> out = new ArrayList<>();
        for (TranscoderLogStatement s : drainLog()) {
            if (s.level == 3) {
                out.add(s.contextType + "/" + s.contextIndex + " " + s.statement);
            }
        }
        return out;
    }

    @Test
    void everyFrameComesOutOfTheDecoderAndEachEncoderThenInputIsRefused() throws Exception {
        Path file = VideoTools.h264Clip("eos-source.flv", 320, 240, FRAMES);
        VideoTools.Clip clip = VideoTools.readFlv(file);
        assertEquals(FRAMES, clip.frames.size());
        List<VideoCodecsTest.Frame> frames = new ArrayList<>();
        TreeSet<Long> inputTimes = new TreeSet<>();
        TreeSet<Long> sourceKeys = new TreeSet<>();
        for (FlvReader.Tag tag : clip.frames) {
            frames.add(new VideoCodecsTest.Frame(tag.data, tag.presentationTime(), tag.frameType));
            inputTimes.add(tag.presentationTime());
            if (tag.frameType == 1) {
                sourceKeys.add(tag.presentationTime());
            }
        }
        // H.264 main at veryfast (B-frames, lookahead, frame threads), following the source's key frames, and VP8.
        assertEquals(0L, lib.videoDecoderCreate(session, 7, 0));
        assertEquals(0L, lib.videoDecoderBuffersCreate(session, 1));
        assertEquals(0L, lib.videoDecoderInitialize(session));
        assertEquals(0L, lib.videoEncoderBufferSetsCreate(session, 1));
        int[][] rungs = {{7, 320, 240, 400_000}, {8, 160, 120, 200_000}};
        for (int r = 0; r < rungs.length; r++) {
            TranscoderLongByReference index = new TranscoderLongByReference(-1);
            assertEquals(0L, lib.videoEncoderBufferAdd(session, rungs[r][1], rungs[r][2], 3, index));
            assertEquals(0L, lib.videoEncoderAdd(session, rungs[r][0], 0, index));
            assertEquals(0L, lib.videoEncoderSetDefaults(session, r, 1, 2));
            assertEquals(0L, lib.videoEncoderSetFrameSize(session, r, rungs[r][1], rungs[r][2]));
            assertEquals(0L, lib.videoEncoderSetBitrate(session, r, rungs[r][3]));
            assertEquals(0L, lib.videoEncoderSetKeyFrameFollow(session, r, true));
            assertEquals(0L, lib.videoEncoderInitialize(session, r));
        }
        VideoCodecsTest.Run run = VideoCodecsTest.transcode(session,
                new VideoCodecsTest.Source(clip.config, frames), rungs.length, true);
        assertEquals(new ArrayList<>(inputTimes), run.pictureTimes, "every picture, in display order");

        for (int r = 0; r < rungs.length; r++) {
            List<TranscoderPacket> out = run.packets.get(r);
            String name = "eos-" + (rungs[r][0] == 7 ? "h264" : "vp8");
            assertEquals(FRAMES, out.size(), name + ": a packet per input frame");
            TreeSet<Long> times = new TreeSet<>();
            TreeSet<Long> keys = new TreeSet<>();
            boolean bidirectional = false;
            for (TranscoderPacket p : out) {
                assertTrue(times.add(p.timecode), name + ": timecode " + p.timecode + " twice");
                bidirectional |= p.frameType == 3;
                if (p.frameType == 1) {
                    keys.add(p.timecode);
                }
            }
            assertEquals(inputTimes, times, name + ": the source's timecodes");
            int w = rungs[r][1];
            int h = rungs[r][2];
            byte[] decoded;
            if (rungs[r][0] == 7) {
                assertTrue(bidirectional, name + ": B-frames among the last pictures too");
                assertEquals(sourceKeys, keys, name + ": key frames on the source's");
                decoded = VideoTools.rawFrames(VideoCodecsTest.writeAnnexB(name + ".h264", out), null);
            } else {
                Path ivf = MediaTools.tmpDir().resolve(name + ".ivf");
                VideoTools.writeIvf(ivf, w, h, out);
                decoded = VideoTools.rawFrames(ivf, null);
            }
            assertEquals(FRAMES, decoded.length / (w * h * 3 / 2), name + ": decoded pictures");
        }

        drainLog();
        VideoCodecsTest.Frame first = frames.get(0);
        assertEquals(SESSION_FAILURE, lib.videoDecoderAddFrame(session, first.data(), 0, first.data().length,
                first.timecode(), 1));
        assertEquals(SESSION_FAILURE, lib.videoEncoderAddFrame(session, 0, 0, 0, 0));
        assertEquals(SESSION_FAILURE, lib.videoEncoderAddFrame(session, 1, 0, 1, 0));
        assertEquals(List.of("1/0 VideoDecoderH264.addFrame[{context}]: refused: the stream has ended",
                "2/0 VideoEncoderH264.addFrame[{context}]: frame refused: the stream has ended",
                "2/1 VideoEncoderVPX.addFrame[{context}]: frame refused: the stream has ended"), faults());
        // Ending again changes nothing: the decoder reports its input empty at once.
        assertEquals(0L, lib.videoDecoderEndOfStream(session));
        TranscoderLongByReference flags = new TranscoderLongByReference();
        assertEquals(0L, lib.videoDecoderDecode(session, 0, flags));
        assertEquals(1L, flags.value);
        assertEquals(0L, lib.videoEncoderEndOfStream(session, 0));
        List<TranscoderPacket> none = new ArrayList<>();
        assertEquals(0L, lib.videoEncoderGetEncodedFrames(session, 0, none));
        assertTrue(none.isEmpty());
    }

    @Test
    void theAudioEncodersGiveTheirLastSamplesAtTheEnd() throws Exception {
        short[] pcm = new short[SAMPLES];
        short[] body = MediaTools.sine(440, RATE, SAMPLES - TAIL, 8000);
        short[] tail = MediaTools.sine(3000, RATE, TAIL, 8000);
        System.arraycopy(body, 0, pcm, 0, body.length);
        System.arraycopy(tail, 0, pcm, body.length, TAIL);
        byte[] description = G711.description(RATE, 1);
        assertEquals(0L, lib.audioDecoderCreate(session, 7, 0));
        assertEquals(0L, lib.audioDecoderInitialize(session));
        assertEquals(0L, lib.audioDecoderDecodeFirstFrame(session, description, 0, description.length));
        assertEquals(0L, lib.audioDecoderBuffersCreate(session, 1));
        assertEquals(0L, lib.audioDecoderBuffersAllocate(session, PACKET, 1, RATE));
        long[][] encoders = {{10, 96_000}, {9, 64_000}};
        for (int e = 0; e < encoders.length; e++) {
            TranscoderLongByReference index = new TranscoderLongByReference(-1);
            assertEquals(0L, lib.audioEncoderAdd(session, encoders[e][0], 0, index));
            assertEquals(0L, lib.audioEncoderSetSampleRate(session, e, RATE));
            assertEquals(0L, lib.audioEncoderSetChannels(session, e, 1));
            assertEquals(0L, lib.audioEncoderSetBitrate(session, e, encoders[e][1]));
            assertEquals(0L, lib.audioEncoderInitialize(session, e));
        }
        List<TranscoderPacket> vorbisHeaders = new ArrayList<>();
        assertEquals(0L, lib.audioEncoderGetHeaders(session, 1, vorbisHeaders));
        List<List<TranscoderPacket>> packets = List.of(new ArrayList<>(), new ArrayList<>());
        for (int at = 0; at < SAMPLES; at += PACKET) {
            byte[] alaw = new byte[Math.min(PACKET, SAMPLES - at)];
            for (int i = 0; i < alaw.length; i++) {
                alaw[i] = G711.alaw(pcm[at + i]);
            }
            assertEquals(0L, lib.audioDecoderDecodeFrame(session, alaw, 0, alaw.length, at * 1000L / RATE, 0));
            for (int e = 0; e < encoders.length; e++) {
                assertEquals(0L, lib.audioEncoderAddSampleBuffer(session, e, 0, packets.get(e)));
            }
        }
        int[] beforeEnd = {packets.get(0).size(), packets.get(1).size()};
        for (int e = 0; e < encoders.length; e++) {
            assertEquals(0L, lib.audioEncoderEndOfStream(session, e, packets.get(e)));
            assertTrue(packets.get(e).size() > beforeEnd[e], "encoder " + e + " gave its last packets");
        }

        // AAC: a frame per 1024 samples, the last one partial, and the frame of delay; 1024 positions apart.
        List<TranscoderPacket> aac = packets.get(0);
        assertEquals((SAMPLES + 1023) / 1024 + 1, aac.size());
        for (int i = 0; i < aac.size(); i++) {
            assertEquals(1024L * i, aac.get(i).timecode, "AAC packet " + i);
        }
        Path adts = MediaTools.tmpDir().resolve("eos.aac");
        AudioFixtures.writeAdts(adts, aac, RATE, 1);
        // The decoder's output opens with the encoder's 1024 samples of delay.
        short[] fromAac = MediaTools.decodeToPcm(adts, RATE);
        assertTrue(fromAac.length >= 1024 + SAMPLES, "AAC: " + fromAac.length + " samples decoded");
        expectTheTailTone("AAC", fromAac, 1024 + SAMPLES);

        // Vorbis: the last packet stands at the last sample, and decodes to the end.
        List<TranscoderPacket> vorbis = packets.get(1);
        assertEquals(SAMPLES, vorbis.get(vorbis.size() - 1).timecode);
        Path ogg = MediaTools.tmpDir().resolve("eos.ogg");
        MediaTools.writeOggVorbis(ogg, vorbisHeaders, vorbis);
        // The pages' granules as this test writes them may trim a packet's worth at the start; without the
        // last packets the output ends 2000 samples short.
        short[] fromVorbis = MediaTools.decodeToPcm(ogg, RATE);
        assertTrue(fromVorbis.length >= SAMPLES - 512, "Vorbis: " + fromVorbis.length + " samples decoded");
        expectTheTailTone("Vorbis", fromVorbis, fromVorbis.length);

        drainLog();
        for (int e = 0; e < encoders.length; e++) {
            assertEquals(SESSION_FAILURE, lib.audioEncoderAddSampleBuffer(session, e, 0, new ArrayList<>()));
        }
        assertEquals(List.of("4/0 AudioEncoderAAC.addSampleBuffer[{context}]: buffer refused: the stream has ended",
                "4/1 AudioEncoderVorbis.addSampleBuffer[{context}]: buffer refused: the stream has ended"), faults());
    }

    /** The decoded signal ends at `end` in the input's tail tone. */
    static void expectTheTailTone(String name, short[] decoded, int signalEnd) {
        short[] end = Arrays.copyOfRange(decoded, signalEnd - TAIL + 256, signalEnd - 64);
        assertEquals(3000.0, MediaTools.dominantFrequency(end, RATE), 60.0, name + ": the last samples' tone");
    }
}
