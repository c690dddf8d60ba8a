#pragma once

#include <vector>

#include "audio/samples/AudioSampleBuffer.h"

namespace cvx {

// A plain handle into the session's numbered buffer set; the set owns what it points at.
struct AudioSampleBufferSetItem {
  AudioSampleBuffer* buffer = nullptr;
};

}  // namespace cvx
