// The audio family of exports.
#include <vector>

#include "com_corvane_cvx_transcoder_model_TranscoderSessionNative.h"
#include "native/JniSupport.h"
#include "native/PacketExchange.h"

using namespace cvx;

extern "C" {

CVX_EXPORT(audioDecoderCreate__JJJJ)(JNIEnv*, jobject, jlong handle, jlong codec, jlong implementation,
                                     jlong sampleFormat) {
  return callSession(handle, "TranscoderSessionNative::audioDecoderCreate: ", -1, -1, [&](TranscoderSession& s) {
    return s.audioDecoderCreate(low32(codec), low32(implementation), low32(sampleFormat));
  });
}

CVX_EXPORT(audioDecoderCreate__JJJ)(JNIEnv*, jobject, jlong handle, jlong codec, jlong implementation) {
  return callSession(handle, "TranscoderSessionNative::audioDecoderCreate: ", -1, -1, [&](TranscoderSession& s) {
    return s.audioDecoderCreate(low32(codec), low32(implementation));
  });
}

CVX_EXPORT(audioDecoderInitialize)(JNIEnv*, jobject, jlong handle) {
  return callSession(handle, "TranscoderSessionNative::audioDecoderInitialize: ", -1, -1,
                     [](TranscoderSession& s) { return s.audioDecoderInitialize(); });
}

CVX_EXPORT(audioDecoderDecodeCodecConfig)(JNIEnv* env, jobject, jlong handle, jbyteArray data, jlong offset,
                                          jlong length) {
  return forwardHostBytes(env, handle, HostBytes::kCopyFirst, data, offset, length,
                          "TranscoderSessionNative::audioDecoderDecodeCodecConfig: ",
                          "TranscoderSessionNative::audioDecoderDecodeCodecConfig[free]: ",
                          [](TranscoderSession& s, MallocBlock& block, uint32_t total) {
                            return s.audioDecoderDecodeCodecConfig(block.get(), 0, total);
                          });
}

CVX_EXPORT(audioDecoderIsFirstFrameDecoded)(JNIEnv*, jobject, jlong handle) {
  return callSession(handle, "TranscoderSessionNative::audioDecoderIsFirstFrameDecoded: ", 0, 0,
                     [](TranscoderSession& s) { return s.audioDecoderIsFirstFrameDecoded(); });
}

CVX_EXPORT(audioDecoderDecodeFirstFrame)(JNIEnv* env, jobject, jlong handle, jbyteArray data, jlong offset,
                                         jlong length) {
  return forwardHostBytes(env, handle, HostBytes::kBehindHeaderRoom, data, offset, length,
                          "TranscoderSessionNative::audioDecoderDecodeFirstFrame: ",
                          "TranscoderSessionNative::audioDecoderDecodeFirstFrame[free]: ",
                          [](TranscoderSession& s, MallocBlock& block, uint32_t total) {
                            return s.audioDecoderDecodeFirstFrame(block.get(), 0, total);
                          });
}

CVX_EXPORT(audioDecoderDecodeFrame)(JNIEnv* env, jobject, jlong handle, jbyteArray data, jlong offset, jlong length,
                                    jlong timecode, jlong bufferIndex) {
  return forwardHostBytes(env, handle, HostBytes::kBehindHeaderRoom, data, offset, length,
                          "TranscoderSessionNative::audioDecoderDecodeFrame: ",
                          "TranscoderSessionNative::audioDecoderDecodeFrame[free]: ",
                          [&](TranscoderSession& s, MallocBlock& block, uint32_t total) {
                            return s.audioDecoderDecodeFrame(block.get(), 0, total, static_cast<uint64_t>(timecode),
                                                             low32(bufferIndex));
                          });
}

CVX_EXPORT(audioDecoderResetDecodedFrameState)(JNIEnv*, jobject, jlong handle) {
  return callSession(handle, "TranscoderSessionNative::audioDecoderResetDecodedFrameState: ", -1, -1,
                     [](TranscoderSession& s) { return s.audioDecoderResetDecodedFrameState(); });
}

CVX_EXPORT(audioDecoderGetSampleRate)(JNIEnv* env, jobject, jlong handle, jobject value) {
  return callSessionWithOut(env, handle, "TranscoderSessionNative::audioDecoderGetSampleRate: ", value,
                            [](TranscoderSession& s, uint32_t& rate) { return s.audioDecoderGetSampleRate(rate); });
}

CVX_EXPORT(audioDecoderGetChannels)(JNIEnv* env, jobject, jlong handle, jobject value) {
  // This handler's label names its neighbour; hosts may match on it.
  return callSessionWithOut(env, handle, "TranscoderSessionNative::audioDecoderGetSampleRate: ", value,
                            [](TranscoderSession& s, uint32_t& channels) { return s.audioDecoderGetChannels(channels); });
}

CVX_EXPORT(audioDecoderBuffersCreate)(JNIEnv*, jobject, jlong handle, jlong count) {
  return callSession(handle, "TranscoderSessionNative::audioDecoderBuffersCreate: ", -1, -1,
                     [&](TranscoderSession& s) { return s.audioDecoderBuffersCreate(low32(count)); });
}

CVX_EXPORT(audioDecoderBuffersAllocate)(JNIEnv*, jobject, jlong handle, jlong sampleCount, jlong channels,
                                        jlong sampleRate) {
  return callSession(handle, "TranscoderSessionNative::audioDecoderBuffersAllocate: ", -1, -1,
                     [&](TranscoderSession& s) {
                       return s.audioDecoderBuffersAllocate(low32(sampleCount), low32(channels), low32(sampleRate));
                     });
}

CVX_EXPORT(audioEncoderAdd)(JNIEnv* env, jobject, jlong handle, jlong codec, jlong implementation, jobject index) {
  return callSessionWithOut(env, handle, "TranscoderSessionNative::audioEncoderAdd: ", index,
                            [&](TranscoderSession& s, uint32_t& newIndex) {
                              return s.audioEncoderAdd(low32(codec), low32(implementation), newIndex);
                            });
}

CVX_EXPORT(audioEncoderSetSampleRate)(JNIEnv*, jobject, jlong handle, jlong encoderIndex, jlong sampleRate) {
  return callSession(handle, "TranscoderSessionNative::audioEncoderSetSampleRate: ", -1, -1,
                     [&](TranscoderSession& s) {
                       return s.audioEncoderSetSampleRate(low32(encoderIndex), low32(sampleRate));
                     });
}

CVX_EXPORT(audioEncoderSetChannels)(JNIEnv*, jobject, jlong handle, jlong encoderIndex, jlong channels) {
  return callSession(handle, "TranscoderSessionNative::audioEncoderSetChannels: ", -1, -1, [&](TranscoderSession& s) {
    return s.audioEncoderSetChannels(low32(encoderIndex), low32(channels));
  });
}

CVX_EXPORT(audioEncoderSetQuality)(JNIEnv*, jobject, jlong handle, jlong encoderIndex, jdouble quality) {
  return callSession(handle, "TranscoderSessionNative::audioEncoderSetQuality: ", -1, -1, [&](TranscoderSession& s) {
    return s.audioEncoderSetQuality(low32(encoderIndex), quality);
  });
}

CVX_EXPORT(audioEncoderSetBitrate)(JNIEnv*, jobject, jlong handle, jlong encoderIndex, jlong bitrate) {
  return callSession(handle, "TranscoderSessionNative::audioEncoderSetBitrate: ", -1, -1, [&](TranscoderSession& s) {
    return s.audioEncoderSetBitrate(low32(encoderIndex), low32(bitrate));
  });
}

CVX_EXPORT(audioEncoderInitialize)(JNIEnv*, jobject, jlong handle, jlong encoderIndex) {
  return callSession(handle, "TranscoderSessionNative::audioEncoderInitialize: ", -1, -1,
                     [&](TranscoderSession& s) { return s.audioEncoderInitialize(low32(encoderIndex)); });
}

CVX_EXPORT(audioEncoderGetHeaders)(JNIEnv* env, jobject, jlong handle, jlong encoderIndex, jobject packets) {
  // Header frames are the encoder's copies: they go with the local list.
  return forwardPackets<AudioFrameEncoded>(env, handle, "TranscoderSessionNative::audioEncoderGetHeaders: ", packets,
                                           [&](TranscoderSession& s, std::vector<AudioFrameEncoded>& frames) {
                                             return s.audioEncoderGetHeaders(low32(encoderIndex), frames);
                                           });
}

CVX_EXPORT(audioEncoderAddSampleBuffer)(JNIEnv* env, jobject, jlong handle, jlong encoderIndex, jlong bufferIndex,
                                        jobject packets) {
  return forwardPackets<AudioFrameEncoded>(
      env, handle, "TranscoderSessionNative::audioEncoderAddSampleBuffer: ", packets,
      [&](TranscoderSession& s, std::vector<AudioFrameEncoded>& frames) {
        return s.audioEncoderAddSampleBuffer(low32(encoderIndex), low32(bufferIndex), frames);
      });
}

CVX_EXPORT(audioEncoderEndOfStream)(JNIEnv* env, jobject, jlong handle, jlong encoderIndex, jobject packets) {
  return forwardPackets<AudioFrameEncoded>(env, handle, "TranscoderSessionNative::audioEncoderEndOfStream: ",
                                           packets, [&](TranscoderSession& s, std::vector<AudioFrameEncoded>& frames) {
                                             return s.audioEncoderEndOfStream(low32(encoderIndex), frames);
                                           });
}

}  // extern "C"
