package com.corvane.cvx.transcoder;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.corvane.cvx.transcoder.host.FlvReader;
import com.corvane.cvx.transcoder.model.MediaTools;

import java.io.ByteArrayOutputStream;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;

import org.junit.jupiter.api.Test;

/** The audio path through the API: the format learned from a first frame, AAC and Vorbis out. */
class AudioApiTest {
    @Test
    void aacInBecomesAacAndVorbisPacketsAtSamplePositionsThatDecode() throws Exception {
        ApiFixtures input = ApiFixtures.load();
        List<AudioPacket> aac = new ArrayList<>();
        List<AudioPacket> vorbis = new ArrayList<>();
        List<AudioPacket> headers;
        try (Session session = Transcoder.session().logSink(LogSink.discard()).open()) {
            AudioDecoder decoder = session.audioDecoder(AudioCodec.AAC).open();
            decoder.decodeCodecConfig(input.audioConfig);
            byte[] first = input.audio.get(0).data;
            assertTrue(decoder.decodeFirstFrame(first, 0, first.length));
            assertEquals(44100, decoder.sampleRate());
            assertEquals(1, decoder.channels());
            decoder.buffers(1, 1024);
            AudioEncoder aacEncoder = session.audioEncoder(AudioCodec.AAC).sampleRate(44100).channels(1)
                    .bitrate(96_000).open();
            AudioEncoder vorbisEncoder = session.audioEncoder(AudioCodec.VORBIS).sampleRate(44100).channels(1)
                    .bitrate(64_000).open();
            assertTrue(aacEncoder.headers().isEmpty(), "AAC's configuration is the host's to build");
            headers = vorbisEncoder.headers();
            for (FlvReader.Tag tag : input.audio) {
                decoder.decode(tag.data, tag.timestamp, 0);
                aacEncoder.encode(0, aac::add);
                vorbisEncoder.encode(0, vorbis::add);
            }
            assertTrue(aacEncoder.endOfStream(aac::add) > 0, "the AAC lookahead");
            assertTrue(vorbisEncoder.endOfStream(vorbis::add) > 0, "the last Vorbis packets");
        }
        assertEquals(3, headers.size());
        for (int i = 0; i < 3; i++) {
            byte[] h = headers.get(i).data();
            assertEquals(2 * i + 1, h[0], "header type");
            assertEquals("vorbis", new String(h, 1, 6, StandardCharsets.US_ASCII));
        }

        // One AAC frame per 1024 samples and the encoder's frame of delay, given out at the end.
        assertEquals(input.audio.size() + 1, aac.size());
        for (int i = 0; i < aac.size(); i++) {
            AudioPacket p = aac.get(i);
            assertEquals(List.of(44100, 1), List.of(p.sampleRate(), p.channels()));
            assertEquals(aac.get(0).samplePosition() + 1024L * i, p.samplePosition(), "packet " + i);
        }
        assertEquals((aac.get(10).samplePosition() * 1000 + 22050) / 44100, aac.get(10).timecodeMillis());
        long last = Long.MIN_VALUE;
        for (AudioPacket p : vorbis) {
            assertTrue(p.samplePosition() >= last, "Vorbis positions rise");
            last = p.samplePosition();
        }

        // The packets' own bytes decode to the source's tone.
        Path adts = MediaTools.tmpDir().resolve("api-out.aac");
        Files.write(adts, adts(aac));
        assertEquals(440.0, MediaTools.dominantFrequency(MediaTools.decodeToPcm(adts, 8000), 8000), 5.0);
    }

    /** Raw AAC-LC frames at 44100 Hz mono behind ADTS headers. */
    static byte[] adts(List<AudioPacket> packets) {
        ByteArrayOutputStream out = new ByteArrayOutputStream();
        for (AudioPacket p : packets) {
            int length = p.data().length + 7;
            // Sync word, MPEG-4, no CRC; profile LC, rate index 4 (44100), one channel; the frame length.
            out.writeBytes(new byte[] {(byte) 0xFF, (byte) 0xF1, (byte) (0x40 | (4 << 2)), (byte) (0x40 | (length >> 11)),
                (byte) (length >> 3), (byte) (((length & 7) << 5) | 0x1F), (byte) 0xFC});
            out.writeBytes(p.data());
        }
        return out.toByteArray();
    }
}
