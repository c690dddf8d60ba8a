package com.corvane.cvx.transcoder.model;

import static org.junit.jupiter.api.Assertions.*;

import com.corvane.cvx.transcoder.testing.*;

import java.nio.file.*;
import java.util.*;

import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.MethodSource;

/** The server's usual audio into AAC and Vorbis at once, and the end of a stream. */
class AudioCodecsTest extends NativeTestBase {
    static final double SECONDS = 2.0;

    /** A source as a host holds it: codec numbers, format, and the ffmpeg encoder that makes it. */
    record Input(String name, int codec, int implementation, int rate, int channels, int frameSamples,
            String encoder) {
    }

    static List<Input> inputs() {
        return List.of(new Input("AAC", 10, 0, 44100, 2, 1024, "aac -b:a 128k"),
                new Input("MP3", 2, 3, 44100, 2, 1152, "libmp3lame -b:a 128k"),
                new Input("MP2", 2, 2, 48000, 2, 1152, "mp2 -b:a 192k"),
                new Input("Speex", 11, 0, 16000, 1, 320, "libspeex"),
                new Input("G.711 A-law", 7, 0, 8000, 1, 160, null),
                new Input("G.711 mu-law", 8, 0, 8000, 1, 160, null));
    }

    private static final Map<Input, Containers.Source> SOURCES = new HashMap<>();

    /** Two seconds of a 440 Hz sine cut into packets, made once per run (MP2 in unpadded 576-byte frames). */
    static synchronized Containers.Source source(Input in) throws Exception {
        if (!SOURCES.containsKey(in)) {
            String sine = "sine=frequency=440:sample_rate=" + in.rate() + ":duration=" + SECONDS;
            List<Containers.Frame> frames = new ArrayList<>();
            Containers.Source made = new Containers.Source(null, frames);
            if (in.name().equals("MP2")) {
                byte[] mp2 = Files.readAllBytes(Media.fixture("audio.mp2", ("-f lavfi -i " + sine + " -ac 2 -c:a "
                        + in.encoder() + " -f mp2").split(" ")));
                for (int at = 0; at + 576 <= mp2.length; at += 576) {
                    assertEquals(-1, mp2[at], "a frame's sync byte");
                    frames.add(new Containers.Frame(Arrays.copyOfRange(mp2, at, at + 576), 0, 0));
                }
            } else if (in.encoder() != null) {
                made = Containers.flv(Media.fixture("audio-" + in.name() + ".flv", ("-f lavfi -i " + sine + " -ac "
                        + in.channels() + " -c:a " + in.encoder() + " -f flv").split(" ")), false);
            } else {
                byte[] g711 = Media.g711(sine, 1, in.codec() == 7);
                frames.add(new Containers.Frame(Containers.g711Description(in.rate(), 1), 0, 0));
                for (int p = 0; p + 160 <= g711.length; p += 160) {
                    frames.add(new Containers.Frame(Arrays.copyOfRange(g711, p, p + 160), 0, 0));
                }
            }
            SOURCES.put(in, made);
        }
        return SOURCES.get(in);
    }

    /** Creates the decoder and takes the source's format from its config or first frames; the packets left. */
    List<byte[]> startDecoder(Input in) throws Exception {
        Containers.Source source = source(in);
        assertEquals(0L, lib.audioDecoderCreate(session, in.codec(), in.implementation()));
        assertEquals(0L, lib.audioDecoderInitialize(session));
        assertEquals(0L, lib.audioDecoderIsFirstFrameDecoded(session));
        if (source.config() != null) {
            assertEquals(0L, lib.audioDecoderDecodeCodecConfig(session, source.config(), 0, source.config().length));
        }
        List<byte[]> audio = new ArrayList<>(source.frames().stream().map(Containers.Frame::data).toList());
        if (in.codec() == 7 || in.codec() == 8) {
            byte[] description = audio.remove(0);
            assertEquals(0L, lib.audioDecoderDecodeFirstFrame(session, description, 0, description.length));
        }
        for (int i = 0; lib.audioDecoderIsFirstFrameDecoded(session) == 0; i++) {
            lib.audioDecoderDecodeFirstFrame(session, audio.get(i), 0, audio.get(i).length);
        }
        return audio;
    }

