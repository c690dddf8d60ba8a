#pragma once

#include <cstdint>

namespace cvx {

// Conversions between host milliseconds and sample positions, in unsigned
// 64-bit arithmetic with truncating division. A rate of 0 has no position:
// both answer 0 rather than divide by zero.
uint64_t millisecondsToSamplePosition(uint64_t milliseconds, uint32_t sampleRate);
uint64_t samplePositionToMilliseconds(uint64_t position, uint32_t sampleRate);

}  // namespace cvx
