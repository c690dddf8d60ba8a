#include "video/frames/PictureMemoryBudget.h"

namespace cvx {

bool PictureMemoryBudget::reserve(uint64_t bytes) {
  if (bytes > limit_ - held_) return false;
  held_ += bytes;
  return true;
}

void PictureMemoryBudget::release(uint64_t bytes) { held_ -= bytes < held_ ? bytes : held_; }

}  // namespace cvx
