#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>

namespace cvx::fuzz {

// Reads a fuzz input from the front as the arguments of host calls. Each
// number costs one byte when it is small, so that the fuzzer and the seed
// script (tests/fuzz/seeds/SessionFuzz.sh) spell a call sequence cheaply:
//
//   byte b < 224      the value b itself
//   224 <= b < 240    one of the extremes below (what a hostile host passes)
//   b >= 240          the next 4 (numbers) or 8 (longs, timecodes, reals) bytes,
//                     little-endian
//
// Timecodes count small values in steps of 40 ms.
//
// Payloads are a 16-bit little-endian length and that many bytes (cut at the
// end of the input). An exhausted input reads as zeros.
class SessionFuzzInput {
 public:
  SessionFuzzInput(const uint8_t* data, std::size_t size) : data_(data), size_(size) {}

  bool empty() const { return position_ >= size_; }

  uint8_t byte() { return empty() ? 0 : data_[position_++]; }

  bool flag() { return (byte() & 1) != 0; }

  // Counts, sizes, indices, codes: the low 32 bits of a Java long.
  uint32_t number() {
    static constexpr uint32_t kExtremes[16] = {0,          1,          2,          3,
                                               5,          255,        0xFFFF,     0x10000,
                                               16385,      1000000,    0x7FFFFFFF, 0x80000000u,
                                               0x80000001u, 0xFFFFFFFEu, 0xFFFFFFFFu, 0x40000000};
    const uint8_t b = byte();
    if (b < 224) return b;
    if (b < 240) return kExtremes[b - 224];
    return static_cast<uint32_t>(raw(4));
  }

  // Java longs: small values, or the ends of the range where arithmetic overflows.
  int64_t wide() { return wideScaled(1); }

  // Millisecond timecodes: small steps of 40 ms, or the same ends.
  int64_t timecode() { return wideScaled(40); }

  // Rates, qualities, parameter doubles.
  double real() {
    using Limits = std::numeric_limits<double>;
    static constexpr double kExtremes[16] = {
        0.0,   -0.0,           -1.0,  0.5,      29.97, 1e-300, 1e300, -1e300, Limits::infinity(), -Limits::infinity(),
        Limits::quiet_NaN(), 4294967296.0, -2147483649.0, 1e18, Limits::denorm_min(), 120000.0};
    const uint8_t b = byte();
    if (b < 224) return b;
    if (b < 240) return kExtremes[b - 224];
    const uint64_t bits = raw(8);
    double value;
    std::memcpy(&value, &bits, sizeof(value));
    return value;
  }

  // A span of the input; `length` is set to what was really there.
  const uint8_t* payload(uint32_t& length) {
    uint32_t wanted = byte();
    wanted |= static_cast<uint32_t>(byte()) << 8;
    const std::size_t left = size_ - (position_ < size_ ? position_ : size_);
    length = wanted < left ? wanted : static_cast<uint32_t>(left);
    const uint8_t* start = data_ + (position_ < size_ ? position_ : size_);
    position_ += length;
    return start;
  }

 private:
  int64_t wideScaled(int64_t step) {
    static constexpr int64_t kExtremes[16] = {
        0, -1, -40, INT64_MIN, INT64_MAX, INT64_MIN + 1, INT64_MAX / 10 + 1, -(INT64_MAX / 10) - 1,
        INT64_MAX / 90 + 1, int64_t{1} << 53, 0xFFFFFFFFll, -0x80000000ll, 1000ll * 86400 * 365 * 300,
        INT64_MAX - 40, 0x7FFFFFFFll, 0x100000000ll};
    const uint8_t b = byte();
    if (b < 224) return int64_t{b} * step;
    if (b < 240) return kExtremes[b - 224];
    return static_cast<int64_t>(raw(8));
  }

  uint64_t raw(int bytes) {
    uint64_t value = 0;
    for (int i = 0; i < bytes; ++i) value |= static_cast<uint64_t>(byte()) << (8 * i);
    return value;
  }

  const uint8_t* data_;
  std::size_t size_;
  std::size_t position_ = 0;
};

}  // namespace cvx::fuzz
