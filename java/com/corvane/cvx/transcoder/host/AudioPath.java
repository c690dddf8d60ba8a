package com.corvane.cvx.transcoder.host;

import com.corvane.cvx.transcoder.model.TranscoderLongByReference;
import com.corvane.cvx.transcoder.model.TranscoderPacket;
import com.corvane.cvx.transcoder.model.TranscoderSessionNative;

import java.util.ArrayList;
import java.util.List;
import java.util.function.Consumer;

/**
 * The audio side of a session: one decoder picked by the input's FLV sound
 * format (the library's codec number), one sample buffer, and up to two
 * encoders, AAC for the FLV renditions and Vorbis for the WebM ones. Every
 * audio step that the library cannot do is reported and skipped: the video
 * is transcoded all the same.
 */
final class AudioPath {
    static final int CODEC_MPEG_AUDIO = 2;
    static final int CODEC_ALAW = 7;
    static final int CODEC_MULAW = 8;
    static final int CODEC_AAC = 10;
    static final int CODEC_SPEEX = 11;
    /** The implementation number that picks the MP3 decoder for codec 2. */
    static final int IMPLEMENTATION_MP3 = 3;
    /** FLV carries G.711 at 8 kHz only. */
    static final int G711_RATE = 8000;

    /** Receives the encoded packets of one encoder. */
    interface PacketSink {
        void accept(TranscoderPacket packet) throws java.io.IOException;
    }

    private final TranscoderSessionNative lib;
    private final long session;
    private final int codec;
    private int sampleRate;
    private int channels;
    private int capacity;
    private int aacEncoder = -1;
    private int vorbisEncoder = -1;
    private AudioFormat aacFormat;
    private AudioFormat vorbisFormat;
    private final List<TranscoderPacket> packets = new ArrayList<>();
    private long packetsIn;

    private AudioPath(TranscoderSessionNative lib, long session, int codec) {
        this.lib = lib;
        this.session = session;
        this.codec = codec;
    }

    /**
     * Builds the audio side before frames flow, or answers null with the reason
     * told to {@code say} when there is nothing the library can do with it.
     */
    static AudioPath open(TranscoderSessionNative lib, long session, InputProbe probe, boolean wantAac,
            boolean wantVorbis, long bitrate, Consumer<String> say) {
        String name = InputProbe.audioCodecName(probe.audioCodec) + " (codec " + probe.audioCodec + ")";
        int implementation = probe.audioCodec == CODEC_MPEG_AUDIO ? IMPLEMENTATION_MP3 : 0;
        if (TranscoderSessionNative.failed(lib.audioDecoderCreate(session, probe.audioCodec, implementation))) {
            say.accept("audio skipped: this library has no decoder for " + name);
            return null;
        }
        AudioPath path = new AudioPath(lib, session, probe.audioCodec);
        if (!path.startDecoder(probe, name, say)) {
            return null;
        }
        if (wantAac) {
            path.openAac(bitrate, say);
        }
        if (wantVorbis) {
            path.openVorbis(bitrate, say);
        }
        if (path.aacEncoder < 0 && path.vorbisEncoder < 0) {
            return null;
        }
        return path;
    }

