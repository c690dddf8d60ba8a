#include "platform/gpuencoder/SurfaceConversion.h"

#include <algorithm>
#include <cstring>

namespace cvx {

namespace {

bool isPacked(int format) { return format == kNVVESurfaceUYVY || format == kNVVESurfaceYUY2; }

uint64_t ceilHalf(uint64_t v) { return (v + 1) / 2; }

// Chroma of planar 4:2:0 sources: plane, pitch, columns and rows it holds.
struct ChromaPlane {
  const uint8_t* base;
  uint64_t pitch;
  uint64_t columns;
  uint64_t rows;
  uint64_t step;  // bytes from one sample to the next: 1 planar, 2 interleaved
};

void copyLuma(const NVVE_EncodeFrameParams& f, uint8_t* dst, uint32_t dstPitch) {
  const uint64_t w = static_cast<uint64_t>(f.Width);
  if (isPacked(f.SurfFmt)) {
    const uint64_t lumaAt = f.SurfFmt == kNVVESurfaceUYVY ? 1 : 0;
    for (int y = 0; y < f.Height; ++y) {
      const uint8_t* row = f.picBuf + static_cast<uint64_t>(y) * static_cast<uint64_t>(f.Pitch);
      uint8_t* out = dst + static_cast<uint64_t>(y) * dstPitch;
      for (uint64_t x = 0; x < w; ++x) out[x] = row[2 * x + lumaAt];
    }
    return;
  }
  for (int y = 0; y < f.Height; ++y) {
    std::memcpy(dst + static_cast<uint64_t>(y) * dstPitch,
                f.picBuf + static_cast<uint64_t>(y) * static_cast<uint64_t>(f.Pitch), w);
  }
}

void copyPlanarChroma(const ChromaPlane& u, const ChromaPlane& v, uint8_t* dst, uint32_t dstPitch, uint64_t width,
                      uint64_t rows) {
  for (uint64_t r = 0; r < rows; ++r) {
    const uint64_t sourceRow = std::min(r, u.rows - 1);
    const uint8_t* uRow = u.base + sourceRow * u.pitch;
    const uint8_t* vRow = v.base + sourceRow * v.pitch;
    uint8_t* out = dst + r * dstPitch;
    for (uint64_t c = 0; c < width; ++c) {
      const uint64_t column = std::min(c, u.columns - 1);
      out[2 * c] = uRow[column * u.step];
      out[2 * c + 1] = vRow[column * v.step];
    }
  }
}

void copyPackedChroma(const NVVE_EncodeFrameParams& f, uint8_t* dst, uint32_t dstPitch, uint64_t width,
                      uint64_t rows) {
  const uint64_t uAt = f.SurfFmt == kNVVESurfaceUYVY ? 0 : 1;
  const uint64_t vAt = uAt + 2;
  const uint64_t pitch = static_cast<uint64_t>(f.Pitch);
  const uint64_t lastRow = static_cast<uint64_t>(f.Height) - 1;
  for (uint64_t r = 0; r < rows; ++r) {
    const uint8_t* top = f.picBuf + std::min(2 * r, lastRow) * pitch;
    const uint8_t* bottom = f.picBuf + std::min(2 * r + 1, lastRow) * pitch;
    uint8_t* out = dst + r * dstPitch;
    for (uint64_t c = 0; c < width; ++c) {
      out[2 * c] = static_cast<uint8_t>((top[4 * c + uAt] + bottom[4 * c + uAt] + 1) / 2);
      out[2 * c + 1] = static_cast<uint8_t>((top[4 * c + vAt] + bottom[4 * c + vAt] + 1) / 2);
    }
  }
}

}  // namespace

uint64_t nvveFrameBytes(int surfaceFormat, int width, int pitch, int height) {
  if (width <= 0 || pitch <= 0 || height <= 0) return 0;
  const uint64_t w = static_cast<uint64_t>(width);
  const uint64_t p = static_cast<uint64_t>(pitch);
  const uint64_t h = static_cast<uint64_t>(height);
  switch (surfaceFormat) {
    case kNVVESurfaceUYVY:
    case kNVVESurfaceYUY2:
      // Whole pixel pairs: an odd last pixel still has its pair's chroma.
      return p >= 4 * ceilHalf(w) ? p * h : 0;
    case kNVVESurfaceYV12:
    case kNVVESurfaceIYUV:
      return p >= w && p >= 2 && h >= 2 ? p * h + 2 * (p / 2) * (h / 2) : 0;
    case kNVVESurfaceNV12:
      return p >= w && p >= 2 && h >= 2 ? p * h + p * (h / 2) : 0;
    default:
      return 0;
  }
}

void copyToNV12(const NVVE_EncodeFrameParams& f, uint8_t* dst, uint32_t dstPitch, uint32_t dstLumaRows) {
  copyLuma(f, dst, dstPitch);
  const uint64_t p = static_cast<uint64_t>(f.Pitch);
  const uint64_t h = static_cast<uint64_t>(f.Height);
  const uint64_t chromaWidth = ceilHalf(static_cast<uint64_t>(f.Width));
  const uint64_t chromaRows = ceilHalf(h);
  uint8_t* chroma = dst + static_cast<uint64_t>(dstLumaRows) * dstPitch;
  if (isPacked(f.SurfFmt)) {
    copyPackedChroma(f, chroma, dstPitch, chromaWidth, chromaRows);
    return;
  }
  const uint8_t* second = f.picBuf + p * h;
  if (f.SurfFmt == kNVVESurfaceNV12) {
    const ChromaPlane uv{second, p, p / 2, h / 2, 2};
    const ChromaPlane vu{second + 1, p, p / 2, h / 2, 2};
    copyPlanarChroma(uv, vu, chroma, dstPitch, chromaWidth, chromaRows);
    return;
  }
  const ChromaPlane first{second, p / 2, p / 2, h / 2, 1};
  const ChromaPlane last{second + (p / 2) * (h / 2), p / 2, p / 2, h / 2, 1};
  // YV12 holds V before U, IYUV U before V.
  if (f.SurfFmt == kNVVESurfaceYV12) {
    copyPlanarChroma(last, first, chroma, dstPitch, chromaWidth, chromaRows);
  } else {
    copyPlanarChroma(first, last, chroma, dstPitch, chromaWidth, chromaRows);
  }
}

}  // namespace cvx
