package com.corvane.cvx.transcoder.model;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;

import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.ValueSource;
import org.junit.jupiter.api.Test;

/** G.711 in, Vorbis out, through the exports in the order a media server uses them. */
class AudioPathTest extends NativeTestBase {
    static final int RATE = 8000;
    static final int PACKET = 160; // 20 ms

    long add(long codec) {
        TranscoderLongByReference index = new TranscoderLongByReference(-7);
        assertEquals(0L, lib.audioEncoderAdd(session, codec, 0, index));
        return index.value;
    }

    @ParameterizedTest
    @ValueSource(ints = {7, 8})
    void g711ToTwoVorbisRenditionsKeepsTheSignal(int codec) throws Exception {
        assertEquals(0L, lib.audioDecoderCreate(session, codec, 0));
        assertEquals(0L, lib.audioDecoderInitialize(session));
        assertEquals(0L, lib.audioDecoderIsFirstFrameDecoded(session));
        byte[] description = G711.description(RATE, 1);
        assertEquals(0L, lib.audioDecoderDecodeFirstFrame(session, description, 0, description.length));
        assertEquals(1L, lib.audioDecoderIsFirstFrameDecoded(session));
        TranscoderLongByReference rate = new TranscoderLongByReference();
        TranscoderLongByReference channels = new TranscoderLongByReference();
        assertEquals(0L, lib.audioDecoderGetSampleRate(session, rate));
        assertEquals(0L, lib.audioDecoderGetChannels(session, channels));
        assertEquals(RATE, rate.value);
        assertEquals(1, channels.value);
        assertEquals(0L, lib.audioDecoderBuffersCreate(session, 2));
        assertEquals(0L, lib.audioDecoderBuffersAllocate(session, PACKET, channels.value, rate.value));

        long[] encoders = {add(9), add(9)};
        assertArrayEquals(new long[] {0, 1}, encoders);
        List<List<TranscoderPacket>> headers = new ArrayList<>();
        for (long e : encoders) {
            assertEquals(0L, lib.audioEncoderSetSampleRate(session, e, rate.value));
            assertEquals(0L, lib.audioEncoderSetChannels(session, e, channels.value));
            assertEquals(0L, lib.audioEncoderSetBitrate(session, e, 16000));
            assertEquals(0L, lib.audioEncoderInitialize(session, e));
            List<TranscoderPacket> h = new ArrayList<>();
            assertEquals(0L, lib.audioEncoderGetHeaders(session, e, h));
            assertEquals(3, h.size());
            assertEquals(30, h.get(0).len);
            headers.add(h);
        }

        short[] input = MediaTools.sine(440, RATE, RATE * 3, 9000);
        List<List<TranscoderPacket>> packets = List.of(new ArrayList<>(), new ArrayList<>());
        byte[] packet = new byte[PACKET + 5];
        for (int p = 0; p * PACKET < input.length; p++) {
            for (int i = 0; i < PACKET; i++) {
                short s = input[p * PACKET + i];
                packet[5 + i] = codec == 7 ? G711.alaw(s) : G711.mulaw(s);
            }
            long buffer = p % 2;
            assertEquals(0L, lib.audioDecoderDecodeFrame(session, packet, 5, PACKET, p * 20L, buffer));
            for (int e = 0; e < encoders.length; e++) {
                assertEquals(0L, lib.audioEncoderAddSampleBuffer(session, encoders[e], buffer, packets.get(e)));
            }
        }

        for (int e = 0; e < encoders.length; e++) {
            List<TranscoderPacket> out = packets.get(e);
            assertTrue(out.size() > 50, "packets: " + out.size());
            long previous = -1;
            for (TranscoderPacket p : out) {
                assertEquals(8, p.type);
                assertEquals(0, p.frameType);
                assertEquals(RATE, p.sampleRate);
                assertEquals(1, p.channels);
                assertEquals(p.buffer.length, p.len);
                assertTrue(p.timecode >= previous, "sample positions never go back");
                previous = p.timecode;
            }
            assertEquals(0L, out.get(0).timecode);
            Path file = MediaTools.tmpDir().resolve("g711-" + codec + "-" + e + ".ogg");
            MediaTools.writeOggVorbis(file, headers.get(e), out);
            short[] decoded = MediaTools.decodeToPcm(file, RATE);
            assertTrue(Math.abs(decoded.length - input.length) <= 2048,
                    "decoded " + decoded.length + " samples of " + input.length);
            assertEquals(440.0, MediaTools.dominantFrequency(decoded, RATE), 4.0);
        }
    }

