package com.corvane.cvx.transcoder.model;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.nio.file.Path;
import java.util.ArrayList;
import java.util.HashMap;
import java.util.List;
import java.util.Map;
import java.util.Random;

import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.EnumSource;

/** The server's usual audio to AAC and Vorbis renditions, through the exports. */
class AudioCodecsTest extends NativeTestBase {
    static final int AAC = 10;
    static final int VORBIS = 9;
    static final double SECONDS = 2.0;

    /** A source stream as the host holds it: codec numbers, an optional config, packets. */
    record Source(int codec, int implementation, byte[] config, List<byte[]> packets, int rate, int channels,
            int frameSamples) {
    }

    enum Route {
        AAC_TO_AAC, AAC_TO_VORBIS, MP3_TO_AAC, MP2_TO_VORBIS, SPEEX_TO_AAC, G711_TO_AAC
    }

    private static final Map<String, Source> SOURCES = new HashMap<>();

    /** Each fixture is encoded once per run; the two AAC routes share theirs. */
    static synchronized Source source(Route route) throws Exception {
        String key = route.name().substring(0, route.name().indexOf('_'));
        Source made = SOURCES.get(key);
        if (made == null) {
            made = makeSource(route);
            SOURCES.put(key, made);
        }
        return made;
    }

    static Source makeSource(Route route) throws Exception {
        switch (route) {
            case AAC_TO_AAC:
            case AAC_TO_VORBIS:
                return new Source(AAC, 0, AudioFixtures.audioSpecificConfig(44100, 2),
                        AudioFixtures.adtsUnits(AudioFixtures.encodeSine(44100, 2, SECONDS, "-c:a", "aac", "-b:a",
                                "128k", "-f", "adts")), 44100, 2, 1024);
            case MP3_TO_AAC:
                return new Source(2, 3, null, AudioFixtures.mpegFrames(AudioFixtures.encodeSine(44100, 2, SECONDS,
                        "-c:a", "libmp3lame", "-b:a", "128k", "-write_xing", "0", "-id3v2_version", "0", "-f",
                        "mp3")), 44100, 2, 1152);
            case MP2_TO_VORBIS:
                return new Source(2, 2, null, AudioFixtures.mpegFrames(AudioFixtures.encodeSine(48000, 2, SECONDS,
                        "-c:a", "mp2", "-b:a", "192k", "-f", "mp2")), 48000, 2, 1152);
            case SPEEX_TO_AAC:
                return new Source(11, 0, null, AudioFixtures.oggPackets(AudioFixtures.encodeSine(16000, 1, SECONDS,
                        "-c:a", "libspeex", "-f", "ogg"), 2), 16000, 1, 320);
            default: {
                short[] pcm = MediaTools.sine(440, 8000, (int) (8000 * SECONDS), 9000);
                List<byte[]> packets = new ArrayList<>();
                packets.add(G711.description(8000, 1));
                for (int p = 0; p + 160 <= pcm.length; p += 160) {
                    byte[] packet = new byte[160];
                    for (int i = 0; i < 160; i++) {
                        packet[i] = G711.alaw(pcm[p + i]);
                    }
                    packets.add(packet);
                }
                return new Source(7, 0, null, packets, 8000, 1, 160);
            }
        }
    }

