package com.corvane.cvx.transcoder;

import com.corvane.cvx.transcoder.model.TranscoderLongByReference;
import com.corvane.cvx.transcoder.model.TranscoderNativeParameterValue;
import com.corvane.cvx.transcoder.model.TranscoderPacket;

import java.util.ArrayList;
import java.util.List;

/**
 * A video encoder fed by one rendition. After each transfer, {@link #encode} gives it the rendition's
 * picture and hands over the packets that are finished; an encoder with a lookahead gives each picture's
 * packet some pictures later, and the last ones at {@link #endOfStream}.
 */
public final class VideoEncoder extends Codec {
    /** Opens an encoder: {@link Session#videoEncoder(VideoCodec)}. */
    public static final class Builder extends CodecBuilder<Builder> {
        private final VideoCodec codec;
        private VideoEncoderImplementation implementation = VideoEncoderImplementation.SOFTWARE;
        private Rendition rendition;
        private long profile;
        private long preset;
        private int width;
        private int height;
        private double frameRate;
        private long bitrate;
        private boolean keyFrameFollow;
        private Integer gpu;

        Builder(Session session, VideoCodec codec) {
            super(session);
            this.codec = codec;
        }

        public Builder implementation(VideoEncoderImplementation implementation) {
            this.implementation = implementation;
            return this;
        }

        /** The rendition it encodes; also its picture size unless {@link #frameSize} says otherwise. */
        public Builder rendition(Rendition rendition) {
            this.rendition = rendition;
            return this;
        }

        /**
         * The two numbers of the encoder's defaults, applied before everything else. For the software H.264
         * encoder: the profile family and the speed preset ({@link #h264}); hardware encoders read the
         * first as their profile and ignore the second; VP8 ignores both. Default 0 and 0.
         */
        public Builder defaults(long first, long second) {
            this.profile = first;
            this.preset = second;
            return this;
        }

        public Builder h264(H264Settings.Profile profile, H264Settings.Preset preset) {
            return defaults(profile.number(), preset.number());
        }

        public Builder frameSize(int width, int height) {
            this.width = width;
            this.height = height;
            return this;
        }

        /**
         * Frames per second. A decoder's codec configuration, if it comes after this encoder opened, gives
         * the stream's rate instead.
         */
        public Builder frameRate(double framesPerSecond) {
            this.frameRate = framesPerSecond;
            return this;
        }

        public Builder bitrate(long bitsPerSecond) {
            this.bitrate = bitsPerSecond;
            return this;
        }

        /**
         * Key frames exactly where the source has them (and where {@link #encode(int, boolean, PacketSink)}
         * asks for one), so every rendition of a ladder switches at the same pictures.
         */
        public Builder keyFrameFollow() {
            this.keyFrameFollow = true;
            return this;
        }

        public Builder gpu(int id) {
            this.gpu = id;
            return this;
        }

        public VideoEncoder open() {
            if (rendition == null) {
                throw new IllegalStateException("an encoder needs its rendition");
            }
            var lib = session.lib;
            long h = session.handle();
            TranscoderLongByReference index = new TranscoderLongByReference(-1);
            session.check(lib.videoEncoderAdd(h, codec.number(), implementation.number(), index), "videoEncoderAdd");
            int e = (int) index.value;
            session.nameContext(LogEntry.Source.VIDEO_ENCODER, e, name);
            VideoEncoder encoder = new VideoEncoder(session, codec, e, rendition);
            // The defaults overwrite every other setter, so they come first.
            session.check(lib.videoEncoderSetDefaults(h, e, profile, preset), "videoEncoderSetDefaults");
            int w = width > 0 ? width : rendition.width();
            int ht = height > 0 ? height : rendition.height();
            session.check(lib.videoEncoderSetFrameSize(h, e, w, ht), "videoEncoderSetFrameSize");
            if (frameRate > 0) {
                session.check(lib.videoEncoderSetFrameRate(h, e, frameRate), "videoEncoderSetFrameRate");
            }
            if (bitrate > 0) {
                session.check(lib.videoEncoderSetBitrate(h, e, bitrate), "videoEncoderSetBitrate");
            }
            if (keyFrameFollow) {
                session.check(lib.videoEncoderSetKeyFrameFollow(h, e, true), "videoEncoderSetKeyFrameFollow");
            }
            if (gpu != null) {
                session.check(lib.videoEncoderSetGPUID(h, e, gpu), "videoEncoderSetGPUID");
            }
            encoder.apply(parameterArray());
            session.check(lib.videoEncoderInitialize(h, e), "videoEncoderInitialize");
            return encoder;
        }
    }

    private final VideoCodec codec;
    private final int index;
    private final Rendition rendition;
    /** Reused for every call: the natives append to it, the packets go on as records. */
    private final List<TranscoderPacket> encoded = new ArrayList<>();

    private VideoEncoder(Session session, VideoCodec codec, int index, Rendition rendition) {
        super(session);
        this.codec = codec;
        this.index = index;
        this.rendition = rendition;
    }

    public VideoCodec codec() {
        return codec;
    }

    /** The encoder's index in the session, as its log lines name it. */
    public int index() {
        return index;
    }

    public Rendition rendition() {
        return rendition;
    }

    /** Encodes the rendition's picture of buffer set 0 and hands over the packets that are ready. */
    public <X extends Exception> int encode(PacketSink<? super VideoPacket, X> sink) throws X {
        return encode(0, false, sink);
    }

    /**
     * Encodes the rendition's picture of a buffer set, as a key frame if {@code keyFrame} (else with the
     * source frame's own type), and hands over the packets that are ready.
     *
     * @return the number of packets
     */
    public <X extends Exception> int encode(int set, boolean keyFrame, PacketSink<? super VideoPacket, X> sink)
            throws X {
        session.check(session.lib.videoEncoderAddFrame(session.handle(), index, set, rendition.item(),
                keyFrame ? 1 : 0), "videoEncoderAddFrame");
        return takePackets(sink);
    }

    /**
     * The input has ended: the encoder finishes every picture it still holds (lookahead, reordering, pictures
     * on a GPU) and hands over their packets, each with its own timecode. Call it once, after the decoder's
     * {@link VideoDecoder#endOfStream} has run its last pictures through; pictures after it are refused.
     *
     * @return the number of packets
     */
    public <X extends Exception> int endOfStream(PacketSink<? super VideoPacket, X> sink) throws X {
        session.check(session.lib.videoEncoderEndOfStream(session.handle(), index), "videoEncoderEndOfStream");
        return takePackets(sink);
    }

    /** Hands over the packets that are ready without giving the encoder a picture. */
    public <X extends Exception> int takePackets(PacketSink<? super VideoPacket, X> sink) throws X {
        encoded.clear();
        session.check(session.lib.videoEncoderGetEncodedFrames(session.handle(), index, encoded),
                "videoEncoderGetEncodedFrames");
        int count = encoded.size();
        for (int i = 0; i < count; i++) {
            TranscoderPacket p = encoded.get(i);
            sink.accept(new VideoPacket(p.buffer, p.timecode, PictureType.of(p.frameType)));
        }
        encoded.clear();
        return count;
    }

    @Override
    long setParameters(TranscoderNativeParameterValue[] values) {
        return session.lib.videoEncoderSetParameterValues(session.handle(), index, values);
    }

    @Override
    long getParameters(TranscoderNativeParameterValue[] values) {
        return session.lib.videoEncoderGetParameterValues(session.handle(), index, values);
    }

    @Override
    String exportPrefix() {
        return "videoEncoder";
    }
}
