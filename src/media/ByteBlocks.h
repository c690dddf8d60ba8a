#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <new>

namespace cvx {

// Owns a block of bytes from the C allocator: the compressed input the
// boundary copies from the host. (Encoded frames own theirs through
// EncodedBlock.)
struct MallocBlockDeleter {
  void operator()(uint8_t* block) const { std::free(block); }
};
using MallocBlock = std::unique_ptr<uint8_t, MallocBlockDeleter>;

// A block of `size` bytes, uninitialised; null when the allocator has none.
// A size of 0 still gives a block, so that an empty span has an address.
inline MallocBlock allocateMallocBlock(std::size_t size) {
  return MallocBlock(static_cast<uint8_t*>(std::malloc(size > 0 ? size : 1)));
}

// An array of `count` bytes, uninitialised; null when it cannot be had, so
// that a size a host chose is answered with a failure, never an exception.
inline std::unique_ptr<uint8_t[]> tryAllocateBytes(uint64_t count) {
  if (count > SIZE_MAX) return nullptr;
  return std::unique_ptr<uint8_t[]>(new (std::nothrow) uint8_t[static_cast<std::size_t>(count)]);
}

}  // namespace cvx
