#include "platform/librarylog/LogRateLimit.h"

namespace cvx {

LogRateLimit::LogRateLimit(uint32_t burstLines, Clock::duration refillEvery)
    : burst(burstLines), refill(refillEvery), tokens(burstLines) {}

bool LogRateLimit::admit(Clock::time_point now, uint32_t& dropped) {
  dropped = 0;
  if (!started) {
    started = true;
    lastRefill = now;
  } else if (now > lastRefill && refill.count() > 0) {
    // Whole refill periods only, and never past a full bucket: a quiet hour
    // buys the same burst as a quiet minute.
    const auto periods = static_cast<uint64_t>((now - lastRefill) / refill);
    if (periods > 0) {
      const uint64_t filled = tokens + periods;
      tokens = filled < burst ? static_cast<uint32_t>(filled) : burst;
      lastRefill = tokens == burst ? now : lastRefill + refill * static_cast<int64_t>(periods);
    }
  }
  if (tokens == 0) {
    ++refused;
    return false;
  }
  --tokens;
  dropped = refused;
  refused = 0;
  return true;
}

}  // namespace cvx
