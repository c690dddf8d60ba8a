#pragma once

#include <cstdint>

namespace cvx {

// A frame rate as the hardware encoders take it: whole rates over 1, NTSC
// rates (n * 1000 / 1001) as such, anything else in ten-thousandths.
// A rate that is not finite, not positive or above 100,000 frames per
// second (its ten-thousandths would not fit 32 bits) gives 0 / 1, which
// the encoders refuse.
struct FrameRateFraction {
  uint32_t numerator = 0;
  uint32_t denominator = 1;
};

FrameRateFraction frameRateFraction(double framesPerSecond);

// Tenths of a millisecond per frame, rounded; 0 for a rate the fraction refuses.
uint64_t frameDurationOf(double framesPerSecond);

}  // namespace cvx
