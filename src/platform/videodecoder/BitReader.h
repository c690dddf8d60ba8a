#pragma once

#include <cstddef>
#include <cstdint>

namespace cvx {

// MSB-first reader over a header's bytes. Reading past the end yields zeros
// and sets `overrun`, so a truncated header is refused instead of read wild.
class BitReader {
 public:
  BitReader(const uint8_t* data, size_t size) : data_(data), bits_(size * 8) {}

  uint32_t bits(int count) {
    uint32_t value = 0;
    for (int i = 0; i < count; ++i) {
      value = (value << 1) | bit();
    }
    return value;
  }

  uint32_t bit() {
    if (position_ >= bits_) {
      overrun_ = true;
      return 0;
    }
    uint32_t value = (data_[position_ >> 3] >> (7 - (position_ & 7))) & 1u;
    ++position_;
    return value;
  }

  void skip(size_t count) {
    position_ += count;
    if (position_ > bits_) {
      overrun_ = true;
      position_ = bits_;
    }
  }

  // Exp-Golomb codes; values beyond 32 bits count as damage.
  uint32_t ue() {
    int zeros = 0;
    while (bit() == 0) {
      if (++zeros > 31 || overrun_) {
        overrun_ = true;
        return 0;
      }
    }
    return ((1u << zeros) - 1u) + bits(zeros);
  }

  int32_t se() {
    uint32_t code = ue();
    return (code & 1u) != 0 ? static_cast<int32_t>((code + 1) / 2) : -static_cast<int32_t>(code / 2);
  }

  bool overrun() const { return overrun_; }

 private:
  const uint8_t* data_;
  size_t bits_;
  size_t position_ = 0;
  bool overrun_ = false;
};

}  // namespace cvx
