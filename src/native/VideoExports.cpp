// The video family of exports.
#include <utility>
#include <vector>

#include "com_corvane_cvx_transcoder_model_TranscoderSessionNative.h"
#include "native/JniSupport.h"
#include "native/PacketExchange.h"
#include "native/PictureExchange.h"
#include "video/frames/VideoOverlayFrame.h"

using namespace cvx;

namespace {

// Crop and source rectangle values: at most four elements, narrowed to 32
// bits; an absent or empty array, or a failed fetch, gives none.
std::size_t readRectangle(JNIEnv* env, jlongArray values, uint32_t (&out)[4]) {
  if (values == nullptr) return 0;
  const jsize length = env->GetArrayLength(values);
  if (length < 1) return 0;
  ArrayElements<jlongArray> elements(env, values, JNI_ABORT);
  if (!elements) return 0;
  // More than four would overrun the rectangle: the rest is ignored.
  const std::size_t count = length < 4 ? static_cast<std::size_t>(length) : 4;
  for (std::size_t i = 0; i < count; ++i) out[i] = static_cast<uint32_t>(elements.get()[i]);
  return count;
}

// The rectangle setters: values are read before the handle is tested, and
// the host sees 0 whatever the session answered (its own handler reports).
template <class Set>
jlong forwardRectangle(JNIEnv* env, jlong handle, jlongArray values, Set&& set) {
  uint32_t rectangle[4] = {0, 0, 0, 0};
  const std::size_t count = readRectangle(env, values, rectangle);
  if (TranscoderSession* session = sessionFromHandle(handle)) set(*session, count > 0 ? rectangle : nullptr, count);
  return 0;
}

}  // namespace

