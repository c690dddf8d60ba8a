#pragma once

#include <chrono>
#include <cstdint>

namespace cvx {

// A token bucket over lines: `burst` lines may go out at once, and one more
// every `refill` after that. Damaged input makes a library complain about
// every frame; this keeps such a run from filling the log queue while the
// first lines of it still get through. Not locked: its owner serialises.
class LogRateLimit {
 public:
  using Clock = std::chrono::steady_clock;

  LogRateLimit(uint32_t burst, Clock::duration refill);

  // True when a line may go out at `now`. `dropped` then receives the lines
  // refused since the last one that went out (0 otherwise).
  bool admit(Clock::time_point now, uint32_t& dropped);

 private:
  uint32_t burst;
  Clock::duration refill;
  uint32_t tokens;
  Clock::time_point lastRefill{};
  bool started = false;
  uint32_t refused = 0;
};

}  // namespace cvx
