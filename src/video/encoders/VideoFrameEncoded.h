#pragma once

#include <cstdint>

namespace cvx {

// One encoded video frame. `buffer` is a malloc block of exactly `length`
// bytes; whoever holds the last copy frees it (normally the boundary).
struct VideoFrameEncoded {
  uint8_t* buffer = nullptr;
  uint32_t length = 0;
  int64_t timecode = 0;     // milliseconds, as the source frame carried it
  uint32_t frameType = 0;   // 1 key, 2 predicted, 3 bidirectional
};

}  // namespace cvx
