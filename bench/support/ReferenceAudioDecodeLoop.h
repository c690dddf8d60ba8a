#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

namespace cvx {

// A bare libavcodec send/receive loop over whole audio frames, with the same
// 16-bit conversion as the streams and nothing else around it: the yardstick
// the decoder streams are measured by.
class ReferenceAudioDecodeLoop {
 public:
  enum class Codec { Aac, Mp3 };

  ReferenceAudioDecodeLoop();
  ~ReferenceAudioDecodeLoop();
  ReferenceAudioDecodeLoop(const ReferenceAudioDecodeLoop&) = delete;
  ReferenceAudioDecodeLoop& operator=(const ReferenceAudioDecodeLoop&) = delete;

  bool open(Codec codec);
  // Decodes one frame whose bytes are followed by `padding` readable bytes
  // (at least 64, zeroed); writes its samples to `out`, at most
  // `capacitySamples`. Returns the sample frames written, or -1.
  int64_t decode(const uint8_t* data, size_t size, uint8_t* out, uint32_t capacitySamples);

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace cvx
