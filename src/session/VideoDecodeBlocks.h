#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "media/ByteBlocks.h"

namespace cvx {

// The compressed frames the video decoder may still read. The decoder queues
// spans of a frame and reads them over the decode calls that follow, so a
// frame's block lives until the decoder's queue has run empty. A host that
// adds frames without draining the decoder in between (as after a decode
// call that failed midway) piles blocks up, to the bounds below and no
// further.
class VideoDecodeBlocks {
 public:
  static constexpr size_t kMaxFrames = 16;
  static constexpr uint64_t kMaxBytes = 64u << 20;

  // Takes `block` of `length` bytes. When `decoderIdle`, nothing reads the
  // blocks held so far and they go first. False when keeping the block would
  // pass a bound: it is freed, and what is held stays as it was.
  bool keep(MallocBlock block, uint32_t length, bool decoderIdle);

  size_t count() const { return blocks_.size(); }
  uint64_t bytes() const { return bytes_; }

 private:
  std::vector<MallocBlock> blocks_;
  uint64_t bytes_ = 0;
};

}  // namespace cvx
