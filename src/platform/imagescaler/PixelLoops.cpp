#include "platform/imagescaler/PixelLoops.h"

#include <algorithm>
#include <cstring>

#include "platform/imagescaler/ScaleImage.h"

namespace cvx {
namespace imagescaler {

namespace {

// BT.709 limited range in 16-bit fixed point. Each chroma row sums to zero,
// so grey stays exactly at 128, and white maps to 235, 128, 128 and back.
constexpr int kYr = 11966, kYg = 40254, kYb = 4064;
constexpr int kUr = -6596, kUg = -22188, kUb = 28784;
constexpr int kVr = 28784, kVg = -26145, kVb = -2639;
constexpr int kY = 76309, kRv = 117489, kGu = 13975, kGv = 34925, kBu = 138438;
static_assert(kUr + kUg + kUb == 0 && kVr + kVg + kVb == 0, "grey keeps neutral chroma");

uint8_t clampByte(int value) { return static_cast<uint8_t>(std::clamp(value, 0, 255)); }

uint8_t* row(const Picture& p, int plane, int y) {
  return p.plane[plane] + static_cast<ptrdiff_t>(y) * p.stride[plane];
}

}  // namespace

Colour colourFromRgb(uint8_t r, uint8_t g, uint8_t b, uint8_t a) {
  Colour c{};
  c.r = r;
  c.g = g;
  c.b = b;
  c.a = a;
  c.y = clampByte((kYr * r + kYg * g + kYb * b + (16 << 16) + 32768) >> 16);
  c.u = clampByte((kUr * r + kUg * g + kUb * b + (128 << 16) + 32768) >> 16);
  c.v = clampByte((kVr * r + kVg * g + kVb * b + (128 << 16) + 32768) >> 16);
  return c;
}

Colour colourFromYuv(uint8_t y, uint8_t u, uint8_t v, uint8_t a) {
  Colour c{};
  c.y = y;
  c.u = u;
  c.v = v;
  c.a = a;
  const int luma = kY * (y - 16) + 32768;
  c.r = clampByte((luma + kRv * (v - 128)) >> 16);
  c.g = clampByte((luma - kGu * (u - 128) - kGv * (v - 128)) >> 16);
  c.b = clampByte((luma + kBu * (u - 128)) >> 16);
  return c;
}

bool uniformColour(const Picture& picture, Colour& colour) {
  const PixelCode& code = *picture.code;
  if (code.layout != PixelLayout::Packed || code.bytesPerPixel > 4) return false;
  // Only small pictures are worth the look: the test costs what a fill saves.
  if (picture.width * picture.height > 4096) return false;
  const int bpp = code.bytesPerPixel;
  const uint8_t* first = picture.plane[0];
  for (int y = 0; y < picture.height; ++y) {
    const uint8_t* line = row(picture, 0, y);
    for (int x = 0; x < picture.width; ++x) {
      if (std::memcmp(line + x * bpp, first, static_cast<size_t>(bpp)) != 0) return false;
    }
  }
  if (code.fourcc == kFourCCVUYA) {
    colour = colourFromYuv(first[2], first[1], first[0], first[3]);
  } else {
    colour = colourFromRgb(first[2], first[1], first[0], bpp == 4 ? first[3] : 255);
  }
  return true;
}

bool fillSolid(const Picture& p, const Colour& c) {
  const PixelCode& code = *p.code;
  // The odd edge of a 4:2:0 picture has luma but no chroma of its own.
  const int chromaWidth = std::min((p.width + 1) / 2, p.chromaColumns);
  const int chromaHeight = std::min((p.height + 1) / 2, p.chromaRows);
  const int pairs = (p.width + 1) / 2;
  switch (code.layout) {
    case PixelLayout::Planar420:
      for (int y = 0; y < p.height; ++y) std::memset(row(p, 0, y), c.y, static_cast<size_t>(p.width));
      for (int y = 0; y < chromaHeight; ++y) {
        std::memset(row(p, 1, y), c.u, static_cast<size_t>(chromaWidth));
        std::memset(row(p, 2, y), c.v, static_cast<size_t>(chromaWidth));
      }
      return true;
    case PixelLayout::SemiPlanar420:
      for (int y = 0; y < p.height; ++y) std::memset(row(p, 0, y), c.y, static_cast<size_t>(p.width));
      for (int y = 0; y < chromaHeight; ++y) {
        uint8_t* line = row(p, 1, y);
        for (int x = 0; x < chromaWidth; ++x) {
          line[2 * x] = c.u;
          line[2 * x + 1] = c.v;
        }
      }
      return true;
    case PixelLayout::Packed422: {
      const bool yFirst = code.avFormat == AV_PIX_FMT_YUYV422;
      const uint8_t pair[4] = {yFirst ? c.y : c.u, yFirst ? c.u : c.y, yFirst ? c.y : c.v,
                               yFirst ? c.v : c.y};
      for (int y = 0; y < p.height; ++y) {
        uint8_t* line = row(p, 0, y);
        for (int x = 0; x < pairs; ++x) std::memcpy(line + 4 * x, pair, 4);
      }
      return true;
    }
    case PixelLayout::Packed: {
      uint8_t pixel[4];
      if (code.fourcc == kFourCCVUYA) {
        const uint8_t vuya[4] = {c.v, c.u, c.y, c.a};
        std::memcpy(pixel, vuya, 4);
      } else if (code.avFormat == AV_PIX_FMT_BGRA || code.avFormat == AV_PIX_FMT_BGR24) {
        const uint8_t bgra[4] = {c.b, c.g, c.r, c.a};
        std::memcpy(pixel, bgra, 4);
      } else {
        return false;
      }
      const size_t bpp = static_cast<size_t>(code.bytesPerPixel);
      for (int y = 0; y < p.height; ++y) {
        uint8_t* line = row(p, 0, y);
        for (int x = 0; x < p.width; ++x) std::memcpy(line + bpp * static_cast<size_t>(x), pixel, bpp);
      }
      return true;
    }
  }
  return false;
}

void unpackVuya(const Picture& vuya, const Planes444& planes) {
  for (int y = 0; y < vuya.height; ++y) {
    const uint8_t* in = row(vuya, 0, y);
    uint8_t* outY = planes.plane[0] + static_cast<ptrdiff_t>(y) * planes.stride[0];
    uint8_t* outU = planes.plane[1] + static_cast<ptrdiff_t>(y) * planes.stride[1];
    uint8_t* outV = planes.plane[2] + static_cast<ptrdiff_t>(y) * planes.stride[2];
    uint8_t* outA = planes.plane[3] + static_cast<ptrdiff_t>(y) * planes.stride[3];
    for (int x = 0; x < vuya.width; ++x, in += 4) {
      outV[x] = in[0];
      outU[x] = in[1];
      outY[x] = in[2];
      outA[x] = in[3];
    }
  }
}

void packVuya(const Planes444& planes, const Picture& vuya) {
  for (int y = 0; y < vuya.height; ++y) {
    uint8_t* out = row(vuya, 0, y);
    const uint8_t* inY = planes.plane[0] + static_cast<ptrdiff_t>(y) * planes.stride[0];
    const uint8_t* inU = planes.plane[1] + static_cast<ptrdiff_t>(y) * planes.stride[1];
    const uint8_t* inV = planes.plane[2] + static_cast<ptrdiff_t>(y) * planes.stride[2];
    const uint8_t* inA = planes.plane[3] + static_cast<ptrdiff_t>(y) * planes.stride[3];
    for (int x = 0; x < vuya.width; ++x, out += 4) {
      out[0] = inV[x];
      out[1] = inU[x];
      out[2] = inY[x];
      out[3] = inA[x];
    }
  }
}

void planar420ToVuya(const Picture& src, const Picture& dst) {
  for (int y = 0; y < dst.height; ++y) {
    const uint8_t* inY = row(src, 0, y);
    const uint8_t* inU = row(src, 1, y / 2);
    const uint8_t* inV = row(src, 2, y / 2);
    uint8_t* out = row(dst, 0, y);
    for (int x = 0; x < dst.width; ++x, out += 4) {
      out[0] = inV[x / 2];
      out[1] = inU[x / 2];
      out[2] = inY[x];
      out[3] = 255;
    }
  }
}

void vuyaToPlanar420(const Picture& src, const Picture& dst) {
  for (int y = 0; y < dst.height; ++y) {
    const uint8_t* in = row(src, 0, y);
    uint8_t* outY = row(dst, 0, y);
    for (int x = 0; x < dst.width; ++x) outY[x] = in[4 * x + 2];
  }
  // Each chroma sample is the mean of the pixels of the rectangle it covers:
  // four inside, fewer along an odd right or bottom edge.
  const int fullRows = dst.height / 2;
  const int fullCols = dst.width / 2;
  for (int cy = 0; cy < fullRows; ++cy) {
    const uint8_t* top = row(src, 0, 2 * cy);
    const uint8_t* bottom = row(src, 0, 2 * cy + 1);
    uint8_t* outU = row(dst, 1, cy);
    uint8_t* outV = row(dst, 2, cy);
    for (int cx = 0; cx < fullCols; ++cx) {
      const int i = 8 * cx;
      outV[cx] = static_cast<uint8_t>((top[i] + top[i + 4] + bottom[i] + bottom[i + 4] + 2) >> 2);
      outU[cx] = static_cast<uint8_t>((top[i + 1] + top[i + 5] + bottom[i + 1] + bottom[i + 5] + 2) >> 2);
    }
  }
  const auto edgeSample = [&](int cx, int cy) {
    const int rows = std::min(2, dst.height - 2 * cy);
    const int cols = std::min(2, dst.width - 2 * cx);
    int sumU = 0, sumV = 0;
    for (int r = 0; r < rows; ++r) {
      const uint8_t* in = row(src, 0, 2 * cy + r) + 8 * cx;
      for (int c = 0; c < cols; ++c) {
        sumV += in[4 * c];
        sumU += in[4 * c + 1];
      }
    }
    const int count = rows * cols;
    row(dst, 1, cy)[cx] = static_cast<uint8_t>((sumU + count / 2) / count);
    row(dst, 2, cy)[cx] = static_cast<uint8_t>((sumV + count / 2) / count);
  };
  if (dst.width % 2 != 0) {
    for (int cy = 0; cy < (dst.height + 1) / 2; ++cy) edgeSample(fullCols, cy);
  }
  if (dst.height % 2 != 0) {
    for (int cx = 0; cx < fullCols; ++cx) edgeSample(cx, fullRows);
  }
}

void doubleBytes(const uint8_t* in, int count, uint8_t* out) {
  // Whole 16-bit stores, which the compiler turns into byte interleaves.
  for (int i = 0; i < count; ++i) {
    const uint16_t pair = static_cast<uint16_t>(in[i] * 0x0101u);
    std::memcpy(out + 2 * i, &pair, sizeof pair);
  }
}

void copyPacked4(const Picture& src, const Picture& dst) {
  for (int y = 0; y < dst.height; ++y) {
    std::memcpy(row(dst, 0, y), row(src, 0, y), static_cast<size_t>(dst.width) * 4);
  }
}

void fillOddEdge(const Picture& whole, int x, int y, int w, int h) {
  const PixelCode& code = *whole.code;
  if (code.layout == PixelLayout::Packed) return;
  // The two luma bytes that stand for the last column: one for planar
  // layouts, the Y and its chroma byte of an unfinished pair for 4:2:2.
  const int unit = code.layout == PixelLayout::Packed422 ? 2 : 1;
  if (whole.fullWidth > whole.width && x + w == whole.width && whole.width >= 2) {
    const int from = unit == 1 ? whole.width - 1 : (whole.width - 2) * 2;
    for (int r = y; r < y + h; ++r) {
      uint8_t* line = row(whole, 0, r);
      std::memcpy(line + whole.width * unit, line + from, static_cast<size_t>(unit));
    }
  }
  if (whole.fullHeight > whole.height && y + h == whole.height && whole.height >= 1) {
    const int columns = (x + w == whole.width ? whole.fullWidth : x + w) - x;
    std::memcpy(row(whole, 0, whole.height) + x * unit, row(whole, 0, whole.height - 1) + x * unit,
                static_cast<size_t>(columns * unit));
  }
}

}  // namespace imagescaler
}  // namespace cvx
