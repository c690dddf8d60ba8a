#include "platform/audiocodecs/SampleConversion.h"

#include <cmath>
#include <cstring>

extern "C" {
#include <libavutil/samplefmt.h>
}

namespace cvx {
namespace {

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "16-bit samples are stored in native order, which must be little-endian");

inline int16_t clipToS16(float value) {
  const float scaled = value * 32768.0f;
  if (scaled >= 32767.0f) return 32767;
  if (scaled <= -32768.0f) return -32768;
  return static_cast<int16_t>(std::lrintf(scaled));
}

}  // namespace

int64_t writeInterleavedS16(const AVFrame& frame, uint8_t* out, uint32_t maxSamples) {
  const int channels = frame.ch_layout.nb_channels;
  if (out == nullptr || channels <= 0 || frame.nb_samples <= 0) return 0;
  const uint32_t count = static_cast<uint32_t>(frame.nb_samples) < maxSamples ? static_cast<uint32_t>(frame.nb_samples)
                                                                              : maxSamples;
  auto* target = reinterpret_cast<int16_t*>(out);
  const auto format = static_cast<AVSampleFormat>(frame.format);
  switch (format) {
    case AV_SAMPLE_FMT_FLTP:
      for (int c = 0; c < channels; ++c) {
        const auto* plane = reinterpret_cast<const float*>(frame.extended_data[c]);
        for (uint32_t i = 0; i < count; ++i) target[i * channels + c] = clipToS16(plane[i]);
      }
      return count;
    case AV_SAMPLE_FMT_FLT: {
      const auto* in = reinterpret_cast<const float*>(frame.extended_data[0]);
      for (uint32_t i = 0; i < count * static_cast<uint32_t>(channels); ++i) target[i] = clipToS16(in[i]);
      return count;
    }
    case AV_SAMPLE_FMT_S16P:
      for (int c = 0; c < channels; ++c) {
        const auto* plane = reinterpret_cast<const int16_t*>(frame.extended_data[c]);
        for (uint32_t i = 0; i < count; ++i) target[i * channels + c] = plane[i];
      }
      return count;
    case AV_SAMPLE_FMT_S16:
      std::memcpy(target, frame.extended_data[0], static_cast<size_t>(count) * channels * sizeof(int16_t));
      return count;
    default:
      return -1;
  }
}

void readInterleavedS16(const uint8_t* in, uint32_t count, uint32_t channels, AVFrame& frame, uint32_t at) {
  const auto* source = reinterpret_cast<const int16_t*>(in);
  for (uint32_t c = 0; c < channels; ++c) {
    auto* plane = reinterpret_cast<float*>(frame.extended_data[c]) + at;
    for (uint32_t i = 0; i < count; ++i) plane[i] = static_cast<float>(source[i * channels + c]) * (1.0f / 32768.0f);
  }
}

}  // namespace cvx
