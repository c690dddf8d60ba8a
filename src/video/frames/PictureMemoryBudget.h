#pragma once

#include <cstdint>

#include "video/frames/PictureLimits.h"

namespace cvx {

// The bytes of picture blocks that one session may hold. Buffers reserve
// their block here before allocating it and release it when they free it,
// so a host cannot make a session take more than the limit, whatever the
// counts and sizes it combines. Used on the session's thread only, like the
// buffers it counts; it must outlive them.
class PictureMemoryBudget {
 public:
  explicit PictureMemoryBudget(uint64_t limit = kMaxSessionPictureBytes) : limit_(limit) {}
  PictureMemoryBudget(const PictureMemoryBudget&) = delete;
  PictureMemoryBudget& operator=(const PictureMemoryBudget&) = delete;

  // False, and nothing reserved, when bytes do not fit what is left.
  bool reserve(uint64_t bytes);
  void release(uint64_t bytes);
  uint64_t getAvailable() const { return limit_ - held_; }

 private:
  uint64_t limit_;
  uint64_t held_ = 0;
};

}  // namespace cvx
