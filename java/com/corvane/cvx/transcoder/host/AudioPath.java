package com.corvane.cvx.transcoder.host;

import com.corvane.cvx.transcoder.AudioCodec;
import com.corvane.cvx.transcoder.AudioDecoder;
import com.corvane.cvx.transcoder.AudioEncoder;
import com.corvane.cvx.transcoder.AudioImplementation;
import com.corvane.cvx.transcoder.AudioPacket;
import com.corvane.cvx.transcoder.PacketSink;
import com.corvane.cvx.transcoder.Session;
import com.corvane.cvx.transcoder.TranscoderException;

import java.io.IOException;
import java.util.List;
import java.util.function.Consumer;

/**
 * The audio side of a session: one decoder picked by the input's FLV sound format (the library's codec
 * number), one sample buffer, and up to two encoders, AAC for the FLV renditions and Vorbis for the WebM
 * ones. Every audio step that the library cannot do is reported and skipped: the video is transcoded all
 * the same.
 */
final class AudioPath {
    /** FLV carries G.711 at 8 kHz only. */
    static final int G711_RATE = 8000;

    private final AudioDecoder decoder;
    private int sampleRate;
    private int channels;
    private int capacity;
    private AudioEncoder aacEncoder;
    private AudioEncoder vorbisEncoder;
    private AudioFormat aacFormat;
    private AudioFormat vorbisFormat;
    private long packetsIn;

    private AudioPath(AudioDecoder decoder) {
        this.decoder = decoder;
    }

    /**
     * Builds the audio side before frames flow, or answers null with the reason told to {@code say} when
     * there is nothing the library can do with it.
     */
    static AudioPath open(Session session, InputProbe probe, boolean wantAac, boolean wantVorbis, long bitrate,
            Consumer<String> say) {
        String name = InputProbe.audioCodecName(probe.audioCodec) + " (codec " + probe.audioCodec + ")";
        AudioCodec codec = AudioCodec.of(probe.audioCodec);
        if (codec == null || !codec.hasDecoder()) {
            say.accept("audio skipped: this library has no decoder for " + name);
            return null;
        }
        AudioDecoder decoder;
        try {
            // FLV's MP3 is MPEG audio layer III.
            decoder = session.audioDecoder(codec)
                    .implementation(codec == AudioCodec.MPEG_AUDIO ? AudioImplementation.MP3 : AudioImplementation.DEFAULT)
                    .open();
        } catch (TranscoderException e) {
            say.accept(e.export().equals("audioDecoderCreate") ? "audio skipped: this library has no decoder for " + name
                    : "audio skipped: the " + name + " decoder did not initialise");
            return null;
        }
        AudioPath path = new AudioPath(decoder);
        if (!path.startDecoder(probe, name, say)) {
            return null;
        }
        if (wantAac) {
            path.openAac(session, bitrate, say);
        }
        if (wantVorbis) {
            path.openVorbis(session, bitrate, say);
        }
        if (path.aacEncoder == null && path.vorbisEncoder == null) {
            return null;
        }
        return path;
    }

    private boolean startDecoder(InputProbe probe, String name, Consumer<String> say) {
        if (decoder.codec() == AudioCodec.AAC) {
            if (probe.audioConfig == null || probe.audioConfig.length < 2) {
                say.accept("audio skipped: the AAC stream has no AudioSpecificConfig");
                return false;
            }
            try {
                decoder.decodeCodecConfig(probe.audioConfig);
            } catch (TranscoderException e) {
                say.accept("audio skipped: the AAC decoder refused the stream's configuration");
                return false;
            }
        }
        if (probe.firstAudio == null) {
            say.accept("audio skipped: the input has no audio packets");
            return false;
        }
        // The format comes from a first frame: for G.711 a description the host
        // makes from the FLV header, for the others the stream's first packet,
        // which is decoded once more for its samples when the stream runs.
        byte[] first = isG711() ? description(G711_RATE, probe.firstAudio.soundStereo ? 2 : 1)
                : probe.firstAudio.data;
        try {
            if (!decoder.decodeFirstFrame(first, 0, first.length)) {
                say.accept("audio skipped: the " + name + " decoder could not read the first frame");
                return false;
            }
            sampleRate = decoder.sampleRate();
            channels = decoder.channels();
            if (sampleRate <= 0 || channels <= 0 || channels > 8) {
                say.accept("audio skipped: the " + name + " decoder reports " + sampleRate + " Hz, " + channels
                        + " channels");
                return false;
            }
            capacity = isG711() ? probe.firstAudio.data.length : frameSamples();
            decoder.buffers(1, capacity);
            return true;
        } catch (TranscoderException e) {
            say.accept("audio skipped: " + e.getMessage());
            return false;
        }
    }

