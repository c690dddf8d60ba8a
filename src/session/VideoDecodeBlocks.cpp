#include "session/VideoDecodeBlocks.h"

#include <utility>

namespace cvx {

bool VideoDecodeBlocks::keep(MallocBlock block, uint32_t length, bool decoderIdle) {
  if (decoderIdle) {
    blocks_.clear();  // keeps its capacity: nothing is allocated per frame
    bytes_ = 0;
  }
  if (blocks_.size() >= kMaxFrames || bytes_ + length > kMaxBytes) {
    return false;
  }
  if (blocks_.capacity() < kMaxFrames) {
    blocks_.reserve(kMaxFrames);
  }
  blocks_.push_back(std::move(block));
  bytes_ += length;
  return true;
}

}  // namespace cvx