    @ParameterizedTest
    @EnumSource(Route.class)
    void transcodesAndKeepsTheSineAndTheSampleClock(Route route) throws Exception {
        Source source = source(route);
        int target = route.name().endsWith("AAC") ? AAC : VORBIS;
        assertTrue(source.packets().size() > 20, "fixture packets: " + source.packets().size());

        assertEquals(0L, lib.audioDecoderCreate(session, source.codec(), source.implementation()));
        assertEquals(0L, lib.audioDecoderInitialize(session));
        if (source.config() != null) {
            assertEquals(0L, lib.audioDecoderDecodeCodecConfig(session, source.config(), 0, source.config().length));
        }
        List<byte[]> audio = new ArrayList<>(source.packets());
        if (source.codec() == 7) {
            byte[] description = audio.remove(0);
            assertEquals(0L, lib.audioDecoderDecodeFirstFrame(session, description, 0, description.length));
        }
        for (int i = 0; lib.audioDecoderIsFirstFrameDecoded(session) == 0; i++) {
            byte[] p = audio.get(i);
            lib.audioDecoderDecodeFirstFrame(session, p, 0, p.length);
        }
        TranscoderLongByReference rate = new TranscoderLongByReference();
        TranscoderLongByReference channels = new TranscoderLongByReference();
        assertEquals(0L, lib.audioDecoderGetSampleRate(session, rate));
        assertEquals(0L, lib.audioDecoderGetChannels(session, channels));
        assertEquals(source.rate(), rate.value);
        assertEquals(source.channels(), channels.value);
        assertEquals(0L, lib.audioDecoderBuffersCreate(session, 1));
        assertEquals(0L, lib.audioDecoderBuffersAllocate(session, 2048, channels.value, rate.value));

        TranscoderLongByReference encoder = new TranscoderLongByReference();
        assertEquals(0L, lib.audioEncoderAdd(session, target, 0, encoder));
        assertEquals(0L, lib.audioEncoderSetSampleRate(session, encoder.value, rate.value));
        assertEquals(0L, lib.audioEncoderSetChannels(session, encoder.value, channels.value));
        assertEquals(0L, lib.audioEncoderSetBitrate(session, encoder.value, 32000L * channels.value));
        assertEquals(0L, lib.audioEncoderInitialize(session, encoder.value));
        List<TranscoderPacket> headers = new ArrayList<>();
        assertEquals(0L, lib.audioEncoderGetHeaders(session, encoder.value, headers));
        assertEquals(target == AAC ? 0 : 3, headers.size());

        List<TranscoderPacket> out = new ArrayList<>();
        for (int i = 0; i < audio.size(); i++) {
            byte[] p = audio.get(i);
            long ms = (long) i * source.frameSamples() * 1000 / source.rate();
            assertEquals(0L, lib.audioDecoderDecodeFrame(session, p, 0, p.length, ms, 0));
            assertEquals(0L, lib.audioEncoderAddSampleBuffer(session, encoder.value, 0, out));
        }

        assertTrue(out.size() > 10, "packets: " + out.size());
        for (int i = 0; i < out.size(); i++) {
            TranscoderPacket p = out.get(i);
            assertEquals(8, p.type);
            assertEquals(source.rate(), p.sampleRate);
            assertEquals(source.channels(), p.channels);
            if (target == AAC && i > 0) {
                assertEquals(1024, p.timecode - out.get(i - 1).timecode, "AAC frames one frame apart, at " + i);
            } else if (i > 0) {
                assertTrue(p.timecode >= out.get(i - 1).timecode, "positions never go back");
            }
        }
        assertEquals(0L, out.get(0).timecode);

        Path file = MediaTools.tmpDir().resolve("codecs-" + route + (target == AAC ? ".aac" : ".ogg"));
        if (target == AAC) {
            AudioFixtures.writeAdts(file, out, source.rate(), source.channels());
        } else {
            MediaTools.writeOggVorbis(file, headers, out);
        }
        short[] decoded = MediaTools.decodeToPcm(file, source.rate());
        int expected = (int) (source.rate() * SECONDS);
        // Codec delays: a source frame, the AAC encoder's lookahead and priming, or Vorbis's block.
        int delay = source.frameSamples() + 3 * 1024;
        assertTrue(Math.abs(decoded.length - expected) <= delay, "decoded " + decoded.length + " of " + expected);
        assertEquals(440.0, MediaTools.dominantFrequency(decoded, source.rate()), 3.0);
    }

    @ParameterizedTest
    @EnumSource(Route.class)
    void damagedAndTruncatedPacketsGetStatusesWithoutACrash(Route route) throws Exception {
        Source source = source(route);
        assertEquals(0L, lib.audioDecoderCreate(session, source.codec(), source.implementation()));
        assertEquals(0L, lib.audioDecoderInitialize(session));
        if (source.config() != null) {
            assertEquals(0L, lib.audioDecoderDecodeCodecConfig(session, source.config(), 0, 2));
        }
        Random random = new Random(11);
        List<byte[]> damaged = new ArrayList<>();
        damaged.add(new byte[0]);
        damaged.add(new byte[] {(byte) 0xFF});
        for (int n = 0; n < 5; n++) {
            byte[] noise = new byte[1 + random.nextInt(2000)];
            random.nextBytes(noise);
            damaged.add(noise);
        }
        for (int i = 3; i < 8; i++) {
            byte[] good = source.packets().get(i);
            damaged.add(java.util.Arrays.copyOf(good, good.length / 2));
        }
        for (byte[] p : damaged) {
            long status = lib.audioDecoderDecodeFirstFrame(session, p, 0, p.length);
            assertTrue(status == 0 || status == SESSION_FAILURE, "first frame status " + status);
        }
        for (byte[] p : source.packets().subList(0, 4)) {
            lib.audioDecoderDecodeFirstFrame(session, p, 0, p.length);
        }
        assertEquals(0L, lib.audioDecoderBuffersCreate(session, 1));
        assertEquals(0L, lib.audioDecoderBuffersAllocate(session, 2048, source.channels(), source.rate()));
        long ms = 0;
        for (byte[] p : damaged) {
            long status = lib.audioDecoderDecodeFrame(session, p, 0, p.length, ms += 20, 0);
            assertTrue(status == 0 || status == SESSION_FAILURE, "frame status " + status);
        }
        // And the stream goes on.
        for (byte[] p : source.packets().subList(8, 12)) {
            assertEquals(0L, lib.audioDecoderDecodeFrame(session, p, 0, p.length, ms += 20, 0));
        }
    }

    @Test
    void aacDecoderReservesRoomForItsHeader() {
        assertEquals(0L, lib.audioDecoderCreate(session, AAC, 0));
        assertEquals(0L, lib.audioDecoderInitialize(session));
        assertEquals(0L, lib.audioDecoderDecodeCodecConfig(session, new byte[] {0x12, 0x10}, 0, 2));
        TranscoderLongByReference rate = new TranscoderLongByReference();
        assertEquals(0L, lib.audioDecoderGetSampleRate(session, rate));
        assertEquals(44100, rate.value, "from the configuration, before any frame");
        byte[] tiny = {0x21};
        assertEquals(0L, lib.audioDecoderDecodeFirstFrame(session, tiny, 0, 1),
                "the header is written in front of the host's byte, not over it");
    }
}
