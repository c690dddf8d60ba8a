#include "video/encoders/FrameRateFraction.h"

#include <cmath>

namespace cvx {

namespace {

bool usable(double f) { return std::isfinite(f) && f > 0.0 && f <= 1e5; }

}  // namespace

FrameRateFraction frameRateFraction(double f) {
  FrameRateFraction fraction;
  if (!usable(f)) return fraction;
  const double whole = std::trunc(f + 0.5);
  if (std::fabs(whole - f) < 0.0001) {
    fraction.numerator = static_cast<uint32_t>(whole);
    return fraction;
  }
  const double ntsc = std::trunc(f * 1.001 + 0.5);
  if (std::fabs(ntsc * 1000 - f * 1001) < 10) {
    fraction.numerator = static_cast<uint32_t>(ntsc * 1000);
    fraction.denominator = 1001;
    return fraction;
  }
  fraction.numerator = static_cast<uint32_t>(std::trunc(f * 10000 + 0.5));
  fraction.denominator = 10000;
  return fraction;
}

uint64_t frameDurationOf(double f) {
  return usable(f) ? static_cast<uint64_t>(std::floor(10000.0 / f + 0.5)) : 0;
}

}  // namespace cvx
