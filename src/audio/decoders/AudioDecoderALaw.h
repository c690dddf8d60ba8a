#pragma once

#include "audio/decoders/AudioDecoderG711.h"

namespace cvx {

// G.711 A-law, codec number 7.
class AudioDecoderALaw : public AudioDecoderG711 {
 public:
  AudioDecoderALaw();
  static int16_t expand(uint8_t value);
};

}  // namespace cvx
