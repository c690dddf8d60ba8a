#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>

namespace cvx {

// Owns a block of bytes from the C allocator: the compressed input the
// boundary copies from the host, and encoded frames a codec hands out.
struct MallocBlockDeleter {
  void operator()(uint8_t* block) const { std::free(block); }
};
using MallocBlock = std::unique_ptr<uint8_t, MallocBlockDeleter>;

// A block of `size` bytes, uninitialised; null when the allocator has none.
// A size of 0 still gives a block, so that an empty span has an address.
inline MallocBlock allocateMallocBlock(std::size_t size) {
  return MallocBlock(static_cast<uint8_t*>(std::malloc(size > 0 ? size : 1)));
}

}  // namespace cvx
