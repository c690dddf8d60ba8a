#pragma once

#include <cstdint>

namespace cvx {

// One span of queued compressed input; the bytes are borrowed. Only the block
// that carries a frame's label has a nonzero frame type.
struct byteBlock {
  const uint8_t* data = nullptr;
  uint32_t length = 0;
  int64_t timecode = 0;
  uint32_t frameType = 0;
};

}  // namespace cvx
