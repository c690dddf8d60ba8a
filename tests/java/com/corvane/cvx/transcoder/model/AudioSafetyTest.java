package com.corvane.cvx.transcoder.model;

import static org.junit.jupiter.api.Assertions.*;

import com.corvane.cvx.transcoder.testing.*;

import java.nio.file.*;
import java.util.*;
import java.util.concurrent.atomic.AtomicLong;

import org.junit.jupiter.api.Test;

/** What a careless or hostile host can hand the audio path, and what valid stereo G.711 gives a Vorbis encoder. */
class AudioSafetyTest extends NativeTestBase {
    static final int RATE = 8000;

    /** A-law bytes of a 440 Hz sine, the same value in both channels of each sample frame. */
    static byte[] stereoSine() throws Exception {
        return Media.g711("sine=frequency=440:sample_rate=8000:duration=50", 2, true);
    }

    @Test
    void aLargeBufferIsEncodedOnAThreadWithAJavaSizedStack() throws Exception {
        final int frames = 400000;
        g711Decoder(session, 7, RATE, 2, 1, frames);
        assertEquals(0L, lib.audioDecoderDecodeFrame(session, stereoSine(), 0, 2 * frames, 0, 0));
        List<TranscoderPacket> headers = new ArrayList<>();
        long encoder = audioEncoder(session, VORBIS, RATE, 2, 32000, headers);

        // One call takes the whole buffer, on a thread with the stack a JVM gives its threads.
        List<TranscoderPacket> out = new ArrayList<>();
        AtomicLong status = new AtomicLong(-2);
        Thread thread = new Thread(null, () -> status.set(lib.audioEncoderAddSampleBuffer(session, encoder, 0, out)),
                "one-megabyte-stack", 1 << 20);
        thread.start();
        thread.join();
        assertEquals(0L, status.get());

        Path file = Media.file("vorbis-one-large-buffer.ogg");
        Files.write(file, Containers.oggVorbis(data(headers), data(out), positions(out)));
        short[] decoded = Media.pcm(file, RATE);
        assertTrue(Math.abs(decoded.length - frames) <= 4096, "decoded " + decoded.length + " of " + frames);
        assertEquals(440.0, Media.frequency(decoded, RATE), 2.0);
    }

    @Test
    void stereoG711PositionsCountEveryValueAsASample() throws Exception {
        final int frames = 160;  // 20 ms, 320 bytes
        final int packets = 150;
        g711Decoder(session, 7, RATE, 2, 1, frames);
        long encoder = audioEncoder(session, VORBIS, RATE, 2, 32000, new ArrayList<>());
        List<TranscoderPacket> out = new ArrayList<>();
        byte[] alaw = stereoSine();
        for (int p = 0; p < packets; p++) {
            assertEquals(0L, lib.audioDecoderDecodeFrame(session, alaw, 2 * p * frames, 2 * frames, 20L * p, 0));
            assertEquals(0L, lib.audioEncoderAddSampleBuffer(session, encoder, 0, out));
        }
        assertTrue(out.size() > 20, "packets: " + out.size());
        assertEquals(0L, out.get(0).timecode);
        assertTrue(out.stream().allMatch(p -> p.sampleRate == RATE && p.channels == 2));
        // The decoder stamps each packet at its host time, 160 frames on, but
        // counts its 320 values as samples; each buffer's holder takes those
        // 320, and the 160 frames a packet really gives drain them at half
        // that pace. So the positions reach about half of the frames encoded
        // (less the library's lookahead), not all of them.
        long last = out.get(out.size() - 1).timecode;
        long encoded = (long) frames * packets;
        assertTrue(last <= encoded / 2 + 320, "last position " + last + " of " + encoded + " frames");
        assertTrue(last >= (encoded - 8192) / 2 - 320, "last position " + last + " of " + encoded + " frames");
    }

    /** A refusal: the session's failure status and one level-3 line of the audio path. */
    void refused(long status, String what) {
        assertEquals(FAILURE, status, what);
        List<TranscoderLogStatement> log = drainLog();
        assertEquals(1, log.size(), what + ": " + log);
        assertEquals(3, log.get(0).level, what);
        assertTrue(log.get(0).contextType == 3 || log.get(0).contextType == 4, what);
    }

    @Test
    void sampleBufferCountsAndSizesOutsideTheLimitsAreRefused() {
        drainLog();
        refused(lib.audioDecoderBuffersCreate(session, 1025), "1025 buffers");
        refused(lib.audioDecoderBuffersCreate(session, 0xFFFFFFFFL), "2^32 - 1 buffers");
        assertEquals(0L, lib.audioDecoderBuffersCreate(session, 1000));
        assertEquals(0L, lib.audioDecoderBuffersCreate(session, 24));
        refused(lib.audioDecoderBuffersCreate(session, 1), "one past 1024");

        long[][] refusedShapes = {
            {0, 2, RATE}, {(1 << 20) + 1, 1, RATE}, {1 << 28, 2, 44100}, {0xFFFFFFFFL, 0xFFFFFFFFL, 0xFFFFFFFFL},
            {1024, 0, RATE}, {1024, 9, RATE}, {1024, 2, 0}, {1024, 2, 384001},
            {8192, 8, 48000},  // 1024 buffers of 128 KiB: 128 MiB for the set
        };
        for (long[] shape : refusedShapes) {
            refused(lib.audioDecoderBuffersAllocate(session, shape[0], shape[1], shape[2]),
                    shape[0] + " samples x " + shape[1] + " channels at " + shape[2]);
        }
        assertEquals(0L, lib.audioDecoderBuffersAllocate(session, 4096, 8, 384000), "64 MiB for the set");
        assertEquals(0L, lib.audioDecoderBuffersAllocate(session, 1, 1, 1));
    }

