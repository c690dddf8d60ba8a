#pragma once

#include <cstdint>

#include "media/EncodedBlock.h"

namespace cvx {

// One encoded audio frame on its way to the host; it owns its bytes.
struct AudioFrameEncoded {
  EncodedBlock block;
  uint64_t timecode = 0;  // sample position
  uint32_t channels = 0;
  uint32_t sampleRate = 0;
};

}  // namespace cvx
