#pragma once

#include <cstdint>

#include "media/EncodedBlock.h"

namespace cvx {

// One encoded video frame on its way to the host; it owns its bytes.
struct VideoFrameEncoded {
  EncodedBlock block;       // one length-prefixed access unit (VP8: one frame)
  int64_t timecode = 0;     // milliseconds, as the source frame carried it
  uint32_t frameType = 0;   // 1 key, 2 predicted, 3 bidirectional
};

}  // namespace cvx
