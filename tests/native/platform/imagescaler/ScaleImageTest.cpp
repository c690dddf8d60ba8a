#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <thread>
#include <vector>

#include "platform/imagescaler/ScaleImage.h"

namespace cvx {
namespace {

// Blocks of exactly the plane rule's size, so that AddressSanitizer reports
// any access past them.
std::vector<uint8_t> i420Block(uint32_t w, uint32_t h) {
  return std::vector<uint8_t>(scaleImageExtent(kFourCCI420, static_cast<int32_t>(w), w, h));
}

int scale(uint32_t flags, uint32_t srcCode, const uint8_t* src, int32_t srcStride, uint32_t sw,
          uint32_t sh, uint32_t dstCode, uint8_t* dst, int32_t dstStride, uint32_t dw,
          uint32_t dh, const ScaleRectangles* rects = nullptr) {
  return scaleImage(flags, srcCode, src, srcStride, sw, sh, dstCode, dst, dstStride, dw, dh,
                    nullptr, 1, rects, nullptr);
}

// Rectangles as they stand, source coordinates already in 1/256 pixel.
ScaleRectangles raw(int32_t sl, int32_t st, int32_t sr, int32_t sb, int32_t dl, int32_t dt, int32_t dr, int32_t db) {
  return ScaleRectangles{sl, st, sr, sb, dl, dt, dr, db, {}};
}

ScaleRectangles rectangles(int sl, int st, int sr, int sb, int dl, int dt, int dr, int db) {
  return raw(sl * 256, st * 256, sr * 256, sb * 256, dl, dt, dr, db);
}

TEST(ScaleImageColour, BgraThroughI420ComesBackWithinTolerance) {
  const uint32_t w = 64, h = 32;
  std::vector<uint8_t> bgra(w * h * 4), back(w * h * 4);
  for (uint32_t y = 0; y < h; ++y) {
    for (uint32_t x = 0; x < w; ++x) {
      uint8_t* p = &bgra[(y * w + x) * 4];
      p[0] = static_cast<uint8_t>(x * 3);
      p[1] = static_cast<uint8_t>(y * 4);
      p[2] = static_cast<uint8_t>(255 - x * 2);
      p[3] = 255;
    }
  }
  std::vector<uint8_t> i420 = i420Block(w, h);
  ASSERT_EQ(scale(0, kFourCCBGRA, bgra.data(), w * 4, w, h, kFourCCI420, i420.data(), w, w, h), kScaleOk);
  ASSERT_EQ(scale(0, kFourCCI420, i420.data(), w, w, h, kFourCCBGRA, back.data(), w * 4, w, h), kScaleOk);
  int worst = 0;
  double total = 0;
  for (size_t i = 0; i < bgra.size(); ++i) {
    if (i % 4 == 3) continue;
    const int diff = std::abs(bgra[i] - back[i]);
    worst = std::max(worst, diff);
    total += diff;
  }
  EXPECT_LE(worst, 8);
  EXPECT_LE(total / (w * h * 3), 2.0);
}

TEST(ScaleImageColour, WhiteAndBlackMapExactlyBothWays) {
  struct Case {
    const char* name;
    uint8_t rgb, y;
  } cases[] = {{"white", 255, 235}, {"black", 0, 16}, {"grey", 128, 126}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    // 40 x 40 is past the small-picture fill, so the libraries convert it.
    std::vector<uint8_t> bgra(40 * 40 * 4, c.rgb), vuya(40 * 40 * 4), back(40 * 40 * 4);
    for (size_t i = 3; i < bgra.size(); i += 4) bgra[i] = 255;
    bgra[0] = static_cast<uint8_t>(c.rgb ^ 1);  // not uniform
    std::vector<uint8_t> i420 = i420Block(40, 40);
    ASSERT_EQ(scale(0, kFourCCBGRA, bgra.data(), 160, 40, 40, kFourCCVUYA, vuya.data(), 160, 40, 40), kScaleOk);
    EXPECT_NEAR(vuya[40 * 4 + 2], c.y, 1);
    EXPECT_EQ(vuya[40 * 4 + 1], 128);
    ASSERT_EQ(scale(0, kFourCCBGRA, bgra.data(), 160, 40, 40, kFourCCI420, i420.data(), 40, 40, 40), kScaleOk);
    EXPECT_NEAR(i420[40 * 5], c.y, 1);
    ASSERT_EQ(scale(0, kFourCCI420, i420.data(), 40, 40, 40, kFourCCBGRA, back.data(), 160, 40, 40), kScaleOk);
    EXPECT_NEAR(back[(5 * 40 + 5) * 4], c.rgb, 1);
    ASSERT_EQ(scale(0, kFourCCVUYA, vuya.data(), 160, 40, 40, kFourCCBGRA, back.data(), 160, 40, 40), kScaleOk);
    EXPECT_NEAR(back[(5 * 40 + 5) * 4 + 2], c.rgb, 1);
  }
}

TEST(ScaleImageLayout, BottomUpRgbAndChromaOrder) {
  const uint32_t w = 8, h = 4;
  std::vector<uint8_t> i420 = i420Block(w, h);
  std::memset(i420.data(), 235, w * 2);          // top two rows white
  std::memset(i420.data() + w * 2, 16, w * 2);   // bottom two rows black
  std::memset(i420.data() + w * h, 100, 8);      // U
  std::memset(i420.data() + w * h + 8, 180, 8);  // V
  {
    SCOPED_TRACE("negative stride: plane 0 is the top row, the last in memory");
    std::vector<uint8_t> bgra(w * h * 4);
    ASSERT_EQ(scale(0, kFourCCI420, i420.data(), w, w, h, kFourCCBGRA, bgra.data() + (h - 1) * w * 4,
                    -static_cast<int32_t>(w * 4), w, h), kScaleOk);
    EXPECT_GT(bgra[(h - 1) * w * 4 + 1], 200);  // top row, green channel
    EXPECT_LT(bgra[1], 60);
  }
  {
    SCOPED_TRACE("YV12 keeps V first");
    std::vector<uint8_t> yv12 = i420Block(w, h);
    ASSERT_EQ(scale(0, kFourCCI420, i420.data(), w, w, h, kFourCCYV12, yv12.data(), w, w, h), kScaleOk);
    EXPECT_EQ((std::vector<uint8_t>{yv12[w * h], yv12[w * h + 8]}), (std::vector<uint8_t>{180, 100}));
  }
  {
    SCOPED_TRACE("NV12 interleaves U then V");
    std::vector<uint8_t> nv12(w * h * 3 / 2);
    ASSERT_EQ(scale(0, kFourCCI420, i420.data(), w, w, h, kFourCCNV12, nv12.data(), w, w, h), kScaleOk);
    EXPECT_EQ(std::vector<uint8_t>(&nv12[w * h], &nv12[w * h + 2]), (std::vector<uint8_t>{100, 180}));
  }
  {
    SCOPED_TRACE("VUYA bytes are V, U, Y, A");
    std::vector<uint8_t> vuya(w * h * 4);
    ASSERT_EQ(scale(0, kFourCCI420, i420.data(), w, w, h, kFourCCVUYA, vuya.data(), w * 4, w, h), kScaleOk);
    EXPECT_EQ(std::vector<uint8_t>(vuya.begin(), vuya.begin() + 4), (std::vector<uint8_t>{180, 100, 235, 255}));
  }
}

TEST(ScaleImageBlend, AlphaDecidesTheMix) {
  // Destination VUYA grey 100; source VUYA luma 200 with three alphas.
  std::vector<uint8_t> dst = {128, 128, 100, 255, 128, 128, 100, 255, 128, 128, 100, 255};
  const std::vector<uint8_t> src = {128, 128, 200, 0, 128, 128, 200, 128, 128, 128, 200, 255};
  const ScaleRectangles r = rectangles(0, 0, 2, 0, 0, 0, 2, 0);
  ASSERT_EQ(scale(0x10101, kFourCCVUYA, src.data(), 12, 3, 1, kFourCCVUYA, dst.data(), 12, 3, 1, &r), kScaleOk);
  EXPECT_EQ(dst[2], 100);
  EXPECT_NEAR(dst[4 + 2], 150, 1);  // (200 x 128 + 100 x 127) / 255
  EXPECT_NEAR(dst[8 + 2], 200, 1);
  EXPECT_EQ(dst[3], 255);
}

TEST(ScaleImageBounds, RectanglesAreClippedAndNothingOutsideIsTouched) {
  const uint32_t w = 16, h = 8;
  std::vector<uint8_t> src(w * h * 4, 0xEE);
  for (size_t i = 3; i < src.size(); i += 4) src[i] = 255;
  src[5] = 1;  // not uniform
  struct Case { const char* name; ScaleRectangles rect; bool drawsSomething; } cases[] = {
      {"hangs over every edge", rectangles(-4, -4, 20, 12, -3, -2, 20, 10), true},
      {"wholly outside the destination", rectangles(0, 0, 15, 7, 30, 0, 40, 7), false},
      {"wholly outside the source", rectangles(20, 0, 30, 7, 0, 0, 7, 7), false},
      {"right before left", rectangles(0, 0, 15, 7, 5, 0, 4, 7), false},
      // Found by ScalerFuzz: products of such spans overflow 64 bits.
      {"the widest spans there are", raw(INT32_MIN + 64, INT32_MIN, INT32_MAX, INT32_MAX, INT32_MIN, -2, INT32_MAX, 9), true},
      {"a source span far past its picture", raw(0, 0, INT32_MAX - 255, 7 * 256, INT32_MIN, 0, INT32_MAX, 7), false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    std::vector<uint8_t> i420 = i420Block(w, h);
    std::memset(i420.data(), 0x11, i420.size());
    ASSERT_EQ(scale(0x10001, kFourCCBGRA, src.data(), w * 4, w, h, kFourCCI420, i420.data(), w, w, h,
                    &c.rect), kScaleOk);
    EXPECT_EQ(i420 != std::vector<uint8_t>(i420.size(), 0x11), c.drawsSomething);
  }
}

// 4:2:0 chroma lies in the middle of each 2 x 2 block. A rectangle that
// starts on an odd column or row shares its first chroma sample with the
// pixel before it; scaled as if that sample were its own, the chroma would
// shift by a source pixel. On ramps that run along the picture's luma
// coordinate (U across, V down: 2 levels a pixel) every inner chroma
// sample of the result must sit where its block's centre maps to.
TEST(ScaleImageChroma, RectanglesOnOddColumnsAndRowsKeepChromaInPlace) {
  const uint32_t w = 96, h = 64;
  std::vector<uint8_t> src = i420Block(w, h);
  uint8_t* u = src.data() + w * h;
  uint8_t* v = u + w * h / 4;
  for (uint32_t i = 0; i < h / 2; ++i) {
    for (uint32_t j = 0; j < w / 2; ++j) {
      u[i * (w / 2) + j] = static_cast<uint8_t>(64 + 2 * (2 * j + 1));  // centre of block j: luma x 2j + 1
      v[i * (w / 2) + j] = static_cast<uint8_t>(64 + 2 * (2 * i + 1));
    }
  }
  const struct { int x, y; } starts[] = {{4, 2}, {5, 2}, {4, 3}, {5, 3}};
  for (const auto& at : starts) {
    SCOPED_TRACE(testing::Message() << "rectangle at " << at.x << "," << at.y);
    const uint32_t dw = 40, dh = 24;  // 80 x 48 of the source, halved
    std::vector<uint8_t> dst = i420Block(dw, dh);
    const ScaleRectangles r = rectangles(at.x, at.y, at.x + 79, at.y + 47, 0, 0, dw - 1, dh - 1);
    ASSERT_EQ(scale(kScaleUseSourceRect | kScaleUseDestRect, kFourCCI420, src.data(), w, w, h, kFourCCI420,
                    dst.data(), dw, dw, dh, &r),
              kScaleOk);
    const uint8_t* du = dst.data() + dw * dh;
    const uint8_t* dv = du + dw * dh / 4;
    // Destination block k's centre, 2k + 1, is source luma x + 2 (2k + 1).
    for (uint32_t k = 3; k + 3 < dw / 2; ++k) {
      EXPECT_NEAR(du[5 * (dw / 2) + k], 64 + 2 * (at.x + 2 * (2 * k + 1)), 1) << "column " << k;
    }
    for (uint32_t k = 3; k + 3 < dh / 2; ++k) {
      EXPECT_NEAR(dv[k * (dw / 2) + 5], 64 + 2 * (at.y + 2 * (2 * k + 1)), 1) << "row " << k;
    }
  }
}

TEST(ScaleImageBounds, OddSizesAndOddRectanglesStayInsideTheirBlocks) {
  const uint32_t sizes[][2] = {{5, 5}, {7, 3}, {3, 9}, {1, 1}, {2, 1}};
  for (const auto& s : sizes) {
    for (const auto& d : sizes) {
      SCOPED_TRACE(testing::Message() << s[0] << "x" << s[1] << " into " << d[0] << "x" << d[1]);
      std::vector<uint8_t> src = i420Block(s[0], s[1]);
      std::vector<uint8_t> dst = i420Block(d[0], d[1]);
      std::vector<uint8_t> yuy2(d[0] * 2 * d[1]);
      std::vector<uint8_t> vuya(d[0] * 4 * d[1]);
      std::memset(src.data(), 90, src.size());
      EXPECT_EQ(scale(0, kFourCCI420, src.data(), s[0], s[0], s[1], kFourCCI420, dst.data(), d[0], d[0], d[1]), kScaleOk);
      EXPECT_EQ(scale(0, kFourCCI420, src.data(), s[0], s[0], s[1], kFourCCYUY2, yuy2.data(), d[0] * 2, d[0], d[1]), kScaleOk);
      EXPECT_EQ(scale(0, kFourCCYUY2, yuy2.data(), d[0] * 2, d[0], d[1], kFourCCVUYA, vuya.data(), d[0] * 4, d[0], d[1]), kScaleOk);
      const ScaleRectangles r = rectangles(1, 1, 2, 2, 1, 1, 3, 3);
      EXPECT_EQ(scale(0x10101, kFourCCVUYA, vuya.data(), d[0] * 4, d[0], d[1], kFourCCI420, dst.data(), d[0], d[0], d[1], &r), kScaleOk);
      EXPECT_EQ(scale(0x10001, kFourCCI420, dst.data(), d[0], d[0], d[1], kFourCCYUY2, yuy2.data(), d[0] * 2, d[0], d[1], &r), kScaleOk);
    }
  }
}

// The overlay path fetches a frame's rectangle into VUYA, changes some of
// it and writes it back: the untouched part must come back bit for bit, and
// each written chroma sample is the rounded mean of the pixels it covers.
TEST(ScaleImageVuya, FrameRectanglesRoundTripExactlyAndChromaIsTheMean) {
  const uint32_t w = 40, h = 24;
  std::vector<uint8_t> frame = i420Block(w, h);
  for (size_t i = 0; i < frame.size(); ++i) frame[i] = static_cast<uint8_t>(i * 7 + (i >> 5) * 13);
  const uint8_t* lumaPlane = frame.data();
  const uint8_t* uPlane = frame.data() + w * h;
  struct Case {
    int x, y, cw, ch;
  } cases[] = {{0, 0, 40, 24}, {4, 2, 30, 20}, {3, 5, 7, 9}, {6, 4, 13, 2}, {0, 1, 22, 11}, {2, 2, 1, 1}};
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << c.cw << "x" << c.ch << " at " << c.x << "," << c.y);
    const std::vector<uint8_t> original = frame;
    std::vector<uint8_t> vuya(static_cast<size_t>(c.cw) * c.ch * 4);
    const ScaleRectangles fetch = rectangles(c.x, c.y, c.x + c.cw - 1, c.y + c.ch - 1, 0, 0, c.cw - 1, c.ch - 1);
    const ScaleRectangles back = rectangles(0, 0, c.cw - 1, c.ch - 1, c.x, c.y, c.x + c.cw - 1, c.y + c.ch - 1);
    ASSERT_EQ(scale(0x10001, kFourCCI420, frame.data(), w, w, h, kFourCCVUYA, vuya.data(), c.cw * 4, c.cw, c.ch, &fetch), kScaleOk);
    for (int i = 0; i < c.ch; ++i) {
      for (int j = 0; j < c.cw; ++j) {
        const uint8_t* p = &vuya[(i * c.cw + j) * 4];
        ASSERT_EQ(p[2], lumaPlane[(c.y + i) * w + c.x + j]);
        ASSERT_EQ(p[3], 255);
        // On even offsets each pixel carries the chroma sample of its own 2x2 block.
        if (c.x % 2 == 0 && c.y % 2 == 0) {
          ASSERT_EQ(p[1], uPlane[(c.y + i) / 2 * (w / 2) + (c.x + j) / 2]);
        }
      }
    }
    ASSERT_EQ(scale(0x10001, kFourCCVUYA, vuya.data(), c.cw * 4, c.cw, c.ch, kFourCCI420, frame.data(), w, w, h, &back), kScaleOk);
    ASSERT_EQ(frame, original);

    // A new U pattern written back: each sample the mean of 4, 2 or 1 pixels.
    for (int i = 0; i < c.ch; ++i) {
      for (int j = 0; j < c.cw; ++j) vuya[(i * c.cw + j) * 4 + 1] = static_cast<uint8_t>(j * 37 + i * 11);
    }
    ASSERT_EQ(scale(0x10001, kFourCCVUYA, vuya.data(), c.cw * 4, c.cw, c.ch, kFourCCI420, frame.data(), w, w, h, &back), kScaleOk);
    for (int cy = 0; cy < (c.ch + 1) / 2; ++cy) {
      for (int cx = 0; cx < (c.cw + 1) / 2; ++cx) {
        int sum = 0, count = 0;
        for (int i = 2 * cy; i < std::min(2 * cy + 2, c.ch); ++i) {
          for (int j = 2 * cx; j < std::min(2 * cx + 2, c.cw); ++j, ++count) sum += (j * 37 + i * 11) & 255;
        }
        ASSERT_EQ(uPlane[(c.y / 2 + cy) * (w / 2) + c.x / 2 + cx], (sum + count / 2) / count) << cx << "," << cy;
      }
    }
    frame = original;
  }
}

// A picture of one code, in a block of exactly its extent plus guard bytes.
struct Coded {
  uint32_t code;
  uint32_t width, height;
  int32_t stride;
  std::vector<uint8_t> bytes;
  static constexpr size_t kGuard = 256;
  Coded(uint32_t c, uint32_t w, uint32_t h) : code(c), width(w), height(h), stride(strideOf(c, w)) {
    bytes.assign(scaleImageExtent(c, stride, w, h) + kGuard, 0xA5);
  }
  static int32_t strideOf(uint32_t c, uint32_t w) {
    const int32_t bpp = c == kFourCCXYZ12 ? 6 : c == kFourCCBGRA || c == kFourCCVUYA ? 4 : c == kFourCCBGR3 ? 3
                       : c == kFourCCYUY2 || c == kFourCCUYVY ? 2 : 1;
    return static_cast<int32_t>(w) * bpp;
  }
  bool guardIntact() const { return std::all_of(bytes.end() - kGuard, bytes.end(), [](uint8_t b) { return b == 0xA5; }); }
};

// libswscale writes straight into destinations whose rows are whole vector
// blocks; its own stores are outside AddressSanitizer's view, so guard bytes
// after the last row show any write past it, same size and scaled, every
// height parity.
TEST(ScaleImageBounds, LibraryWritesStopAtTheLastRowOfWholeBlockRows) {
  const uint32_t codes[] = {kFourCCBGRA, kFourCCBGR3, kFourCCI420, kFourCCYUY2};
  const uint32_t widths[] = {16, 32, 48, 64, 128, 136};
  const uint32_t heights[] = {1, 2, 3, 18};
  for (uint32_t code : codes) {
    for (uint32_t w : widths) {
      for (uint32_t h : heights) {
        for (uint32_t sw : {w, w / 2 + 6}) {
          SCOPED_TRACE(testing::Message() << std::hex << code << std::dec << " " << sw << " into " << w << "x" << h);
          const uint32_t sh = h < 2 ? 2 : h + h % 2;
          std::vector<uint8_t> src = i420Block(sw, sh);
          for (size_t i = 0; i < src.size(); ++i) src[i] = static_cast<uint8_t>(i * 5);
          Coded dst(code, w, h);
          ASSERT_EQ(scale(0, kFourCCI420, src.data(), sw, sw, sh, code, dst.bytes.data(), dst.stride, w, h), kScaleOk);
          EXPECT_TRUE(dst.guardIntact());
        }
      }
    }
  }
}

// Every code into every code at reductions of up to 1920 times, and into
// sizes of one or two pixels: each is drawn, inside its block, in the
// colour of the source.
TEST(ScaleImageBounds, ExtremeReductionsGoInStepsForEveryPairOfCodes) {
  const uint32_t codes[] = {kFourCCI420, kFourCCNV12, kFourCCYUY2, kFourCCUYVY,
                            kFourCCBGR3, kFourCCBGRA, kFourCCVUYA, kFourCCXYZ12};
  const struct {
    uint32_t sw, sh, dw, dh;
  } sizes[] = {{640, 360, 4, 4}, {1000, 40, 4, 40}, {640, 360, 64, 2}, {1920, 1080, 8, 8},
               {1920, 1080, 1, 1}, {4096, 2, 2, 2},
               // 2.67:1 across, where lanczos is chosen, with 29:1 down (found by ScalerFuzz).
               {64, 883, 24, 30}};
  const uint8_t bgr[3] = {50, 100, 200};
  for (const auto& size : sizes) {
    std::vector<uint8_t> solid(size_t{size.sw} * size.sh * 4);
    for (size_t i = 0; i < solid.size(); i += 4) {
      std::memcpy(&solid[i], bgr, 3);
      solid[i + 3] = 255;
    }
    for (uint32_t from : codes) {
      Coded src(from, size.sw, size.sh);
      ASSERT_EQ(scale(0, kFourCCBGRA, solid.data(), size.sw * 4, size.sw, size.sh, from, src.bytes.data(),
                      src.stride, size.sw, size.sh), kScaleOk);
      for (uint32_t to : codes) {
        SCOPED_TRACE(testing::Message() << std::hex << from << " into " << to << std::dec << ", " << size.sw
                                        << "x" << size.sh << " into " << size.dw << "x" << size.dh);
        Coded dst(to, size.dw, size.dh);
        ASSERT_EQ(scale(0, from, src.bytes.data(), src.stride, size.sw, size.sh, to, dst.bytes.data(),
                        dst.stride, size.dw, size.dh), kScaleOk);
        EXPECT_TRUE(dst.guardIntact());
        std::vector<uint8_t> back(size_t{size.dw} * size.dh * 4);
        ASSERT_EQ(scale(0, to, dst.bytes.data(), dst.stride, size.dw, size.dh, kFourCCBGRA, back.data(),
                        size.dw * 4, size.dw, size.dh), kScaleOk);
        // 4:2:0 and 4:2:2 pictures of one pixel keep no chroma of their own.
        // libyuv's box filter rounds down, about a level a step, so the
        // colour may sink a little more than through one conversion.
        const bool chroma = size.dw > 1 && (size.dh > 1 || (to != kFourCCI420 && to != kFourCCNV12));
        for (int c = 0; c < 3 && chroma; ++c) EXPECT_NEAR(back[c], bgr[c], 12) << "channel " << c;
      }
    }
  }
}

// libyuv asserts, ending the process, on a 4:1 box reduction across with
// an even reduction down that is not a multiple of four (64x48 into 16x8,
// an alpha overlay at a quarter of its width). Every whole ratio of a
// 4-byte picture must scale; found by ScalerFuzz.
TEST(ScaleImageBounds, Packed4ReductionsOfEveryWholeRatio) {
  for (int sw = 1; sw <= 24; ++sw) {
    for (int sh = 1; sh <= 24; ++sh) {
      std::vector<uint8_t> src(static_cast<size_t>(sw) * sh * 4);
      for (size_t i = 0; i < src.size(); ++i) src[i] = static_cast<uint8_t>(i * 7);
      for (int dw = 1; dw <= sw; ++dw) {
        for (int dh = 1; dh <= sh; ++dh) {
          if (sw % dw != 0 || sh % dh != 0) continue;
          SCOPED_TRACE(testing::Message() << sw << "x" << sh << " into " << dw << "x" << dh);
          std::vector<uint8_t> dst(static_cast<size_t>(dw) * dh * 4);
          ASSERT_EQ(scale(0, kFourCCVUYA, src.data(), sw * 4, sw, sh, kFourCCVUYA, dst.data(), dw * 4, dw, dh),
                    kScaleOk);
        }
      }
    }
  }
}

// The XYZ12 output of libswscale is converted over whole strides and on
// rows counted in the source's: a rectangle of an XYZ12 picture, scaled or
// not, must leave the rest of the picture and the bytes after it alone.
TEST(ScaleImageBounds, Xyz12RectanglesStayInsideTheirRectangle) {
  const struct { uint32_t code, sw, sh, fw, fh; int dl, dt, dr, db; } cases[] = {
      {kFourCCYV12, 320, 240, 160, 96, 16, 0, 143, 95},  // a letterbox rendition
      {kFourCCI420, 64, 48, 64, 48, 0, 0, 63, 47},
      {kFourCCBGR3, 16, 16, 160, 96, 0, 0, 159, 95},     // its black fill
      {kFourCCI420, 9, 9, 3, 3, 1, 1, 1, 1},
      {kFourCCXYZ12, 40, 30, 40, 30, 5, 5, 34, 24},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << c.sw << "x" << c.sh << " into " << c.dr - c.dl + 1 << "x"
                                    << c.db - c.dt + 1 << " of " << c.fw << "x" << c.fh);
    Coded src(c.code, c.sw, c.sh);
    for (size_t i = 0; i < src.bytes.size(); ++i) src.bytes[i] = static_cast<uint8_t>(i * 13);
    Coded frame(kFourCCXYZ12, c.fw, c.fh);
    const ScaleRectangles r = rectangles(0, 0, c.sw - 1, c.sh - 1, c.dl, c.dt, c.dr, c.db);
    ASSERT_EQ(scale(0x10001, c.code, src.bytes.data(), src.stride, c.sw, c.sh, kFourCCXYZ12, frame.bytes.data(),
                    frame.stride, c.fw, c.fh, &r), kScaleOk);
    EXPECT_TRUE(frame.guardIntact());
    size_t outside = 0, inside = 0;
    for (uint32_t y = 0; y < c.fh; ++y) {
      for (uint32_t x = 0; x < c.fw * 6; ++x) {
        const bool in = static_cast<int>(y) >= c.dt && static_cast<int>(y) <= c.db &&
                        static_cast<int>(x / 6) >= c.dl && static_cast<int>(x / 6) <= c.dr;
        const bool changed = frame.bytes[y * frame.stride + x] != 0xA5;
        outside += !in && changed;
        inside += in && changed;
      }
    }
    EXPECT_EQ(outside, 0u);
    EXPECT_GT(inside, 0u);
  }
}

