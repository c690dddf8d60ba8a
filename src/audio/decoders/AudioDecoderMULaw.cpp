#include "audio/decoders/AudioDecoderMULaw.h"

#include "media/CodecNumbers.h"

namespace cvx {

AudioDecoderMULaw::AudioDecoderMULaw()
    : AudioDecoderG711(kAudioCodecG711MuLaw, "AudioDecoderMULaw", &AudioDecoderMULaw::expand) {}

int16_t AudioDecoderMULaw::expand(uint8_t value) {
  const int32_t u = static_cast<uint8_t>(~value);
  const int32_t exponent = (u & 0x70) >> 4;
  const int32_t v = (((u & 0x0F) | 16) * 2 + 1) << (exponent + 2);
  return static_cast<int16_t>(u > 127 ? 132 - v : v - 132);
}

}  // namespace cvx
