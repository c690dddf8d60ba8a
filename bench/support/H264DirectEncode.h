#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/h264encoder/H264EncoderSettings.h"

namespace cvx {

// The library driven directly with the parameters the record gives: no
// sink, no delimiters, no start code rewriting, no time stamp bookkeeping.
// The yardstick that the encoder's own overhead is measured against.
// `pictures` are 4:2:0 blocks in the frame buffer layout. Returns the bytes
// the library produced, or a negative status.
int64_t h264DirectEncode(const H264EncoderSettings& settings, const uint8_t* const* pictures, size_t count,
                         uint32_t fourcc);

}  // namespace cvx