// A session with many renditions, each with an opaque overlay, keeps all of
// its conversions: after the first frame no context is
// built again (the cache once held eight, and such a ladder rebuilt some of
// them on every frame).
TEST(ScaleImageContexts, AFullLadderBuildsNoContextAfterItsFirstFrame) {
  const uint32_t sw = 320, sh = 180;
  std::vector<uint8_t> source = i420Block(sw, sh);
  for (size_t i = 0; i < source.size(); ++i) source[i] = static_cast<uint8_t>(i * 7);
  std::vector<uint8_t> overlay(32 * 16 * 4);
  for (size_t i = 0; i < overlay.size(); ++i) overlay[i] = static_cast<uint8_t>(i * 13);
  std::vector<std::vector<uint8_t>> renditions;
  for (uint32_t i = 0; i < 24; ++i) renditions.push_back(i420Block(64 + 8 * i, 36 + 4 * i));
  uint64_t afterFirstFrame = 0;
  for (int frame = 0; frame < 3; ++frame) {
    for (uint32_t i = 0; i < renditions.size(); ++i) {
      const uint32_t w = 64 + 8 * i, h = 36 + 4 * i;
      uint8_t* out = renditions[i].data();
      ASSERT_EQ(scale(0, kFourCCI420, source.data(), sw, sw, sh, kFourCCI420, out, w, w, h), kScaleOk);
      const ScaleRectangles at = rectangles(0, 0, 31, 15, 2, 2, 2 + 16 + i, 2 + 8);
      ASSERT_EQ(scale(kScaleUseSourceRect | kScaleUseDestRect, kFourCCBGRA, overlay.data(), 32 * 4, 32, 16,
                      kFourCCI420, out, w, w, h, &at),
                kScaleOk);
    }
    if (frame == 0) afterFirstFrame = scaleImageContextsBuilt();
  }
  EXPECT_EQ(scaleImageContextsBuilt(), afterFirstFrame);
}

