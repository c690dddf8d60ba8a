#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "platform/gpuencoder/AccessUnitFraming.h"

namespace cvx {
namespace {

using Bytes = std::vector<uint8_t>;

Bytes frame(const Bytes& in, int type, int framing, size_t capacity = 4096) {
  Bytes out(capacity + 16, 0xEE);  // guard bytes past the capacity
  const size_t n = frameAccessUnit(in.empty() ? nullptr : in.data(), in.size(), type, framing, out.data(), capacity);
  for (size_t i = capacity; i < out.size(); ++i) EXPECT_EQ(out[i], 0xEE) << "written past the capacity at " << i;
  out.resize(n);
  return out;
}

TEST(AccessUnitFramingTest, UnitsGetOurDelimiterAndTheirFraming) {
  // SPS behind a four-byte start code, a slice behind a three-byte one with
  // trailing zeros, and the encoder's own delimiter between them.
  const Bytes hardware = {0, 0, 0, 1, 0x67, 0x42, 0x80, 0, 0, 1, 0x09, 0xF0, 0, 0, 1, 0x65, 0x88, 0x84, 0, 0};
  struct Case { const char* name; int type; int framing; Bytes expected; } cases[] = {
      {"key frame, lengths", kFramedI, 4,
       {0, 0, 0, 2, 0x09, 0x10, 0, 0, 0, 3, 0x67, 0x42, 0x80, 0, 0, 0, 3, 0x65, 0x88, 0x84}},
      {"P frame, lengths", kFramedP, 4,
       {0, 0, 0, 2, 0x09, 0x30, 0, 0, 0, 3, 0x67, 0x42, 0x80, 0, 0, 0, 3, 0x65, 0x88, 0x84}},
      {"B frame, start codes", kFramedB, 0,
       {0, 0, 0, 1, 0x09, 0x50, 0, 0, 0, 1, 0x67, 0x42, 0x80, 0, 0, 0, 1, 0x65, 0x88, 0x84}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(frame(hardware, c.type, c.framing), c.expected);
  }
}

TEST(AccessUnitFramingTest, OutputStopsAtTheLastWholeUnitThatFits) {
  const Bytes hardware = {0, 0, 0, 1, 0x67, 1, 2, 3, 4, 0, 0, 0, 1, 0x65, 5, 6, 7, 8, 9};
  struct Case {
    size_t capacity;
    size_t written;
  } cases[] = {{100, 6 + 9 + 10}, {24, 6 + 9}, {15, 15}, {14, 6}, {6, 6}, {5, 0}, {0, 0}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.capacity);
    EXPECT_EQ(frame(hardware, kFramedI, 4, c.capacity).size(), c.written);
  }
}

TEST(AccessUnitFramingTest, NothingFromTheHardwareStillGivesADelimiter) {
  EXPECT_EQ(frame({}, kFramedP, 4), (Bytes{0, 0, 0, 2, 0x09, 0x30}));
  // Bytes before the first start code belong to no unit.
  EXPECT_EQ(frame({7, 7, 0, 0}, kFramedP, 4), (Bytes{0, 0, 0, 2, 0x09, 0x30}));
}

}  // namespace
}  // namespace cvx
