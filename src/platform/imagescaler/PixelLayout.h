#pragma once

#include <cstddef>
#include <cstdint>

extern "C" {
#include <libavutil/pixfmt.h>
}

namespace cvx {
namespace imagescaler {

enum class PixelLayout {
  Planar420,      // Y, then two quarter planes at half the stride
  SemiPlanar420,  // Y, then one interleaved U,V plane at the full stride
  Packed422,      // two pixels in four bytes
  Packed,         // bytesPerPixel bytes a pixel, one plane
};

// One row of the table that maps our four-character codes to the libraries'.
struct PixelCode {
  uint32_t fourcc;
  PixelLayout layout;
  int bytesPerPixel;       // of plane 0; 1 for the planar luma, 2 for 4:2:2 pairs
  AVPixelFormat avFormat;  // AV_PIX_FMT_NONE: packed and unpacked by our own loops
  bool chromaSwapped;      // plane 1 holds V
  bool isYuv;
  bool hasAlpha;
};

// Null when the scaler does not handle the code.
const PixelCode* findPixelCode(uint32_t fourcc);

// A picture (or a rectangle of one) as the converters see it: plane[1] is
// always U and plane[2] always V, whatever order memory has them in. width
// and height are the usable size: subsampled pictures of odd size lose their
// last column or row, whose chroma the plane rule gives no room for.
struct Picture {
  const PixelCode* code = nullptr;
  uint8_t* plane[3] = {nullptr, nullptr, nullptr};
  int stride[3] = {0, 0, 0};
  int width = 0;
  int height = 0;
  int fullWidth = 0;   // as given, for the odd edge
  int fullHeight = 0;
};

// Largest side the scaler accepts; keeps every offset inside 32-bit strides.
constexpr uint32_t kMaxSide = 16384;

// Bytes plane 0 onwards spans (positive stride), 0 when stride is too small.
uint64_t pictureExtent(const PixelCode& code, int32_t stride, uint32_t width, uint32_t height);

// Finds the planes from plane 0 by the plane rule. Returns false when the
// arguments cannot describe a picture (null plane, zero or oversized side,
// stride too small, negative stride on a YUV code).
bool describePicture(const PixelCode& code, uint8_t* plane0, int32_t stride, uint32_t width,
                     uint32_t height, Picture& out);

// The rectangle (x, y, w, h) of a picture, inside its usable size. A 4:2:2
// rectangle starts on an even column so that pairs stay whole.
Picture subPicture(const Picture& picture, int x, int y, int w, int h);

}  // namespace imagescaler
}  // namespace cvx