    @ParameterizedTest(name = "{0}")
    @MethodSource("inputs")
    void transcodesToBothEncodersAndKeepsTheSineAndTheSampleClock(Input in) throws Exception {
        List<byte[]> audio = startDecoder(in);
        assertTrue(audio.size() > 20, "fixture packets: " + audio.size());
        TranscoderLongByReference rate = new TranscoderLongByReference();
        TranscoderLongByReference channels = new TranscoderLongByReference();
        assertEquals(0L, lib.audioDecoderGetSampleRate(session, rate));
        assertEquals(0L, lib.audioDecoderGetChannels(session, channels));
        assertEquals(List.of((long) in.rate(), (long) in.channels()), List.of(rate.value, channels.value));
        assertEquals(0L, lib.audioDecoderBuffersCreate(session, 2));
        assertEquals(0L, lib.audioDecoderBuffersAllocate(session, 2048, channels.value, rate.value));

        long bitrate = (in.rate() <= 16000 ? 16000L : 32000L) * in.channels();
        List<TranscoderPacket> headers = new ArrayList<>();
        assertEquals(0L, audioEncoder(session, AAC, rate.value, channels.value, bitrate, headers));
        assertEquals(List.of(), headers, "AAC's configuration is the host's to build");
        assertEquals(1L, audioEncoder(session, VORBIS, rate.value, channels.value, bitrate, headers));
        assertEquals(3, headers.size());
        assertEquals(30, headers.get(0).len, "the identification header");

        List<List<TranscoderPacket>> out = List.of(new ArrayList<>(), new ArrayList<>());
        for (int i = 0; i < audio.size(); i++) {
            // Each packet from the middle of a larger array, into the two buffers in turn.
            byte[] p = new byte[audio.get(i).length + 5];
            System.arraycopy(audio.get(i), 0, p, 3, audio.get(i).length);
            long ms = (long) i * in.frameSamples() * 1000 / in.rate();
            assertEquals(0L, lib.audioDecoderDecodeFrame(session, p, 3, audio.get(i).length, ms, i % 2));
            for (int e = 0; e < 2; e++) {
                assertEquals(0L, lib.audioEncoderAddSampleBuffer(session, e, i % 2, out.get(e)));
            }
        }

        for (int e = 0; e < 2; e++) {
            String name = in.name() + (e == 0 ? " to AAC" : " to Vorbis");
            List<TranscoderPacket> packets = out.get(e);
            assertTrue(packets.size() > 10, name + " packets: " + packets.size());
            assertEquals(0L, packets.get(0).timecode);
            for (int i = 0; i < packets.size(); i++) {
                TranscoderPacket p = packets.get(i);
                assertEquals(List.of(8, 0, in.rate(), in.channels(), (long) p.buffer.length),
                        List.of(p.type, p.frameType, p.sampleRate, p.channels, p.len), name);
                if (i > 0) {
                    long step = p.timecode - packets.get(i - 1).timecode;
                    assertTrue(e == 0 ? step == 1024 : step >= 0, name + ": position steps of " + step + " at " + i);
                }
            }
            Path file = Media.file("codecs-" + in.name() + (e == 0 ? ".aac" : ".ogg"));
            Files.write(file, e == 0 ? Containers.adts(data(packets), in.rate(), in.channels())
                    : Containers.oggVorbis(data(headers), data(packets), positions(packets)));
            short[] decoded = Media.pcm(file, in.rate());
            int expected = (int) (in.rate() * SECONDS);
            // Codec delays: a source frame, the AAC encoder's lookahead and priming, or Vorbis's block.
            int delay = in.frameSamples() + 3 * 1024;
            assertTrue(Math.abs(decoded.length - expected) <= delay, name + ": " + decoded.length + " of " + expected);
            assertEquals(440.0, Media.frequency(decoded, in.rate()), 3.0, name);
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
        assertEquals(0L, lib.audioDecoderDecodeFirstFrame(session, new byte[] {0x21}, 0, 1),
                "the header is written in front of the host's byte, not over it");
    }

    static final int RATE = 44100;
    /** Whole packets, but not a multiple of 1024: the AAC encoder ends on a partial frame. */
    static final int SAMPLES = 88_000;
    /** The last samples are another tone, so the output's end can be told from its middle. */
    static final int TAIL = 2048;

    @Test
    void theEncodersGiveTheirLastSamplesAtTheEndThenRefuseBuffers() throws Exception {
        int body = SAMPLES - TAIL;
        byte[] alaw = Media.g711("aevalsrc=0.25*sin(2*PI*if(lt(n\\," + body + ")\\,440*n\\,3000*(n-" + body
                + "))/" + RATE + "):s=" + RATE + ":d=" + (SAMPLES / (double) RATE), 1, true);
        assertEquals(SAMPLES, alaw.length);
        g711Decoder(session, 7, RATE, 1, 1, 1000);
        List<TranscoderPacket> headers = new ArrayList<>();
        audioEncoder(session, AAC, RATE, 1, 96_000, headers);
        audioEncoder(session, VORBIS, RATE, 1, 64_000, headers);
        List<List<TranscoderPacket>> packets = List.of(new ArrayList<>(), new ArrayList<>());
        for (int at = 0; at < SAMPLES; at += 1000) {
            assertEquals(0L, lib.audioDecoderDecodeFrame(session, alaw, at, 1000, at * 1000L / RATE, 0));
            for (int e = 0; e < 2; e++) {
                assertEquals(0L, lib.audioEncoderAddSampleBuffer(session, e, 0, packets.get(e)));
            }
        }
        for (int e = 0; e < 2; e++) {
            int before = packets.get(e).size();
            assertEquals(0L, lib.audioEncoderEndOfStream(session, e, packets.get(e)));
            assertTrue(packets.get(e).size() > before, "encoder " + e + " gave its last packets");
        }

        // AAC: a frame per 1024 samples, the last one partial, and the frame of delay; 1024 positions apart.
        List<TranscoderPacket> aac = packets.get(0);
        assertEquals((SAMPLES + 1023) / 1024 + 1, aac.size());
        for (int i = 0; i < aac.size(); i++) {
            assertEquals(1024L * i, aac.get(i).timecode, "AAC packet " + i);
        }
        Path adts = Media.file("eos.aac");
        Files.write(adts, Containers.adts(data(aac), RATE, 1));
        // The decoder's output opens with the encoder's 1024 samples of delay.
        short[] fromAac = Media.pcm(adts, RATE);
        assertTrue(fromAac.length >= 1024 + SAMPLES, "AAC: " + fromAac.length + " samples decoded");
        expectTheTailTone("AAC", fromAac, 1024 + SAMPLES);

        // Vorbis: the last packet stands at the last sample, and decodes to the end.
        List<TranscoderPacket> vorbis = packets.get(1);
        assertEquals(SAMPLES, vorbis.get(vorbis.size() - 1).timecode);
        Path ogg = Media.file("eos.ogg");
        Files.write(ogg, Containers.oggVorbis(data(headers), data(vorbis), positions(vorbis)));
        // The pages' granules as written here may trim a packet's worth at the start; without the last
        // packets the output ends 2000 samples short.
        short[] fromVorbis = Media.pcm(ogg, RATE);
        assertTrue(fromVorbis.length >= SAMPLES - 512, "Vorbis: " + fromVorbis.length + " samples decoded");
        expectTheTailTone("Vorbis", fromVorbis, fromVorbis.length);

        drainLog();
        for (int e = 0; e < 2; e++) {
            assertEquals(FAILURE, lib.audioEncoderAddSampleBuffer(session, e, 0, new ArrayList<>()));
        }
        assertEquals(List.of("4/0 AudioEncoderAAC.addSampleBuffer[{context}]: buffer refused: the stream has ended",
                "4/1 AudioEncoderVorbis.addSampleBuffer[{context}]: buffer refused: the stream has ended"), faults());
    }

    /** The decoded signal ends at `signalEnd` in the input's tail tone. */
    static void expectTheTailTone(String name, short[] decoded, int signalEnd) {
        short[] end = Arrays.copyOfRange(decoded, signalEnd - TAIL + 256, signalEnd - 64);
        assertEquals(3000.0, Media.frequency(end, RATE), 60.0, name + ": the last samples' tone");
    }
}
