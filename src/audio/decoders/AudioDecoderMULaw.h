#pragma once

#include "audio/decoders/AudioDecoderG711.h"

namespace cvx {

// G.711 mu-law, codec number 8.
class AudioDecoderMULaw : public AudioDecoderG711 {
 public:
  AudioDecoderMULaw();
  static int16_t expand(uint8_t value);
};

}  // namespace cvx