    @Test
    void statusesTellBoundaryFailuresFromSessionFailures() {
        assertEquals(SESSION_FAILURE, lib.audioDecoderInitialize(session), "no decoder");
        assertEquals(-1L, lib.audioDecoderInitialize(0));
        assertEquals(SESSION_FAILURE, lib.audioDecoderCreate(session, 9, 0), "Vorbis is no decoder");
        assertEquals(0L, lib.audioDecoderIsFirstFrameDecoded(session));
        assertEquals(0L, lib.audioDecoderIsFirstFrameDecoded(0));
        assertEquals(-1L, lib.audioDecoderDecodeFrame(0, new byte[4], 0, 4, 0, 0));
        assertEquals(-1L, lib.audioDecoderDecodeCodecConfig(0, new byte[4], 0, 4));
        assertEquals(SESSION_FAILURE, lib.audioDecoderDecodeFrame(session, new byte[4], 0, 4, 0, 0),
                "no buffer");
        TranscoderLongByReference index = new TranscoderLongByReference(55);
        assertEquals(SESSION_FAILURE, lib.audioEncoderAdd(session, 2, 0, index));
        assertEquals(0L, index.value, "the index is written even when creation failed");
        assertEquals(SESSION_FAILURE, lib.audioEncoderSetQuality(session, 0, 0.5));
        assertEquals(0L, lib.audioEncoderAdd(session, 9, 0, null), "a null out-object is skipped");
        assertEquals(0L, lib.audioEncoderSetQuality(session, 0, 0.5));
        assertEquals(SESSION_FAILURE, lib.audioEncoderAddSampleBuffer(session, 0, 4, new ArrayList<>()));
        assertEquals(0L, lib.audioDecoderCreate(session, 8, 0));
        assertEquals(0L, lib.audioDecoderGetSampleRate(session, null));
    }

    @Test
    void badArraysAndRangesAreRefusedWithoutAJavaException() {
        assertEquals(0L, lib.audioDecoderCreate(session, 7, 0));
        byte[] description = G711.description(RATE, 1);
        assertEquals(0L, lib.audioDecoderDecodeFirstFrame(session, description, 0, 9));
        assertEquals(0L, lib.audioDecoderBuffersCreate(session, 1));
        assertEquals(0L, lib.audioDecoderBuffersAllocate(session, PACKET, 1, RATE));
        byte[] data = new byte[100];
        assertEquals(-1L, lib.audioDecoderDecodeFrame(session, null, 0, 10, 0, 0));
        assertEquals(-1L, lib.audioDecoderDecodeFrame(session, data, 95, 10, 0, 0));
        assertEquals(-1L, lib.audioDecoderDecodeFrame(session, data, -1, 10, 0, 0));
        assertEquals(-1L, lib.audioDecoderDecodeFrame(session, data, 0, Long.MAX_VALUE, 0, 0));
        assertEquals(-1L, lib.audioDecoderDecodeCodecConfig(session, data, 50, 51));
        assertEquals(0L, lib.audioDecoderDecodeFrame(session, data, 0, 100, 0, 0));
        byte[] oversized = new byte[10 * PACKET];
        assertEquals(0L, lib.audioDecoderDecodeFrame(session, oversized, 0, oversized.length, 20, 0),
                "a packet larger than the buffer is cut at its capacity");
    }
}
