package com.corvane.cvx.transcoder.model;

import java.util.List;

/**
 * The whole interface of the native transcoder. One session per stream: its
 * handle is the first argument of every method but {@link #nativeInitialize}
 * and {@link #createInstance}. Statuses: 0 success; -1 (a failure found at the
 * boundary, such as a zero handle) and 4294967295 (a failure reported by the
 * session) both mean failure.
 *
 * <p>Calls on one session must be serialised by the host, except
 * {@link #getLogStatements} and the two overlay setters, which may run beside
 * the others. Call {@link #nativeInitialize} once, before any concurrency.
 *
 * <p>The library is loaded from the path in the system property
 * {@code cvx.transcoder.library} when set, else from the copy bundled in the
 * jar for this platform (extracted once into a per-user cache), else by name
 * from {@code java.library.path}.
 */
public class TranscoderSessionNative {
    /** Success. */
    public static final long STATUS_OK = 0L;
    /** A failure found at the boundary itself. */
    public static final long STATUS_BOUNDARY_FAILURE = -1L;
    /** A failure reported by the session (its -1 as an unsigned 32-bit value). */
    public static final long STATUS_SESSION_FAILURE = 4294967295L;

    public static final long FOURCC_YV12 = 0x32315659L;
    public static final long FOURCC_I420 = 0x30323449L;
    public static final long FOURCC_BGRA = 0x41524742L;

    // Codec and implementation numbers, the same as the library's own list.
    public static final long VIDEO_CODEC_SORENSON_SPARK = 2;
    public static final long VIDEO_CODEC_H264 = 7;
    /** Encoders only. */
    public static final long VIDEO_CODEC_VP8 = 8;
    public static final long VIDEO_CODEC_H263 = 9;
    public static final long VIDEO_CODEC_MPEG4_PART2 = 10;
    public static final long VIDEO_CODEC_MPEG2 = 11;

    /** The implementation number chooses the layer: {@link #AUDIO_IMPLEMENTATION_MP3} or any other. */
    public static final long AUDIO_CODEC_MPEG_AUDIO = 2;
    public static final long AUDIO_CODEC_G711_ALAW = 7;
    public static final long AUDIO_CODEC_G711_MULAW = 8;
    /** Encoders only. */
    public static final long AUDIO_CODEC_VORBIS = 9;
    public static final long AUDIO_CODEC_AAC = 10;
    public static final long AUDIO_CODEC_SPEEX = 11;

    /** H.264 only; every other implementation number is the default software codec. */
    public static final long VIDEO_IMPLEMENTATION_QUICK_SYNC = 1;
    /** The same number means something else to decoders and to encoders. */
    public static final long VIDEO_DECODER_IMPLEMENTATION_QUICK_SYNC_SOFTWARE = 2;
    public static final long VIDEO_ENCODER_IMPLEMENTATION_CUDA = 2;
    /** MPEG audio layer III; any other implementation number gives layers I and II. */
    public static final long AUDIO_IMPLEMENTATION_MP3 = 3;

    static {
        NativeLibraryLoader.load();
    }

    /** True for both failure forms. */
    public static boolean failed(long status) {
        return status != STATUS_OK;
    }

    // Session lifetime and log.
    public native long nativeInitialize();

    public native long createInstance();

    public native long destroyInstance(long session);

    public native long getLogStatements(long session, List<TranscoderLogStatement> statements);

    // Audio decoder.
    public native long audioDecoderCreate(long session, long codec, long implementation, long sampleFormat);

    public native long audioDecoderCreate(long session, long codec, long implementation);

    public native long audioDecoderSetParameterValues(long session, TranscoderNativeParameterValue[] values);

    public native long audioDecoderGetParameterValues(long session, TranscoderNativeParameterValue[] values);

    public native long audioDecoderInitialize(long session);

    public native long audioDecoderDecodeCodecConfig(long session, byte[] data, long offset, long length);

    public native long audioDecoderIsFirstFrameDecoded(long session);

    public native long audioDecoderDecodeFirstFrame(long session, byte[] data, long offset, long length);

    public native long audioDecoderDecodeFrame(long session, byte[] data, long offset, long length, long timecode,
            long bufferIndex);

    public native long audioDecoderResetDecodedFrameState(long session);

    public native long audioDecoderGetSampleRate(long session, TranscoderLongByReference value);

    public native long audioDecoderGetChannels(long session, TranscoderLongByReference value);

    public native long audioDecoderBuffersCreate(long session, long count);

    public native long audioDecoderBuffersAllocate(long session, long sampleCount, long channels, long sampleRate);

    // Audio encoders.
    public native long audioEncoderAdd(long session, long codec, long implementation, TranscoderLongByReference index);

    public native long audioEncoderSetSampleRate(long session, long encoderIndex, long sampleRate);

    public native long audioEncoderSetChannels(long session, long encoderIndex, long channels);

    public native long audioEncoderSetQuality(long session, long encoderIndex, double quality);

