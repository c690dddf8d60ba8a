package com.corvane.cvx.transcoder;

import com.corvane.cvx.transcoder.model.TranscoderLongByReference;
import com.corvane.cvx.transcoder.model.TranscoderNativeParameterValue;

/**
 * The session's audio decoder and its sample buffers. Before frames flow the format is unknown: feed first
 * frames to {@link #decodeFirstFrame} until it answers true, read {@link #sampleRate()} and
 * {@link #channels()}, make the {@link #buffers}, and only then the encoders.
 */
public final class AudioDecoder extends Codec {
    /** Opens the decoder: {@link Session#audioDecoder(AudioCodec)}. */
    public static final class Builder extends CodecBuilder<Builder> {
        private final AudioCodec codec;
        private AudioImplementation implementation = AudioImplementation.DEFAULT;

        Builder(Session session, AudioCodec codec) {
            super(session);
            this.codec = codec;
        }

        public Builder implementation(AudioImplementation implementation) {
            this.implementation = implementation;
            return this;
        }

        /** Creates and initialises the decoder. */
        public AudioDecoder open() {
            var lib = session.lib;
            session.check(lib.audioDecoderCreate(session.handle(), codec.number(), implementation.number()),
                    "audioDecoderCreate");
            session.nameContext(LogEntry.Source.AUDIO_DECODER, 0, name);
            AudioDecoder decoder = new AudioDecoder(session, codec);
            decoder.apply(parameterArray());
            session.check(lib.audioDecoderInitialize(session.handle()), "audioDecoderInitialize");
            return decoder;
        }
    }

    private final AudioCodec codec;
    private final TranscoderLongByReference value = new TranscoderLongByReference();
    private int bufferCount;

    private AudioDecoder(Session session, AudioCodec codec) {
        super(session);
        this.codec = codec;
    }

    public AudioCodec codec() {
        return codec;
    }

    /** The stream's configuration (AAC: the two-byte AudioSpecificConfig). */
    public void decodeCodecConfig(byte[] config) {
        session.check(session.lib.audioDecoderDecodeCodecConfig(session.handle(), config, 0, config.length),
                "audioDecoderDecodeCodecConfig");
    }

    /**
     * Gives the decoder a frame to learn the format from (G.711: a description, one byte and then the rate
     * and the channel count as big-endian 32-bit numbers). Its samples are not kept.
     *
     * @return whether the format is known now
     */
    public boolean decodeFirstFrame(byte[] data, int offset, int length) {
        var lib = session.lib;
        // A frame the decoder cannot read yet is no failure here: the answer below tells.
        lib.audioDecoderDecodeFirstFrame(session.handle(), data, offset, length);
        long decoded = lib.audioDecoderIsFirstFrameDecoded(session.handle());
        if (decoded != 0 && decoded != 1) {
            session.check(decoded, "audioDecoderIsFirstFrameDecoded");
        }
        return decoded == 1;
    }

    public int sampleRate() {
        value.value = 0;
        session.check(session.lib.audioDecoderGetSampleRate(session.handle(), value), "audioDecoderGetSampleRate");
        return (int) value.value;
    }

    public int channels() {
        value.value = 0;
        session.check(session.lib.audioDecoderGetChannels(session.handle(), value), "audioDecoderGetChannels");
        return (int) value.value;
    }

    /**
     * Makes {@code count} sample buffers of {@code samples} samples per channel at the decoder's format, or
     * sizes the existing ones anew. A buffer must hold the largest frame the decoder gives.
     */
    public void buffers(int count, int samples) {
        if (count < 1 || samples < 1) {
            throw new IllegalArgumentException("audio buffers: " + count + " of " + samples + " samples");
        }
        var lib = session.lib;
        long h = session.handle();
        if (count > bufferCount) {
            session.check(lib.audioDecoderBuffersCreate(h, count - bufferCount), "audioDecoderBuffersCreate");
            bufferCount = count;
        }
        session.check(lib.audioDecoderBuffersAllocate(h, samples, channels(), sampleRate()),
                "audioDecoderBuffersAllocate");
    }

    public int bufferCount() {
        return bufferCount;
    }

    /** Decodes one frame into a sample buffer; then hand that buffer to each encoder. */
    public void decode(byte[] data, int offset, int length, long timecodeMillis, int buffer) {
        if (buffer < 0 || buffer >= bufferCount) {
            throw new IndexOutOfBoundsException("audio buffer " + buffer + " of " + bufferCount);
        }
        session.check(session.lib.audioDecoderDecodeFrame(session.handle(), data, offset, length, timecodeMillis,
                buffer), "audioDecoderDecodeFrame");
    }

    public void decode(byte[] data, long timecodeMillis, int buffer) {
        decode(data, 0, data.length, timecodeMillis, buffer);
    }

    /** Forgets the last frame decoded, as after a gap in the stream. */
    public void resetDecodedFrameState() {
        session.check(session.lib.audioDecoderResetDecodedFrameState(session.handle()),
                "audioDecoderResetDecodedFrameState");
    }

    @Override
    long setParameters(TranscoderNativeParameterValue[] values) {
        return session.lib.audioDecoderSetParameterValues(session.handle(), values);
    }

    @Override
    long getParameters(TranscoderNativeParameterValue[] values) {
        return session.lib.audioDecoderGetParameterValues(session.handle(), values);
    }

    @Override
    String exportPrefix() {
        return "audioDecoder";
    }
}