    /**
     * Samples a decoder gives for one packet. The AAC encoder takes a buffer of
     * exactly 1024 samples whole, so an AAC source's buffer must be that size.
     */
    private int frameSamples() {
        return switch (decoder.codec()) {
            case AAC -> 1024;
            case MPEG_AUDIO -> 1152;
            default -> 2048;
        };
    }

    private boolean isG711() {
        return decoder.codec() == AudioCodec.G711_ALAW || decoder.codec() == AudioCodec.G711_MULAW;
    }

    private void openAac(Session session, long bitrate, Consumer<String> say) {
        if (!AudioFormat.aacHasRate(sampleRate)) {
            say.accept("AAC audio skipped: AAC has no rate index for " + sampleRate + " Hz");
            return;
        }
        try {
            // The encoder's ceiling is six bits a sample; asking no more keeps its log quiet.
            aacEncoder = session.audioEncoder(AudioCodec.AAC).sampleRate(sampleRate).channels(channels)
                    .bitrate(Math.min(bitrate, 6L * sampleRate * channels)).open();
            aacFormat = AudioFormat.aac(sampleRate, channels);
        } catch (TranscoderException e) {
            say.accept(e.export().equals("audioEncoderAdd")
                    ? "no AAC encoder in this library: FLV renditions are written without audio"
                    : "the AAC encoder did not initialise: FLV renditions are written without audio");
        }
    }

    private void openVorbis(Session session, long bitrate, Consumer<String> say) {
        try {
            AudioEncoder encoder = session.audioEncoder(AudioCodec.VORBIS).sampleRate(sampleRate).channels(channels)
                    .bitrate(vorbisBitrate(bitrate, sampleRate, channels)).open();
            List<AudioPacket> headers = encoder.headers();
            if (headers.size() == 3) {
                vorbisEncoder = encoder;
                vorbisFormat = AudioFormat.vorbis(sampleRate, channels, headers.stream().map(AudioPacket::data).toList());
                return;
            }
        } catch (TranscoderException e) {
            if (e.export().equals("audioEncoderAdd")) {
                say.accept("no Vorbis encoder in this library: WebM renditions are written without audio");
                return;
            }
        }
        say.accept("the Vorbis encoder did not initialise for " + sampleRate + " Hz, " + channels
                + " channels: WebM renditions are written without audio");
    }

    /** Vorbis's managed mode accepts a band of rates that narrows with the sample rate. */
    static long vorbisBitrate(long requested, int sampleRate, int channels) {
        long perChannel = sampleRate >= 44100 ? 64_000 : sampleRate >= 32000 ? 48_000
                : sampleRate >= 22050 ? 32_000 : 16_000;
        return Math.min(requested, perChannel * channels);
    }

    AudioFormat aacFormat() {
        return aacFormat;
    }

    AudioFormat vorbisFormat() {
        return vorbisFormat;
    }

    int sampleRate() {
        return sampleRate;
    }

    int channels() {
        return channels;
    }

    long packetsIn() {
        return packetsIn;
    }

    /** Decodes one FLV audio tag and hands each encoder's packets to its sink. */
    void feed(FlvReader.Tag tag, PacketSink<AudioPacket, IOException> aacSink,
            PacketSink<AudioPacket, IOException> vorbisSink) throws IOException {
        if (tag.config || tag.data.length == 0 || tag.codec != decoder.codec().number()) {
            return;
        }
        if (isG711() && tag.data.length != capacity) {
            // One byte is one sample: the buffer holds exactly one packet, which
            // is what the AAC encoder's whole-buffer path needs.
            capacity = tag.data.length;
            decoder.buffers(1, capacity);
        }
        decoder.decode(tag.data, tag.timestamp, 0);
        packetsIn++;
        if (aacEncoder != null) {
            aacEncoder.encode(0, aacSink);
        }
        if (vorbisEncoder != null) {
            vorbisEncoder.encode(0, vorbisSink);
        }
    }

    /** The input has ended: each encoder's last packets to its sink. */
    void finish(PacketSink<AudioPacket, IOException> aacSink, PacketSink<AudioPacket, IOException> vorbisSink)
            throws IOException {
        if (aacEncoder != null) {
            aacEncoder.endOfStream(aacSink);
        }
        if (vorbisEncoder != null) {
            vorbisEncoder.endOfStream(vorbisSink);
        }
    }

    /** The packet that opens a G.711 stream: one byte, then rate and channels big-endian. */
    static byte[] description(int rate, int channels) {
        return new byte[] {0, (byte) (rate >>> 24), (byte) (rate >>> 16), (byte) (rate >>> 8), (byte) rate,
            (byte) (channels >>> 24), (byte) (channels >>> 16), (byte) (channels >>> 8), (byte) channels};
    }
}
