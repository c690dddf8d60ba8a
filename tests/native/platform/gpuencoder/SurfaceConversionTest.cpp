#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <vector>

#include "platform/gpuencoder/SurfaceConversion.h"

namespace cvx {
namespace {

// A 5x3 picture: odd both ways, so the last chroma column and row of the
// NV12 surface have no source of their own.
constexpr int kWidth = 5;
constexpr int kHeight = 3;
uint8_t lumaAt(int x, int y) { return static_cast<uint8_t>(10 * y + x); }
uint8_t uAt(int x, int y) { return static_cast<uint8_t>(100 + 10 * y + x); }
uint8_t vAt(int x, int y) { return static_cast<uint8_t>(200 + 10 * y + x); }

// The source block, exactly as long as the converter may read.
std::unique_ptr<uint8_t[]> source(int format, int pitch, uint64_t& bytes) {
  bytes = nvveFrameBytes(format, kWidth, pitch, kHeight);
  auto block = std::make_unique<uint8_t[]>(bytes);
  uint8_t* b = block.get();
  const int cp = pitch / 2;
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) {
      if (format == kNVVESurfaceUYVY || format == kNVVESurfaceYUY2) {
        const int luma = format == kNVVESurfaceUYVY ? 1 : 0;
        b[y * pitch + 2 * x + luma] = lumaAt(x, y);
        // Chroma of a pair on both rows of a row pair: averaging keeps it.
        b[y * pitch + 4 * (x / 2) + (1 - luma)] = uAt(x / 2, y / 2);
        b[y * pitch + 4 * (x / 2) + (3 - luma)] = vAt(x / 2, y / 2);
      } else {
        b[y * pitch + x] = lumaAt(x, y);
      }
    }
  }
  // Planar chroma: (width + 1) / 2 columns where the pitch has room for
  // them, and the rows the height holds whole.
  for (int y = 0; y < kHeight / 2; ++y) {
    for (int x = 0; x < std::min((kWidth + 1) / 2, cp); ++x) {
      uint8_t* chroma = b + pitch * kHeight;
      if (format == kNVVESurfaceNV12) {
        chroma[y * pitch + 2 * x] = uAt(x, y);
        chroma[y * pitch + 2 * x + 1] = vAt(x, y);
      } else if (format == kNVVESurfaceYV12 || format == kNVVESurfaceIYUV) {
        uint8_t* first = chroma;
        uint8_t* second = chroma + cp * (kHeight / 2);
        (format == kNVVESurfaceIYUV ? first : second)[y * cp + x] = uAt(x, y);
        (format == kNVVESurfaceIYUV ? second : first)[y * cp + x] = vAt(x, y);
      }
    }
  }
  return block;
}

TEST(SurfaceConversionTest, EveryFormatBecomesTheSameNV12WithEdgesRepeated) {
  struct Case { int format; int pitch; } cases[] = {{kNVVESurfaceYV12, 5}, {kNVVESurfaceIYUV, 8}, {kNVVESurfaceNV12, 6},
               {kNVVESurfaceUYVY, 12}, {kNVVESurfaceYUY2, 16}};
  constexpr uint32_t kDstPitch = 8;
  constexpr uint32_t kDstRows = 4;  // rounded up to even, as the surfaces are
  for (const Case& c : cases) {
    SCOPED_TRACE(c.format);
    uint64_t bytes = 0;
    std::unique_ptr<uint8_t[]> block = source(c.format, c.pitch, bytes);
    ASSERT_GT(bytes, 0u);
    NVVE_EncodeFrameParams f = {};
    f.Width = kWidth;
    f.Height = kHeight;
    f.Pitch = c.pitch;
    f.SurfFmt = c.format;
    f.picBuf = block.get();
    std::vector<uint8_t> nv12(kDstPitch * (kDstRows + 2), 0);
    copyToNV12(f, nv12.data(), kDstPitch, kDstRows);
    for (int y = 0; y < kHeight; ++y) {
      for (int x = 0; x < kWidth; ++x) EXPECT_EQ(nv12[y * kDstPitch + x], lumaAt(x, y)) << x << "," << y;
    }
    // Three chroma columns and two rows; planar sources hold one row, and
    // as many columns as half their pitch (packed ones hold all).
    const bool packed = c.format == kNVVESurfaceUYVY || c.format == kNVVESurfaceYUY2;
    const int columns = packed ? 3 : std::min(3, c.pitch / 2);
    for (int y = 0; y < 2; ++y) {
      for (int x = 0; x < 3; ++x) {
        const int sx = std::min(x, columns - 1);
        const int sy = packed ? y : 0;
        const uint8_t* row = nv12.data() + kDstPitch * (kDstRows + y);
        EXPECT_EQ(row[2 * x], uAt(sx, sy)) << x << "," << y;
        EXPECT_EQ(row[2 * x + 1], vAt(sx, sy)) << x << "," << y;
      }
    }
  }
}

TEST(SurfaceConversionTest, FrameBytesRefuseWhatTheConverterCouldNotReadWithin) {
  struct Case { int format, width, pitch, height; uint64_t bytes; } cases[] = {
      {kNVVESurfaceYV12, 320, 320, 240, 320 * 240 * 3 / 2},
      {kNVVESurfaceYV12, 5, 5, 3, 15 + 2 * 2 * 1},
      {kNVVESurfaceNV12, 5, 6, 3, 18 + 6},
      {kNVVESurfaceYUY2, 4, 8, 2, 16},
      {kNVVESurfaceUYVY, 5, 10, 2, 0},  // the odd pixel's pair lies past the row
      {kNVVESurfaceYV12, 320, 319, 240, 0},
      {kNVVESurfaceYV12, 1, 1, 1, 0},
      {kNVVESurfaceIYUV, 0, 16, 16, 0},
      {kNVVESurfaceIYUV, 16, -16, 16, 0},
      {7, 16, 16, 16, 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::to_string(c.format) + " " + std::to_string(c.width) + "x" + std::to_string(c.height));
    EXPECT_EQ(nvveFrameBytes(c.format, c.width, c.pitch, c.height), c.bytes);
  }
}

}  // namespace
}  // namespace cvx
