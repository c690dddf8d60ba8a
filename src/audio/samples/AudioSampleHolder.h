#pragma once

#include <cstdint>

namespace cvx {

// Samples handed to a library and not yet seen come back: the position of the
// first one still unaccounted for, and how many remain.
struct AudioSampleHolder {
  uint64_t timecode = 0;
  uint32_t sampleCount = 0;
};

}  // namespace cvx