extern "C" {

CVX_EXPORT(videoDecoderCreate__JJJJ)(JNIEnv*, jobject, jlong handle, jlong codec, jlong implementation,
                                     jlong fourcc) {
  return callSession(handle, "TranscoderSessionNative::videoDecoderCreate: ", -1, -1, [&](TranscoderSession& s) {
    return s.videoDecoderCreate(low32(codec), low32(implementation), low32(fourcc));
  });
}

CVX_EXPORT(videoDecoderCreate__JJJ)(JNIEnv*, jobject, jlong handle, jlong codec, jlong implementation) {
  return callSession(handle, "TranscoderSessionNative::videoDecoderCreate: ", -1, -1, [&](TranscoderSession& s) {
    return s.videoDecoderCreate(low32(codec), low32(implementation));
  });
}

CVX_EXPORT(videoDecoderBuffersCreate)(JNIEnv*, jobject, jlong handle, jlong count) {
  return callSession(handle, "TranscoderSessionNative::videoDecoderBuffersCreate: ", -1, -1,
                     [&](TranscoderSession& s) { return s.videoDecoderBuffersCreate(low32(count)); });
}

CVX_EXPORT(videoDecoderBufferGetVideoFrame)(JNIEnv* env, jobject, jlong handle, jlong bufferIndex, jobject frame) {
  TranscoderSession* session = sessionFromHandle(handle);
  if (session == nullptr) return 0;
  return guardExport("TranscoderSessionNative::videoDecoderBufferGetVideoFrame: ", -1, [&] {
    readPicture(env, frame, [&](uint8_t* buffer, uint64_t capacity, uint64_t& size, uint32_t& w, uint32_t& h,
                                int64_t& timecode) {
      return session->videoDecoderGetFrameBGRA(low32(bufferIndex), buffer, capacity, size, w, h, timecode);
    });
    return jlong{0};
  });
}

CVX_EXPORT(videoDecoderBufferSetOverlayVideoFrame)(JNIEnv* env, jobject, jlong handle, jlong key, jobject overlay) {
  TranscoderSession* session = sessionFromHandle(handle);
  if (session == nullptr) return 0;
  guardExport("TranscoderSessionNative::videoDecoderBufferSetOverlayVideoFrame: ", 0, [&] {
    if (overlay == nullptr) {
      session->videoDecoderBufferSetOverlayVideoFrame(low32(key), nullptr);
    } else if (auto frame = readOverlay(env, overlay)) {
      session->videoDecoderBufferSetOverlayVideoFrame(low32(key), std::move(frame));
    }
    return jlong{0};
  });
  return 0;
}

CVX_EXPORT(videoDecoderSetGPUID)(JNIEnv*, jobject, jlong handle, jlong gpuId) {
  const jlong status = callSession(handle, "TranscoderSessionNative::videoDecoderSetGPUID: ", -1, -1,
                                   [&](TranscoderSession& s) {
                                     s.videoDecoderSetGPUID(static_cast<int>(gpuId));
                                     return 0u;
                                   });
  return status;
}

CVX_EXPORT(videoDecoderInitialize)(JNIEnv*, jobject, jlong handle) {
  return callSession(handle, "TranscoderSessionNative::videoDecoderInitialize: ", -1, -1,
                     [](TranscoderSession& s) { return s.videoDecoderInitialize(); });
}

CVX_EXPORT(videoDecoderDecodeCodecConfig)(JNIEnv* env, jobject, jlong handle, jbyteArray data, jlong offset,
                                          jlong length) {
  // What the decoder would refuse is not copied.
  if (TranscoderSession* session = sessionFromHandle(handle)) {
    if (const uint32_t status = session->videoDecoderCheckLength(length, true)) return widenStatus(status);
  }
  return forwardHostBytes(env, handle, HostBytes::kCopyFirst, data, offset, length,
                          "TranscoderSessionNative::videoDecoderDecodeCodecConfig: ",
                          "TranscoderSessionNative::videoDecoderDecodeCodecConfig[free]: ",
                          [](TranscoderSession& s, MallocBlock& block, uint32_t total) {
                            return s.videoDecoderDecodeCodecConfig(block.get(), 0, total);
                          });
}

CVX_EXPORT(videoDecoderAddFrame)(JNIEnv* env, jobject, jlong handle, jbyteArray data, jlong offset, jlong length,
                                 jlong timecode, jlong frameType) {
  if (TranscoderSession* session = sessionFromHandle(handle)) {
    if (const uint32_t status = session->videoDecoderCheckLength(length, false)) return widenStatus(status);
  }
  // The decoder reads the frame's bytes over the decode calls that follow:
  // the session keeps the block until then.
  return forwardHostBytes(env, handle, HostBytes::kCopyFirst, data, offset, length,
                          "TranscoderSessionNative::videoDecoderAddFrame: ",
                          "TranscoderSessionNative::videoDecoderAddFrame[free]: ",
                          [&](TranscoderSession& s, MallocBlock& block, uint32_t total) {
                            return s.videoDecoderAddFrame(std::move(block), total, static_cast<int64_t>(timecode),
                                                          low32(frameType));
                          });
}

CVX_EXPORT(videoDecoderDecode)(JNIEnv* env, jobject, jlong handle, jlong bufferIndex, jobject flagsReference) {
  TranscoderSession* session = sessionFromHandle(handle);
  if (session == nullptr) return 0;
  uint32_t flags = 0;
  jlong status = 0;
  guardExport("TranscoderSessionNative::videoDecoderDecode: ", 0, [&] {
    status = widenStatus(session->videoDecoderDecode(low32(bufferIndex), flags));
    return status;
  });
  writeLongByReference(env, flagsReference, flags);
  return status;
}

CVX_EXPORT(videoDecoderEndOfStream)(JNIEnv*, jobject, jlong handle) {
  return callSession(handle, "TranscoderSessionNative::videoDecoderEndOfStream: ", -1, -1,
                     [](TranscoderSession& s) { return s.videoDecoderEndOfStream(); });
}

CVX_EXPORT(videoDecoderTransferFrame)(JNIEnv*, jobject, jlong handle, jlong bufferIndex, jlong setIndex) {
  return callSession(handle, "TranscoderSessionNative::videoDecoderTransferFrame: ", -1, -1,
                     [&](TranscoderSession& s) {
                       return s.videoDecoderTransferFrame(low32(bufferIndex), low32(setIndex));
                     });
}

CVX_EXPORT(videoEncoderBufferSetsCreate)(JNIEnv*, jobject, jlong handle, jlong count) {
  return callSession(handle, "TranscoderSessionNative::videoEncoderBufferSetsCreate: ", -1, -1,
                     [&](TranscoderSession& s) { return s.videoEncoderBufferSetsCreate(low32(count)); });
}

CVX_EXPORT(videoEncoderBufferAdd__JJJJJLcom_corvane_cvx_transcoder_model_TranscoderLongByReference_2)(
    JNIEnv* env, jobject, jlong handle, jlong width, jlong height, jlong scaleMode, jlong fourcc, jobject index) {
  return callSessionWithOut(env, handle, "TranscoderSessionNative::videoEncoderBufferAdd: ", index,
                            [&](TranscoderSession& s, uint32_t& newIndex) {
                              return s.VideoEncoderBufferAdd(low32(width), low32(height), low32(scaleMode),
                                                             low32(fourcc), newIndex);
                            });
}

CVX_EXPORT(videoEncoderBufferAdd__JJJJLcom_corvane_cvx_transcoder_model_TranscoderLongByReference_2)(
    JNIEnv* env, jobject, jlong handle, jlong width, jlong height, jlong scaleMode, jobject index) {
  return callSessionWithOut(env, handle, "TranscoderSessionNative::videoEncoderBufferAdd: ", index,
                            [&](TranscoderSession& s, uint32_t& newIndex) {
                              return s.VideoEncoderBufferAdd(low32(width), low32(height), low32(scaleMode), newIndex);
                            });
}

CVX_EXPORT(videoEncoderBufferGetVideoFrame)(JNIEnv* env, jobject, jlong handle, jlong setIndex, jlong itemIndex,
                                            jobject frame) {
  TranscoderSession* session = sessionFromHandle(handle);
  if (session == nullptr) return 0;
  // The label names the decoder's reader; hosts may match on it.
  return guardExport("TranscoderSessionNative::videoDecoderBufferGetVideoFrame: ", -1, [&] {
    readPicture(env, frame, [&](uint8_t* buffer, uint64_t capacity, uint64_t& size, uint32_t& w, uint32_t& h,
                                int64_t& timecode) {
      return session->videoEncoderGetFrameBGRA(low32(setIndex), low32(itemIndex), buffer, capacity, size, w, h,
                                               timecode);
    });
    return jlong{0};
  });
}

CVX_EXPORT(videoEncoderBufferSetOverlayVideoFrame)(JNIEnv* env, jobject, jlong handle, jlong itemIndex, jlong key,
                                                   jobject overlay) {
  TranscoderSession* session = sessionFromHandle(handle);
  if (session == nullptr) return 0;
  guardExport("TranscoderSessionNative::videoEncoderBufferSetOverlayVideoFrame: ", 0, [&] {
    if (overlay == nullptr) {
      session->videoEncoderBufferSetOverlayVideoFrame(low32(key), low32(itemIndex), nullptr);
    } else if (auto frame = readOverlay(env, overlay)) {
      session->videoEncoderBufferSetOverlayVideoFrame(low32(key), low32(itemIndex), std::move(frame));
    }
    return jlong{0};
  });
  return 0;
}

CVX_EXPORT(videoEncoderBufferSetCrop)(JNIEnv* env, jobject, jlong handle, jlong itemIndex, jlongArray values) {
  return forwardRectangle(env, handle, values, [&](TranscoderSession& s, const uint32_t* rectangle, std::size_t n) {
    s.videoEncoderSetCrop(low32(itemIndex), rectangle, n);
  });
}

CVX_EXPORT(videoEncoderBufferSetSourceRect)(JNIEnv* env, jobject, jlong handle, jlong itemIndex,
                                            jlongArray values) {
  return forwardRectangle(env, handle, values, [&](TranscoderSession& s, const uint32_t* rectangle, std::size_t n) {
    s.videoEncoderSetSrcRect(low32(itemIndex), rectangle, n);
  });
}

CVX_EXPORT(videoEncoderAdd)(JNIEnv* env, jobject, jlong handle, jlong codec, jlong implementation, jobject index) {
  return callSessionWithOut(env, handle, "TranscoderSessionNative::videoEncoderAdd: ", index,
                            [&](TranscoderSession& s, uint32_t& newIndex) {
                              return s.videoEncoderAdd(low32(codec), low32(implementation), newIndex);
                            });
}

CVX_EXPORT(videoEncoderSetDefaults)(JNIEnv*, jobject, jlong handle, jlong encoderIndex, jlong first, jlong second) {
  return callSession(handle, "TranscoderSessionNative::videoEncoderSetDefaults: ", -1, -1,
                     [&](TranscoderSession& s) {
                       return s.videoEncoderSetDefaults(low32(encoderIndex), low32(first), low32(second));
                     });
}

CVX_EXPORT(videoEncoderSetBitrate)(JNIEnv*, jobject, jlong handle, jlong encoderIndex, jlong bitrate) {
  return callSession(handle, "TranscoderSessionNative::videoEncoderSetBitrate: ", -1, -1, [&](TranscoderSession& s) {
    return s.videoEncoderSetBitrate(low32(encoderIndex), low32(bitrate));
  });
}

CVX_EXPORT(videoEncoderSetFrameSize)(JNIEnv*, jobject, jlong handle, jlong encoderIndex, jlong width, jlong height) {
  return callSession(handle, "TranscoderSessionNative::videoEncoderSetFrameSize: ", -1, -1,
                     [&](TranscoderSession& s) {
                       return s.videoEncoderSetFrameSize(low32(encoderIndex), low32(width), low32(height));
                     });
}

CVX_EXPORT(videoEncoderSetKeyFrameFollow)(JNIEnv*, jobject, jlong handle, jlong encoderIndex, jboolean follow) {
  return callSession(handle, "TranscoderSessionNative::videoEncoderSetKeyFrameFollow: ", -1, -1,
                     [&](TranscoderSession& s) {
                       return s.videoEncoderSetKeyFrameFollow(low32(encoderIndex), follow == JNI_TRUE);
                     });
}

CVX_EXPORT(videoEncoderSetFrameRate)(JNIEnv*, jobject, jlong handle, jlong encoderIndex, jdouble framesPerSecond) {
  return callSession(handle, "TranscoderSessionNative::videoEncoderSetFrameRate: ", -1, -1,
                     [&](TranscoderSession& s) {
                       return s.videoEncoderSetFrameRate(low32(encoderIndex), framesPerSecond);
                     });
}

CVX_EXPORT(videoEncoderInitialize)(JNIEnv*, jobject, jlong handle, jlong encoderIndex) {
  return callSession(handle, "TranscoderSessionNative::videoEncoderInitialize: ", -1, -1,
                     [&](TranscoderSession& s) { return s.videoEncoderInitialize(low32(encoderIndex)); });
}

CVX_EXPORT(videoEncoderSetGPUID)(JNIEnv*, jobject, jlong handle, jlong encoderIndex, jlong gpuId) {
  return callSession(handle, "TranscoderSessionNative::videoEncoderSetGPUID: ", -1, -1, [&](TranscoderSession& s) {
    s.videoEncoderSetGPUID(low32(encoderIndex), static_cast<int>(gpuId));
    return 0u;
  });
}

CVX_EXPORT(videoEncoderAddFrame)(JNIEnv*, jobject, jlong handle, jlong encoderIndex, jlong setIndex, jlong itemIndex,
                                 jlong frameTypeHint) {
  return callSession(handle, "TranscoderSessionNative::videoEncoderAddFrame: ", -1, -1, [&](TranscoderSession& s) {
    return s.videoEncoderAddFrame(low32(encoderIndex), low32(setIndex), low32(itemIndex), low32(frameTypeHint));
  });
}

CVX_EXPORT(videoEncoderGetEncodedFrames)(JNIEnv* env, jobject, jlong handle, jlong encoderIndex, jobject packets) {
  return forwardPackets<VideoFrameEncoded>(env, handle, "TranscoderSessionNative::videoEncoderGetEncodedFrames: ",
                                           packets, [&](TranscoderSession& s, std::vector<VideoFrameEncoded>& frames) {
                                             return s.videoEncoderGetEncodedFrames(low32(encoderIndex), frames);
                                           });
}

CVX_EXPORT(videoEncoderEndOfStream)(JNIEnv*, jobject, jlong handle, jlong encoderIndex) {
  return callSession(handle, "TranscoderSessionNative::videoEncoderEndOfStream: ", -1, -1,
                     [&](TranscoderSession& s) { return s.videoEncoderEndOfStream(low32(encoderIndex)); });
}

}  // extern "C"
