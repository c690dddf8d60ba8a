#include "audio/decoders/AudioDecoderALaw.h"

#include "media/CodecNumbers.h"

namespace cvx {

AudioDecoderALaw::AudioDecoderALaw()
    : AudioDecoderG711(kAudioCodecG711ALaw, "AudioDecoderALaw", &AudioDecoderALaw::expand) {}

int16_t AudioDecoderALaw::expand(uint8_t value) {
  const int32_t a = static_cast<uint8_t>(value ^ 0xD5);
  const int32_t segment = (a & 0x70) >> 4;
  int32_t magnitude = (a & 0x0F) * 16 + 8;
  if (segment != 0) magnitude += 256;
  if (segment >= 2) magnitude <<= segment - 1;
  return static_cast<int16_t>(a > 127 ? -magnitude : magnitude);
}

}  // namespace cvx
