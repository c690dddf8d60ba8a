package com.corvane.cvx.transcoder;

import com.corvane.cvx.transcoder.model.TranscoderLongByReference;
import com.corvane.cvx.transcoder.model.TranscoderNativeParameterValue;
import com.corvane.cvx.transcoder.model.TranscoderPacket;

import java.util.ArrayList;
import java.util.List;

/** An audio encoder fed from the decoder's sample buffers; its packets come back with each buffer it takes. */
public final class AudioEncoder extends Codec {
    /** Opens an encoder: {@link Session#audioEncoder(AudioCodec)}. */
    public static final class Builder extends CodecBuilder<Builder> {
        private final AudioCodec codec;
        private int sampleRate;
        private int channels;
        private long bitrate;
        private Double quality;

        Builder(Session session, AudioCodec codec) {
            super(session);
            this.codec = codec;
        }

        /** The decoder's rate: there is no resampling. */
        public Builder sampleRate(int sampleRate) {
            this.sampleRate = sampleRate;
            return this;
        }

        /** The decoder's channel count. */
        public Builder channels(int channels) {
            this.channels = channels;
            return this;
        }

        public Builder bitrate(long bitsPerSecond) {
            this.bitrate = bitsPerSecond;
            return this;
        }

        /** A quality target instead of a bit rate, where the codec has one. */
        public Builder quality(double quality) {
            this.quality = quality;
            return this;
        }

        public AudioEncoder open() {
            if (sampleRate <= 0 || channels <= 0) {
                throw new IllegalStateException("an audio encoder needs its sample rate and channels");
            }
            var lib = session.lib;
            long h = session.handle();
            TranscoderLongByReference index = new TranscoderLongByReference(-1);
            session.check(lib.audioEncoderAdd(h, codec.number(), 0, index), "audioEncoderAdd");
            int e = (int) index.value;
            session.nameContext(LogEntry.Source.AUDIO_ENCODER, e, name);
            AudioEncoder encoder = new AudioEncoder(session, codec, e);
            session.check(lib.audioEncoderSetSampleRate(h, e, sampleRate), "audioEncoderSetSampleRate");
            session.check(lib.audioEncoderSetChannels(h, e, channels), "audioEncoderSetChannels");
            if (bitrate > 0) {
                session.check(lib.audioEncoderSetBitrate(h, e, bitrate), "audioEncoderSetBitrate");
            }
            if (quality != null) {
                session.check(lib.audioEncoderSetQuality(h, e, quality), "audioEncoderSetQuality");
            }
            encoder.apply(parameterArray());
            session.check(lib.audioEncoderInitialize(h, e), "audioEncoderInitialize");
            return encoder;
        }
    }

    private final AudioCodec codec;
    private final int index;
    private final List<TranscoderPacket> encoded = new ArrayList<>();

    private AudioEncoder(Session session, AudioCodec codec, int index) {
        super(session);
        this.codec = codec;
        this.index = index;
    }

    public AudioCodec codec() {
        return codec;
    }

    public int index() {
        return index;
    }

    /** The stream headers a container needs before any packet (Vorbis: three); none for AAC. */
    public List<AudioPacket> headers() {
        encoded.clear();
        session.check(session.lib.audioEncoderGetHeaders(session.handle(), index, encoded), "audioEncoderGetHeaders");
        List<AudioPacket> headers = new ArrayList<>(encoded.size());
        for (TranscoderPacket p : encoded) {
            headers.add(packet(p));
        }
        encoded.clear();
        return headers;
    }

    /**
     * Encodes a sample buffer of the decoder's and hands over the packets it finished (zero, one or more; a
     * lookahead may hold some back for a later call).
     *
     * @return the number of packets
     */
    public <X extends Exception> int encode(int buffer, PacketSink<? super AudioPacket, X> sink) throws X {
        encoded.clear();
        session.check(session.lib.audioEncoderAddSampleBuffer(session.handle(), index, buffer, encoded),
                "audioEncoderAddSampleBuffer");
        return deliver(sink);
    }

    /**
     * The input has ended: the encoder encodes the samples it still holds (a partial frame, its lookahead) and
     * hands over its last packets (Vorbis: the last one ends the stream). Call it once, after the last
     * {@link #encode}; buffers after it are refused.
     *
     * @return the number of packets
     */
    public <X extends Exception> int endOfStream(PacketSink<? super AudioPacket, X> sink) throws X {
        encoded.clear();
        session.check(session.lib.audioEncoderEndOfStream(session.handle(), index, encoded), "audioEncoderEndOfStream");
        return deliver(sink);
    }

    private <X extends Exception> int deliver(PacketSink<? super AudioPacket, X> sink) throws X {
        int count = encoded.size();
        for (int i = 0; i < count; i++) {
            sink.accept(packet(encoded.get(i)));
        }
        encoded.clear();
        return count;
    }

    private static AudioPacket packet(TranscoderPacket p) {
        return new AudioPacket(p.buffer, p.timecode, p.sampleRate, p.channels);
    }

    @Override
    long setParameters(TranscoderNativeParameterValue[] values) {
        return session.lib.audioEncoderSetParameterValues(session.handle(), index, values);
    }

    @Override
    long getParameters(TranscoderNativeParameterValue[] values) {
        return session.lib.audioEncoderGetParameterValues(session.handle(), index, values);
    }

    @Override
    String exportPrefix() {
        return "audioEncoder";
    }
}
