#pragma once

#include <cstdint>

extern "C" {
#include <libavutil/frame.h>
}

namespace cvx {

// The one place where the library's sample formats meet ours (signed 16-bit
// little-endian, channels interleaved). Float samples are scaled by 32768 and
// clipped to the 16-bit range.

// Writes up to `maxSamples` sample frames of `frame` to `out`; returns the
// count written, or -1 for a sample format the stream does not take.
int64_t writeInterleavedS16(const AVFrame& frame, uint8_t* out, uint32_t maxSamples);

// Reads `count` sample frames of `channels` interleaved 16-bit values into
// planar float `frame` from sample index `at` on.
void readInterleavedS16(const uint8_t* in, uint32_t count, uint32_t channels, AVFrame& frame, uint32_t at);

}  // namespace cvx
