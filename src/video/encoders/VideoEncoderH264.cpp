#include "video/encoders/VideoEncoderH264.h"

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "logging/Guarded.h"
#include "media/CodecNumbers.h"
#include "video/frames/VideoFrameBuffer.h"

namespace cvx {

namespace {

// The library prints through callbacks it looks up by name. Ours format into
// a stack buffer and drop the text: the encoder's own failures reach the host
// through the log.
void dropMessage(const char* format, ...) {
  char text[256];
  va_list args;
  va_start(args, format);
  std::vsnprintf(text, sizeof(text), format, args);
  va_end(args);
}

void dropProgress(int32_t, const char* format, ...) {
  char text[256];
  va_list args;
  va_start(args, format);
  std::vsnprintf(text, sizeof(text), format, args);
  va_end(args);
}

// The library takes times in tenths of a millisecond. A timecode whose
// tenths do not fit 64 bits is held at the nearest one that does, and the
// end of a frame at the largest time; every other timecode is exact.
constexpr int64_t kTenthsPerMillisecond = 10;
constexpr int64_t kLatestTenths = INT64_MAX / kTenthsPerMillisecond * kTenthsPerMillisecond;
constexpr int64_t kEarliestTenths = INT64_MIN / kTenthsPerMillisecond * kTenthsPerMillisecond;

int64_t toTenths(int64_t milliseconds) {
  if (milliseconds > kLatestTenths / kTenthsPerMillisecond) return kLatestTenths;
  if (milliseconds < kEarliestTenths / kTenthsPerMillisecond) return kEarliestTenths;
  return milliseconds * kTenthsPerMillisecond;
}

int64_t endOfFrame(int64_t start, uint64_t duration) {
  const uint64_t room = static_cast<uint64_t>(INT64_MAX) - static_cast<uint64_t>(start);
  return duration >= room ? INT64_MAX : start + static_cast<int64_t>(duration);
}

H264GenericFunction resolveCallback(const char* name) {
  if (name == nullptr) return nullptr;
  if (std::strcmp(name, "err_printf") == 0 || std::strcmp(name, "wrn_printf") == 0 ||
      std::strcmp(name, "inf_printf") == 0) {
    return reinterpret_cast<H264GenericFunction>(&dropMessage);
  }
  if (std::strcmp(name, "prg_printf") == 0) return reinterpret_cast<H264GenericFunction>(&dropProgress);
  return nullptr;
}

// Byte positions in the settings record that the operations themselves write.
constexpr uint32_t kRateTolerance = 4;
constexpr uint32_t kKeyIntervalMax = 8;
constexpr uint32_t kIdrOnRequest = 12;
constexpr uint32_t kKeyIntervalMin = 16;
constexpr uint32_t kInterlaced = 20;
constexpr uint32_t kWidth = 24;
constexpr uint32_t kHeight = 28;
constexpr uint32_t kFrameRate = 32;
constexpr uint32_t kRateMode = 72;
constexpr uint32_t kBitrate = 80;
constexpr uint32_t kMaxBitrate = 84;
constexpr uint32_t kSceneCut = 2836;
constexpr uint32_t kOpenGop = 2856;
constexpr uint32_t kIntraRefresh = 4100;

}  // namespace

VideoEncoderH264::VideoEncoderH264() { codec = kVideoCodecH264; }

VideoEncoderH264::~VideoEncoderH264() noexcept(false) {
  if (encoder != nullptr) h264OutVideoDone(encoder.get(), 1);
  encoder.reset();
}

int VideoEncoderH264::setDefaults(uint32_t first, uint32_t second) {
  return guarded("VideoEncoderH264::setDefaults: ", [&] {
    h264OutVideoDefaults(settings.get(), first, second);
    settings.writeInt32(kInterlaced, 0);
    settings.writeInt32(kRateTolerance, 100);
    return 0;
  });
}

int VideoEncoderH264::setFrameSize(uint32_t width, uint32_t height) {
  return guarded("VideoEncoderH264::setFrameSize: ", [&] {
    settings.writeInt32(kWidth, static_cast<int32_t>(width));
    settings.writeInt32(kHeight, static_cast<int32_t>(height));
    return 0;
  });
}

int VideoEncoderH264::setFrameRate(double framesPerSecond) {
  return guarded("VideoEncoderH264::setFrameRate: ", [&] {
    settings.writeDouble(kFrameRate, framesPerSecond);
    // A rate of 0 or one that is not finite has no duration; the library's
    // check refuses such a rate.
    // Rates below one frame in 2^53 tenths would not convert: they count as none.
    const double tenths = 10000.0 / framesPerSecond + 0.5;
    frameDuration = std::isfinite(framesPerSecond) && framesPerSecond > 0.0 && tenths < 0x1p53
                        ? static_cast<uint64_t>(std::floor(tenths))
                        : 0;
    return 0;
  });
}

int VideoEncoderH264::setBitrate(uint32_t bitsPerSecond) {
  return guarded("VideoEncoderH264::setBitrate: ", [&] {
    settings.writeInt32(kRateMode, 2);
    settings.writeInt32(kBitrate, static_cast<int32_t>(bitsPerSecond));
    // In 64 bits: a 32-bit product wraps from about 39 Mbit/s on and would
    // cap the stream far below its target. The field holds the rest.
    const uint64_t maximum = uint64_t{bitsPerSecond} * 110u / 100u;
    settings.writeInt32(kMaxBitrate, static_cast<int32_t>(std::min<uint64_t>(maximum, INT32_MAX)));
    return 0;
  });
}

int VideoEncoderH264::setKeyFrameFollow(bool) {
  return guarded("VideoEncoderH264::setKeyFrameFollow: ", [&] {
    // The library's own key frame placement goes off; the source's key frames,
    // passed as requests, decide alone.
    settings.writeInt32(kSceneCut, 0);
    settings.writeInt32(kKeyIntervalMax, 0);
    settings.writeInt32(kIntraRefresh, 0);
    settings.writeInt32(kKeyIntervalMin, 0);
    settings.writeInt32(kOpenGop, 0);
    settings.writeInt32(kIdrOnRequest, 1);
    keyFrameFollow = true;
    return 0;
  });
}

int VideoEncoderH264::checkSettings() { return settings.checkSettings(); }

int VideoEncoderH264::initialize() {
  return guarded("VideoEncoderH264::initialize: ", [&] {
    if (encoder != nullptr) return -1;
    const int checked = settings.checkSettings();
    encoder.reset(h264OutVideoNew(&resolveCallback, settings.get(), 0, 0xFFFFFFFFu, 0, nullptr));
    if (encoder == nullptr) {
      logError("VideoEncoderH264.initialize[{context}]: h264OutVideoNew failed: ");
      return -1;
    }
    void* options[1] = {keyFrameRequest};
    if (h264OutVideoInit(encoder.get(), stream.getStream(), 4096, options) != 0) {
      logError("VideoEncoderH264.initialize[{context}]: h264OutVideoInit failed: ");
    }
    return checked;
  });
}

int VideoEncoderH264::setGPUID(int) { return 0; }

int VideoEncoderH264::addFrame(VideoFrameBuffer& frame, uint32_t frameTypeHint) {
  return guarded("VideoEncoderH264::addFrame: ", [&] {
    if (refusedAfterEnd("VideoEncoderH264") || encoder == nullptr) return -1;
    uint32_t hint = frameTypeHint;
    if (hint == 0) hint = static_cast<uint32_t>(frame.getFrameType());
    if (keyFrameFollow && hint == 1) {
      keyFrameRequest[0] = static_cast<int32_t>(frameCount);
      keyFrameRequest[1] = 0;
    }
    ++frameCount;
    time_stamp_info info{};
    info.start = toTenths(frame.getTimecode());
    info.stop = endOfFrame(info.start, frameDuration);
    info.hint = hint;
    info.reserved = 0;
    void* extInfo[1] = {&info};
    h264OutVideoPutFrame(encoder.get(), frame.getPlane(0), frame.getPlaneStride(0), frame.getWidth(),
                         frame.getHeight(), frame.getFourCC(), 0x10000000, extInfo);
    return 0;
  });
}

int VideoEncoderH264::endOfStream() {
  return guarded("VideoEncoderH264::endOfStream: ", [&] {
    if (!markEnded() || encoder == nullptr) return 0;
    if (h264OutVideoDone(encoder.get(), 0) != kH264Ok) {
      logError("VideoEncoderH264.endOfStream[{context}]: the last pictures could not be encoded");
      return -1;
    }
    return 0;
  });
}

uint32_t VideoEncoderH264::getEncodedFrameCount() { return stream.getEncodedFrameCount(); }

int VideoEncoderH264::getEncodedFrames(std::vector<VideoFrameEncoded>& out) {
  stream.getEncodedFrames(out);
  return 0;
}

int VideoEncoderH264::setParameterDouble(uint32_t settingIndex, double value) {
  return settings.setDouble(settingIndex, value);
}

int VideoEncoderH264::setParameterLongArray(uint32_t settingIndex, const int64_t* values, uint32_t count) {
  return settings.setLongArray(settingIndex, values, count);
}

int VideoEncoderH264::setParameterLong(uint32_t settingIndex, int64_t value) {
  return settings.setLong(settingIndex, value);
}

int VideoEncoderH264::getParameterType(uint32_t settingIndex, uint32_t* arrayLength) {
  return settings.getType(settingIndex, arrayLength);
}

int VideoEncoderH264::getParameterDouble(uint32_t settingIndex, double* value) {
  return settings.getDouble(settingIndex, value);
}

int VideoEncoderH264::getParameterLongArray(uint32_t settingIndex, int64_t* values, uint32_t* count) {
  return settings.getLongArray(settingIndex, values, count);
}

int VideoEncoderH264::getParameterLong(uint32_t settingIndex, int64_t* value) {
  return settings.getLong(settingIndex, value);
}

}  // namespace cvx
