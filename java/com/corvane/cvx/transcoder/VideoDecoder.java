package com.corvane.cvx.transcoder;

import com.corvane.cvx.transcoder.model.TranscoderLongByReference;
import com.corvane.cvx.transcoder.model.TranscoderNativeParameterValue;
import com.corvane.cvx.transcoder.model.TranscoderVideoFrame;

import java.util.Optional;

/**
 * The session's video decoder. Feed it compressed frames in decode order; it gives out pictures in display
 * order, each into a decoder buffer, and tells a {@link PictureSink} which one.
 */
public final class VideoDecoder extends Codec {
    /** {@code videoDecoderDecode} flags. */
    private static final long FLAG_INPUT_EMPTY = 1;
    private static final long FLAG_PICTURE = 4;
    private static final long FLAG_NOT_SHOWN = 8;
    /** One frame gives a handful of reports; far more means the decoder has stopped saying it is done. */
    private static final int MAX_REPORTS_PER_FRAME = 1024;

    /** Opens the decoder: {@link Session#videoDecoder(VideoCodec)}. */
    public static final class Builder extends CodecBuilder<Builder> {
        private final VideoCodec codec;
        private VideoDecoderImplementation implementation = VideoDecoderImplementation.SOFTWARE;
        private PixelFormat pixelFormat;
        private int buffers = 1;
        private Integer gpu;

        Builder(Session session, VideoCodec codec) {
            super(session);
            this.codec = codec;
        }

        public Builder implementation(VideoDecoderImplementation implementation) {
            this.implementation = implementation;
            return this;
        }

        /** The layout of the decoder's pictures and of renditions that name none; YV12 when not given. */
        public Builder pixelFormat(PixelFormat format) {
            this.pixelFormat = format;
            return this;
        }

        /** Decoder buffers: a host that keeps several decoded pictures alive rotates among them. Default 1. */
        public Builder buffers(int count) {
            if (count < 1) {
                throw new IllegalArgumentException("decoder buffers: " + count);
            }
            this.buffers = count;
            return this;
        }

        /** The GPU of a hardware decoder. */
        public Builder gpu(int id) {
            this.gpu = id;
            return this;
        }

        /** Decoding threads, 1 to 16 ({@link VideoDecoderSettings#THREADS}). */
        public Builder threads(int count) {
            return set(VideoDecoderSettings.THREADS, count);
        }

        /** Creates, sizes and initialises the decoder. */
        public VideoDecoder open() {
            var lib = session.lib;
            long h = session.handle();
            long status = pixelFormat == null ? lib.videoDecoderCreate(h, codec.number(), implementation.number())
                    : lib.videoDecoderCreate(h, codec.number(), implementation.number(), pixelFormat.fourcc());
            session.check(status, "videoDecoderCreate");
            session.nameContext(LogEntry.Source.VIDEO_DECODER, 0, name);
            VideoDecoder decoder = new VideoDecoder(session, codec, buffers);
            session.check(lib.videoDecoderBuffersCreate(h, buffers), "videoDecoderBuffersCreate");
            if (gpu != null) {
                session.check(lib.videoDecoderSetGPUID(h, gpu), "videoDecoderSetGPUID");
            }
            decoder.apply(parameterArray());
            session.check(lib.videoDecoderInitialize(h), "videoDecoderInitialize");
            return decoder;
        }
    }

    private final VideoCodec codec;
    private final int buffers;
    private final TranscoderLongByReference flags = new TranscoderLongByReference();

    private VideoDecoder(Session session, VideoCodec codec, int buffers) {
        super(session);
        this.codec = codec;
        this.buffers = buffers;
    }

    public VideoCodec codec() {
        return codec;
    }

    public int bufferCount() {
        return buffers;
    }

    /**
     * The stream's configuration (H.264: the decoder configuration record). It sizes the decoder buffers and
     * gives the stream's frame rate to the encoders that exist by then.
     */
    public void decodeCodecConfig(byte[] config, int offset, int length) {
        session.check(session.lib.videoDecoderDecodeCodecConfig(session.handle(), config, offset, length),
                "videoDecoderDecodeCodecConfig");
    }

    public void decodeCodecConfig(byte[] config) {
        decodeCodecConfig(config, 0, config.length);
    }

