#pragma once

#include <cstdint>
#include <cstring>
#include <iterator>
#include <memory>
#include <vector>

#include "media/ByteBlocks.h"

namespace cvx {

// The bytes of one encoded frame, owned from the encoder that made them to
// the boundary, which copies them into the host's array once and lets the
// block go with its frame. Moves, never copies. A block the memory could not
// be had for is null: its frame is lost, nothing else.
class EncodedBlock {
 public:
  EncodedBlock() = default;

  // `size` bytes, not initialised.
  static EncodedBlock allocate(uint32_t size) {
    EncodedBlock block;
    block.bytes = tryAllocateBytes(size);
    block.length = block.bytes != nullptr ? size : 0;
    return block;
  }
  static EncodedBlock copyOf(const uint8_t* data, uint32_t size) {
    EncodedBlock block = allocate(size);
    if (block.bytes != nullptr && size > 0) std::memcpy(block.bytes.get(), data, size);
    return block;
  }

  uint8_t* data() { return bytes.get(); }
  const uint8_t* data() const { return bytes.get(); }
  uint32_t size() const { return length; }
  explicit operator bool() const { return bytes != nullptr; }

 private:
  std::unique_ptr<uint8_t[]> bytes;
  uint32_t length = 0;
};

// Moves every frame of `from` behind those of `out`, oldest first, and leaves
// `from` empty; when `out` cannot grow, nothing moves and the failure is raised.
template <class Frame>
void moveFrames(std::vector<Frame>& from, std::vector<Frame>& out) {
  out.insert(out.end(), std::make_move_iterator(from.begin()), std::make_move_iterator(from.end()));
  from.clear();
}

}  // namespace cvx