// Huge pictures make huge contexts (about 2 MiB each at 16384 pixels
// across): a thread that scales many sizes of them keeps a bounded amount,
// dropping the least recently used, and still scales correctly after.
TEST(ScaleImageContexts, ContextsOfHugePicturesAreKeptWithinTheirByteBound) {
  std::thread worker([] {
    const uint32_t sw = 16384, sh = 16;
    std::vector<uint8_t> source = i420Block(sw, sh);
    std::fill(source.begin(), source.end(), 90);
    uint64_t mostKept = 0;
    for (uint32_t i = 0; i < 40; ++i) {
      const uint32_t w = 16000 - 16 * i, h = 14;
      std::vector<uint8_t> out = i420Block(w, h);
      ASSERT_EQ(scale(0, kFourCCI420, source.data(), sw, sw, sh, kFourCCI420, out.data(), w, w, h), kScaleOk);
      EXPECT_EQ(out[w * h / 2], 90) << "scaled with a fresh or kept context alike";
      mostKept = std::max(mostKept, scaleImageContextBytesKept());
    }
    EXPECT_GT(mostKept, uint64_t{24} << 20) << "the contexts were kept up to the bound";
    EXPECT_LE(mostKept, uint64_t{48} << 20);
    EXPECT_EQ(scaleImageContextsBuilt(), 40u) << "a context per size, on a thread of its own";
  });
  worker.join();
}

