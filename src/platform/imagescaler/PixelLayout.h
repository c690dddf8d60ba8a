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
// last column or row, whose chroma the plane rule gives no room for, except
// on the paths that take that edge (see oddEdgePicture).
struct Picture {
  const PixelCode* code = nullptr;
  uint8_t* plane[3] = {nullptr, nullptr, nullptr};
  int stride[3] = {0, 0, 0};
  int width = 0;
  int height = 0;
  int fullWidth = 0;   // as given, for the odd edge
  int fullHeight = 0;
  // 4:2:0 only. The chroma samples the planes hold from plane[1] onwards:
  // one fewer than the luma needs where a rectangle takes the last column
  // or row of a picture of odd size. A rectangle that starts on an odd
  // column or row shares its first chroma sample with the pixel before it,
  // so that sample lies half a pixel before its first luma sample.
  int chromaColumns = 0;
  int chromaRows = 0;
  bool oddColumn = false;
  bool oddRow = false;
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

// The rectangle (x, y, w, h) of a picture, inside its usable size (or its
// full size for an odd-edge picture). A 4:2:2 rectangle starts on an even
// column so that pairs stay whole.
Picture subPicture(const Picture& picture, int x, int y, int w, int h);

// The same picture with its usable size widened to the full size: for the
// conversions that read or write the last column and row of a 4:2:0 picture
// of odd size, supplying the chroma sample the plane rule leaves out. Only
// 4:2:0 planar pictures of at least 2 x 2 pixels have such an edge.
bool hasOddEdge(const Picture& picture);
Picture oddEdgePicture(const Picture& picture);

}  // namespace imagescaler
}  // namespace cvx
