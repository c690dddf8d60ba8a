#include "platform/videodecoder/StreamHeaders.h"

#include <gtest/gtest.h>

#include <vector>

namespace cvx {
namespace {

using Bytes = std::vector<uint8_t>;

TEST(StreamHeaders, UnescapeDropsTheHeaderByteAndEachPreventionByteOnly) {
  struct Case {
    const char* what;
    Bytes nal;  // header byte first
    size_t capacity;
    Bytes payload;
  };
  const Case cases[] = {
      {"no unit", {}, 16, {}},
      {"a header alone", {0x67}, 16, {}},
      {"nothing to unescape", {0x67, 0x42, 0x00, 0x1E}, 16, {0x42, 0x00, 0x1E}},
      {"03 after two zeros goes", {0x67, 0x00, 0x00, 0x03, 0x01}, 16, {0x00, 0x00, 0x01}},
      {"03 after one zero stays", {0x67, 0x11, 0x00, 0x03, 0x00}, 16, {0x11, 0x00, 0x03, 0x00}},
      {"the zero count starts again behind it", {0x67, 0x00, 0x00, 0x03, 0x00, 0x03}, 16, {0x00, 0x00, 0x00, 0x03}},
      {"two in a row", {0x67, 0x00, 0x00, 0x03, 0x00, 0x00, 0x03, 0x02}, 16, {0x00, 0x00, 0x00, 0x00, 0x02}},
      {"three zeros before it", {0x68, 0x00, 0x00, 0x00, 0x03, 0x05}, 16, {0x00, 0x00, 0x00, 0x05}},
      {"a trailing 03 goes", {0x68, 0x80, 0x00, 0x00, 0x03}, 16, {0x80, 0x00, 0x00}},
      {"cut at the capacity", {0x67, 0x01, 0x02, 0x03, 0x04}, 2, {0x01, 0x02}},
      {"a dropped byte takes no room", {0x67, 0x00, 0x00, 0x03, 0x07}, 3, {0x00, 0x00, 0x07}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    Bytes out(c.capacity + 4, 0xEE);
    const size_t length = unescapeH264Payload(c.nal.data(), c.nal.size(), out.data(), c.capacity);
    ASSERT_EQ(length, c.payload.size());
    EXPECT_EQ(Bytes(out.begin(), out.begin() + static_cast<long>(length)), c.payload);
    EXPECT_EQ(out[c.capacity], 0xEE) << "nothing past the capacity";
  }
}

}  // namespace
}  // namespace cvx
