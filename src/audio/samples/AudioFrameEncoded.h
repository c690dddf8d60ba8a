#pragma once

#include <cstdint>

namespace cvx {

// One encoded audio frame on its way to the host. `buffer` is a malloc block
// of exactly `length` bytes; copies share it, and whoever ends the frame's
// life frees it (normally the boundary, after copying it into Java).
struct AudioFrameEncoded {
  uint8_t* buffer = nullptr;
  uint32_t length = 0;
  uint64_t timecode = 0;  // sample position
  uint32_t channels = 0;
  uint32_t sampleRate = 0;
};

}  // namespace cvx