    @Test
    void encoderSettingsOutsideTheLimitsAreRefused() {
        TranscoderLongByReference index = new TranscoderLongByReference();
        for (int i = 0; i < 64; i++) {
            assertEquals(0L, lib.audioEncoderAdd(session, i % 2 == 0 ? 9 : 10, 0, index));
        }
        drainLog();
        refused(lib.audioEncoderAdd(session, 9, 0, index), "a 65th encoder");
        for (long encoder : new long[] {0, 1}) {
            drainLog();
            refused(lib.audioEncoderSetSampleRate(session, encoder, 0), "rate 0");
            refused(lib.audioEncoderSetSampleRate(session, encoder, 384001), "rate 384001");
            refused(lib.audioEncoderSetSampleRate(session, encoder, -1), "rate 2^32 - 1");
            refused(lib.audioEncoderSetChannels(session, encoder, 0), "no channels");
            refused(lib.audioEncoderSetChannels(session, encoder, 9), "nine channels");
            refused(lib.audioEncoderSetBitrate(session, encoder, 10000001), "bit rate above 10 Mbit/s");
            refused(lib.audioEncoderSetQuality(session, encoder, Double.NaN), "quality NaN");
            refused(lib.audioEncoderSetQuality(session, encoder, Double.POSITIVE_INFINITY), "quality +inf");
            refused(lib.audioEncoderSetQuality(session, encoder, Double.NEGATIVE_INFINITY), "quality -inf");
            assertEquals(0L, lib.audioEncoderSetBitrate(session, encoder, 0), "0 is a rate for AAC");
            assertEquals(0L, lib.audioEncoderSetQuality(session, encoder, -1e300), "quality is only kept");
            assertEquals(0L, lib.audioEncoderSetSampleRate(session, encoder, 48000));
            assertEquals(0L, lib.audioEncoderSetChannels(session, encoder, 2));
            assertEquals(0L, lib.audioEncoderSetBitrate(session, encoder, 128000));
            assertEquals(0L, lib.audioEncoderInitialize(session, encoder));
            assertEquals(0, drainLog().stream().filter(s -> s.level == 3).count(), "the settings kept are good ones");
        }
    }

    @Test
    void configurationRecordsAndPacketsOutsideTheLimitsAreRefused() {
        assertEquals(0L, lib.audioDecoderCreate(session, 7, 0));
        drainLog();
        byte[] noRate = Containers.g711Description(0, 2);
        refused(lib.audioDecoderDecodeFirstFrame(session, noRate, 0, noRate.length), "G.711 at 0 Hz");
        byte[] manyChannels = Containers.g711Description(RATE, 65536);
        refused(lib.audioDecoderDecodeFirstFrame(session, manyChannels, 0, manyChannels.length), "65536 channels");
        assertEquals(0L, lib.audioDecoderIsFirstFrameDecoded(session));
        byte[] good = Containers.g711Description(RATE, 1);
        assertEquals(0L, lib.audioDecoderDecodeFirstFrame(session, good, 0, good.length));
        assertEquals(0L, lib.audioDecoderBuffersCreate(session, 1));
        assertEquals(0L, lib.audioDecoderBuffersAllocate(session, 1 << 20, 1, RATE));
        byte[] huge = new byte[(1 << 20) + 1];
        refused(lib.audioDecoderDecodeFrame(session, huge, 0, huge.length, 0, 0), "a packet over 1 MiB");
        refused(lib.audioDecoderDecodeCodecConfig(session, huge, 0, huge.length), "a record over 1 MiB");
        assertEquals(0L, lib.audioDecoderDecodeFrame(session, huge, 0, 1 << 20, 0, 0), "1 MiB is taken");

        assertEquals(0L, lib.audioDecoderCreate(session, 10, 0));
        assertEquals(0L, lib.audioDecoderInitialize(session));
        drainLog();
        refused(lib.audioDecoderDecodeCodecConfig(session, new byte[] {0x12}, 0, 1), "a one-byte AudioSpecificConfig");
        assertEquals(0L, lib.audioDecoderDecodeCodecConfig(session, new byte[] {0x12, 0x10}, 0, 2));
        byte[] unit = new byte[8192 - 7 + 1];
        refused(lib.audioDecoderDecodeFrame(session, unit, 0, unit.length, 0, 0), "an access unit past 8191 bytes");
        refused(lib.audioDecoderDecodeFirstFrame(session, unit, 0, unit.length), "the same as a first frame");
    }
}
