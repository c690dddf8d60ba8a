// MPEG audio layer I and II frames, through the decoder that reads the first header itself.
// The layout of an input is in support/AudioDecoderFuzzInput.h.
#include <cstddef>
#include <cstdint>

#include "media/CodecNumbers.h"
#include "support/AudioDecoderFuzzInput.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  cvx::fuzz::AudioDecoderFuzzInput(data, size).drive(cvx::kAudioCodecMpegAudio, 0);
  return 0;
}