TEST(ScaleImageBounds, RefusedCodesAndArgumentsWriteNothing) {
  std::vector<uint8_t> src(64 * 4 * 4, 50), dst(64 * 4 * 4, 0x33);
  EXPECT_EQ(scale(0, kFourCCv210, src.data(), 256, 64, 4, kFourCCBGRA, dst.data(), 256, 64, 4), kScaleUnsupported);
  EXPECT_EQ(scale(0, kFourCCBGRA, src.data(), 256, 64, 4, kFourCCH264, dst.data(), 256, 64, 4), kScaleUnsupported);
  EXPECT_EQ(scale(0, kFourCCBGRA, src.data(), 100, 64, 4, kFourCCBGRA, dst.data(), 256, 64, 4), kScaleBadArgument);
  EXPECT_EQ(scale(0, kFourCCBGRA, nullptr, 256, 64, 4, kFourCCBGRA, dst.data(), 256, 64, 4), kScaleBadArgument);
  EXPECT_EQ(scale(0x10000, kFourCCBGRA, src.data(), 256, 64, 4, kFourCCBGRA, dst.data(), 256, 64, 4), kScaleBadArgument);
  EXPECT_EQ(scale(0, kFourCCBGRA, src.data(), 256, 0, 4, kFourCCBGRA, dst.data(), 256, 64, 4), kScaleBadArgument);
  // A stride of INT32_MIN has no magnitude; found by ScalerFuzz.
  EXPECT_EQ(scale(0x100, kFourCCXYZ12, src.data(), 384, 64, 1, kFourCCBGRA, dst.data(), INT32_MIN, 64, 1),
            kScaleBadArgument);
  EXPECT_EQ(scale(0, kFourCCBGRA, src.data(), INT32_MIN, 64, 1, kFourCCBGRA, dst.data(), 256, 64, 1), kScaleBadArgument);
  EXPECT_EQ(dst, std::vector<uint8_t>(dst.size(), 0x33));
  EXPECT_STRNE(scaleImageLastError(), "");
}

}  // namespace
}  // namespace cvx