    public native long audioEncoderSetBitrate(long session, long encoderIndex, long bitrate);

    public native long audioEncoderSetParameterValues(long session, long encoderIndex,
            TranscoderNativeParameterValue[] values);

    public native long audioEncoderGetParameterValues(long session, long encoderIndex,
            TranscoderNativeParameterValue[] values);

    public native long audioEncoderInitialize(long session, long encoderIndex);

    public native long audioEncoderGetHeaders(long session, long encoderIndex, List<TranscoderPacket> packets);

    public native long audioEncoderAddSampleBuffer(long session, long encoderIndex, long bufferIndex,
            List<TranscoderPacket> packets);

    /**
     * The input has ended: the encoder encodes the samples it still holds and appends its last packets.
     * Buffers after it are refused. Call once, after the last {@link #audioEncoderAddSampleBuffer}.
     */
    public native long audioEncoderEndOfStream(long session, long encoderIndex, List<TranscoderPacket> packets);

    // Video decoder.
    public native long videoDecoderCreate(long session, long codec, long implementation, long fourcc);

    public native long videoDecoderCreate(long session, long codec, long implementation);

    public native long videoDecoderBuffersCreate(long session, long count);

    /** Reads a decoder frame as top-down BGRA into a host frame object (see {@link TranscoderVideoFrame}). */
    public native long videoDecoderBufferGetVideoFrame(long session, long bufferIndex, Object frame);

    /** Installs (or with null removes) an overlay on the decoder frames (see {@link TranscoderOverlayFrame}). */
    public native long videoDecoderBufferSetOverlayVideoFrame(long session, long key, Object overlay);

    public native long videoDecoderSetGPUID(long session, long gpuId);

    public native long videoDecoderSetParameterValues(long session, TranscoderNativeParameterValue[] values);

    public native long videoDecoderGetParameterValues(long session, TranscoderNativeParameterValue[] values);

    public native long videoDecoderInitialize(long session);

    public native long videoDecoderDecodeCodecConfig(long session, byte[] data, long offset, long length);

    public native long videoDecoderAddFrame(long session, byte[] data, long offset, long length, long timecode,
            long frameType);

    public native long videoDecoderDecode(long session, long bufferIndex, TranscoderLongByReference flags);

    public native long videoDecoderTransferFrame(long session, long bufferIndex, long setIndex);

    /**
     * The input has ended: {@link #videoDecoderDecode} then gives out the pictures the decoder still holds,
     * as any picture, and sets flag 1 only once none is left. Frames after it are refused. Call once.
     */
    public native long videoDecoderEndOfStream(long session);

    // Video encoder buffers.
    public native long videoEncoderBufferSetsCreate(long session, long count);

    public native long videoEncoderBufferAdd(long session, long width, long height, long scaleMode, long fourcc,
            TranscoderLongByReference index);

    public native long videoEncoderBufferAdd(long session, long width, long height, long scaleMode,
            TranscoderLongByReference index);

    public native long videoEncoderBufferGetVideoFrame(long session, long setIndex, long itemIndex, Object frame);

    public native long videoEncoderBufferSetOverlayVideoFrame(long session, long itemIndex, long key, Object overlay);

    public native long videoEncoderBufferSetCrop(long session, long itemIndex, long[] values);

    public native long videoEncoderBufferSetSourceRect(long session, long itemIndex, long[] values);

    // Video encoders.
    public native long videoEncoderAdd(long session, long codec, long implementation, TranscoderLongByReference index);

    public native long videoEncoderSetDefaults(long session, long encoderIndex, long first, long second);

    public native long videoEncoderSetBitrate(long session, long encoderIndex, long bitrate);

    public native long videoEncoderSetFrameSize(long session, long encoderIndex, long width, long height);

    public native long videoEncoderSetKeyFrameFollow(long session, long encoderIndex, boolean follow);

    public native long videoEncoderSetFrameRate(long session, long encoderIndex, double framesPerSecond);

    public native long videoEncoderSetParameterValues(long session, long encoderIndex,
            TranscoderNativeParameterValue[] values);

    public native long videoEncoderGetParameterValues(long session, long encoderIndex,
            TranscoderNativeParameterValue[] values);

    public native long videoEncoderInitialize(long session, long encoderIndex);

    public native long videoEncoderSetGPUID(long session, long encoderIndex, long gpuId);

    public native long videoEncoderAddFrame(long session, long encoderIndex, long setIndex, long itemIndex,
            long frameTypeHint);

    public native long videoEncoderGetEncodedFrames(long session, long encoderIndex, List<TranscoderPacket> packets);

    /**
     * The input has ended: the encoder finishes every frame it still holds (lookahead, reordering, frames on
     * the GPU); take their packets with {@link #videoEncoderGetEncodedFrames}. Frames after it are refused.
     * Call once, after the decoder's last picture went through.
     */
    public native long videoEncoderEndOfStream(long session, long encoderIndex);
}
