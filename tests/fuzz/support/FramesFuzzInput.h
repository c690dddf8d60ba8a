#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "media/FourCC.h"

namespace cvx::fuzz {

// Reads a fuzzer's bytes as the arguments a hostile host would pick for the
// picture path: sizes that are mostly small but reach every edge, codes
// the scaler knows and codes it does not, and raw 32-bit values. Past the
// end of the input every read gives 0.
class FramesFuzzInput {
 public:
  FramesFuzzInput(const uint8_t* data, size_t size) : data_(data), size_(size) {}

  bool empty() const { return at_ >= size_; }

  uint8_t byte() { return at_ < size_ ? data_[at_++] : 0; }
  uint32_t u16() { return byte() | uint32_t{byte()} << 8; }
  uint32_t u32() { return u16() | u16() << 16; }
  int32_t i32() {
    const uint32_t v = u32();
    int32_t out;
    std::memcpy(&out, &v, sizeof out);
    return out;
  }
  // 0 .. n - 1.
  uint32_t below(uint32_t n) { return n == 0 ? 0 : u16() % n; }

  // A picture side: tiny, anything up to `limit`, an edge of the picture
  // limits, or a value no picture may have.
  uint32_t side(uint32_t limit) {
    switch (byte() % 8) {
      case 0: return 1 + byte() % 8;
      case 1: return 0;
      case 2: {
        const uint32_t edges[] = {1, 2, 3, 16383, 16384, 16385, 0x7FFFFFFFu, 0xFFFFFFFFu};
        return edges[byte() % 8];
      }
      default: return 1 + below(limit);
    }
  }

  uint32_t fourcc() {
    const uint32_t codes[] = {kFourCCI420, kFourCCYV12, kFourCCNV12, kFourCCYUY2, kFourCCYUYV,
                              kFourCCUYVY, kFourCCBGR3, kFourCCBGRA, kFourCCBGR4, kFourCCVUYA,
                              kFourCCXYZ12, kFourCCv210, kFourCCH264, kFourCCYV16};
    const uint8_t pick = byte();
    return pick < 240 ? codes[pick % (sizeof codes / sizeof codes[0])] : u32();
  }

  // Bytes of a row of this code at this width, 0 for codes without one.
  static uint64_t rowBytes(uint32_t fourcc, uint64_t width) {
    switch (fourcc) {
      case kFourCCI420: case kFourCCYV12: case kFourCCNV12: return width;
      case kFourCCYUY2: case kFourCCYUYV: case kFourCCUYVY: return width * 2;
      case kFourCCBGR3: return width * 3;
      case kFourCCBGRA: case kFourCCBGR4: case kFourCCVUYA: return width * 4;
      case kFourCCXYZ12: return width * 6;
      default: return width;
    }
  }

  // Pixels: a pattern seeded from the input, so pictures are neither
  // uniform nor costly to make.
  void fill(uint8_t* out, size_t n) {
    uint32_t state = u32() | 1;
    for (size_t i = 0; i < n; ++i) {
      state = state * 1103515245u + 12345u;
      out[i] = static_cast<uint8_t>(state >> 16);
    }
  }

 private:
  const uint8_t* data_;
  size_t size_;
  size_t at_ = 0;
};

}  // namespace cvx::fuzz