    /** {@link #decode(byte[], int, int, long, FrameType, int, PictureSink)} into decoder buffer 0. */
    public <X extends Exception> int decode(byte[] data, long timecode, FrameType type, PictureSink<X> sink)
            throws X {
        return decode(data, 0, data.length, timecode, type, 0, sink);
    }

    /**
     * Decodes one compressed frame (H.264: 4-byte length-prefixed NAL units) and tells {@code sink} of every
     * picture it brings out, in display order, each in {@code buffer}. The library takes its own copy of the
     * bytes: the array is the caller's again when this returns.
     *
     * @param timecode milliseconds; every picture and packet made from this frame carries it
     * @return the number of pictures
     */
    public <X extends Exception> int decode(byte[] data, int offset, int length, long timecode, FrameType type,
            int buffer, PictureSink<X> sink) throws X {
        checkBuffer(buffer);
        session.check(session.lib.videoDecoderAddFrame(session.handle(), data, offset, length, timecode,
                type.number()), "videoDecoderAddFrame");
        return pictures(buffer, sink);
    }

    /** {@link #endOfStream(int, PictureSink)} into decoder buffer 0. */
    public <X extends Exception> int endOfStream(PictureSink<X> sink) throws X {
        return endOfStream(0, sink);
    }

    /**
     * The input has ended: tells {@code sink} of every picture the decoder still holds (its reordering
     * window), in display order, each in {@code buffer}, as {@link #decode} does. Call it once, after the last
     * frame, and then {@link VideoEncoder#endOfStream} on each encoder; frames after it are refused.
     *
     * @return the number of pictures
     */
    public <X extends Exception> int endOfStream(int buffer, PictureSink<X> sink) throws X {
        checkBuffer(buffer);
        session.check(session.lib.videoDecoderEndOfStream(session.handle()), "videoDecoderEndOfStream");
        return pictures(buffer, sink);
    }

    /** Runs the decoder until it has taken all its input, telling the sink of each picture shown. */
    private <X extends Exception> int pictures(int buffer, PictureSink<X> sink) throws X {
        int shown = 0;
        for (int reports = 0; reports < MAX_REPORTS_PER_FRAME; reports++) {
            flags.value = 0;
            session.check(session.lib.videoDecoderDecode(session.handle(), buffer, flags), "videoDecoderDecode");
            long f = flags.value;
            if ((f & FLAG_PICTURE) != 0 && (f & FLAG_NOT_SHOWN) == 0) {
                shown++;
                sink.picture(buffer);
            }
            if ((f & FLAG_INPUT_EMPTY) != 0) {
                return shown;
            }
        }
        throw new IllegalStateException("the video decoder reported " + MAX_REPORTS_PER_FRAME
                + " times without taking its input");
    }

    /**
     * Scales the picture in {@code buffer} into every rendition of buffer set {@code set}, with the decoder's
     * overlays and then each rendition's. Encode the renditions after this.
     */
    public void transfer(int buffer, int set) {
        session.check(session.lib.videoDecoderTransferFrame(session.handle(), buffer, set),
                "videoDecoderTransferFrame");
    }

    /** Into set 0. */
    public void transfer(int buffer) {
        transfer(buffer, 0);
    }

    /** The picture in a decoder buffer as top-down BGRA at its own size; empty before the first picture. */
    public Optional<BgraPicture> readBgra(int buffer) {
        TranscoderVideoFrame frame = new TranscoderVideoFrame();
        session.lib.videoDecoderBufferGetVideoFrame(session.handle(), buffer, frame);
        return BgraPicture.of(frame);
    }

    private void checkBuffer(int buffer) {
        if (buffer < 0 || buffer >= buffers) {
            throw new IndexOutOfBoundsException("decoder buffer " + buffer + " of " + buffers);
        }
    }

    @Override
    long setParameters(TranscoderNativeParameterValue[] values) {
        return session.lib.videoDecoderSetParameterValues(session.handle(), values);
    }

    @Override
    long getParameters(TranscoderNativeParameterValue[] values) {
        return session.lib.videoDecoderGetParameterValues(session.handle(), values);
    }

    @Override
    String exportPrefix() {
        return "videoDecoder";
    }
}