    private boolean startDecoder(InputProbe probe, String name, Consumer<String> say) {
        if (TranscoderSessionNative.failed(lib.audioDecoderInitialize(session))) {
            say.accept("audio skipped: the " + name + " decoder did not initialise");
            return false;
        }
        if (codec == CODEC_AAC) {
            if (probe.audioConfig == null || probe.audioConfig.length < 2) {
                say.accept("audio skipped: the AAC stream has no AudioSpecificConfig");
                return false;
            }
            if (TranscoderSessionNative.failed(
                    lib.audioDecoderDecodeCodecConfig(session, probe.audioConfig, 0, probe.audioConfig.length))) {
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
        lib.audioDecoderDecodeFirstFrame(session, first, 0, first.length);
        if (lib.audioDecoderIsFirstFrameDecoded(session) != 1) {
            say.accept("audio skipped: the " + name + " decoder could not read the first frame");
            return false;
        }
        TranscoderLongByReference rate = new TranscoderLongByReference();
        TranscoderLongByReference count = new TranscoderLongByReference();
        lib.audioDecoderGetSampleRate(session, rate);
        lib.audioDecoderGetChannels(session, count);
        sampleRate = (int) rate.value;
        channels = (int) count.value;
        if (sampleRate <= 0 || channels <= 0 || channels > 8) {
            say.accept("audio skipped: the " + name + " decoder reports " + sampleRate + " Hz, " + channels
                    + " channels");
            return false;
        }
        capacity = isG711() ? probe.firstAudio.data.length : frameSamples();
        return !TranscoderSessionNative.failed(lib.audioDecoderBuffersCreate(session, 1))
                && !TranscoderSessionNative.failed(
                        lib.audioDecoderBuffersAllocate(session, capacity, channels, sampleRate));
    }

    /**
     * Samples a decoder gives for one packet. The AAC encoder takes a buffer of
     * exactly 1024 samples whole, so an AAC source's buffer must be that size.
     */
    private int frameSamples() {
        return switch (codec) {
            case CODEC_AAC -> 1024;
            case CODEC_MPEG_AUDIO -> 1152;
            default -> 2048;
        };
    }

    private boolean isG711() {
        return codec == CODEC_ALAW || codec == CODEC_MULAW;
    }

    private void openAac(long bitrate, Consumer<String> say) {
        if (!AudioFormat.aacHasRate(sampleRate)) {
            say.accept("AAC audio skipped: AAC has no rate index for " + sampleRate + " Hz");
            return;
        }
        TranscoderLongByReference index = new TranscoderLongByReference(-1);
        if (TranscoderSessionNative.failed(lib.audioEncoderAdd(session, CODEC_AAC, 0, index))) {
            say.accept("no AAC encoder in this library: FLV renditions are written without audio");
            return;
        }
        int e = (int) index.value;
        // The encoder's ceiling is six bits a sample; asking no more keeps its log quiet.
        long rate = Math.min(bitrate, 6L * sampleRate * channels);
        lib.audioEncoderSetSampleRate(session, e, sampleRate);
        lib.audioEncoderSetChannels(session, e, channels);
        lib.audioEncoderSetBitrate(session, e, rate);
        if (TranscoderSessionNative.failed(lib.audioEncoderInitialize(session, e))) {
            say.accept("the AAC encoder did not initialise: FLV renditions are written without audio");
            return;
        }
        aacEncoder = e;
        aacFormat = AudioFormat.aac(sampleRate, channels);
    }

    private void openVorbis(long bitrate, Consumer<String> say) {
        TranscoderLongByReference index = new TranscoderLongByReference(-1);
        if (TranscoderSessionNative.failed(lib.audioEncoderAdd(session, 9, 0, index))) {
            say.accept("no Vorbis encoder in this library: WebM renditions are written without audio");
            return;
        }
        int e = (int) index.value;
        lib.audioEncoderSetSampleRate(session, e, sampleRate);
        lib.audioEncoderSetChannels(session, e, channels);
        lib.audioEncoderSetBitrate(session, e, vorbisBitrate(bitrate, sampleRate, channels));
        List<TranscoderPacket> headers = new ArrayList<>();
        if (TranscoderSessionNative.failed(lib.audioEncoderInitialize(session, e))
                || TranscoderSessionNative.failed(lib.audioEncoderGetHeaders(session, e, headers))
                || headers.size() != 3) {
            say.accept("the Vorbis encoder did not initialise for " + sampleRate + " Hz, " + channels
                    + " channels: WebM renditions are written without audio");
            return;
        }
        vorbisEncoder = e;
        vorbisFormat = AudioFormat.vorbis(sampleRate, channels, headers.stream().map(p -> p.buffer).toList());
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
    void feed(FlvReader.Tag tag, PacketSink aacSink, PacketSink vorbisSink) throws HostException, java.io.IOException {
        if (tag.config || tag.data.length == 0 || tag.codec != codec) {
            return;
        }
        if (isG711() && tag.data.length != capacity) {
            // One byte is one sample: the buffer holds exactly one packet, which
            // is what the AAC encoder's whole-buffer path needs.
            capacity = tag.data.length;
            check(lib.audioDecoderBuffersAllocate(session, capacity, channels, sampleRate), "audioDecoderBuffersAllocate");
        }
        check(lib.audioDecoderDecodeFrame(session, tag.data, 0, tag.data.length, tag.timestamp, 0),
                "audioDecoderDecodeFrame");
        packetsIn++;
        encode(aacEncoder, aacSink);
        encode(vorbisEncoder, vorbisSink);
    }

    private void encode(int encoder, PacketSink sink) throws HostException, java.io.IOException {
        if (encoder < 0) {
            return;
        }
        packets.clear();
        check(lib.audioEncoderAddSampleBuffer(session, encoder, 0, packets), "audioEncoderAddSampleBuffer");
        for (TranscoderPacket p : packets) {
            sink.accept(p);
        }
    }

    private static void check(long status, String what) throws HostException {
        if (TranscoderSessionNative.failed(status)) {
            throw new HostException(HostException.LIBRARY, what + " answered failure (" + status + ")");
        }
    }

    /** The packet that opens a G.711 stream: one byte, then rate and channels big-endian. */
    static byte[] description(int rate, int channels) {
        return new byte[] {0, (byte) (rate >>> 24), (byte) (rate >>> 16), (byte) (rate >>> 8), (byte) rate,
            (byte) (channels >>> 24), (byte) (channels >>> 16), (byte) (channels >>> 8), (byte) channels};
    }
}
