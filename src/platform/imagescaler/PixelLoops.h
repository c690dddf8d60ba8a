#pragma once

#include <cstdint>

#include "platform/imagescaler/PixelLayout.h"

namespace cvx {
namespace imagescaler {

// One colour in both spaces, BT.709 limited range.
struct Colour {
  uint8_t y, u, v, a;
  uint8_t r, g, b;
};

Colour colourFromRgb(uint8_t r, uint8_t g, uint8_t b, uint8_t a);
Colour colourFromYuv(uint8_t y, uint8_t u, uint8_t v, uint8_t a);

// True when every pixel of a small packed RGB or VUYA picture has the same
// value, which is then in colour. Scaling such a picture is a fill.
bool uniformColour(const Picture& picture, Colour& colour);

// Fills the picture with one colour; false for a code it cannot fill.
bool fillSolid(const Picture& picture, const Colour& colour);

// Planes of a YUVA 4:4:4 picture, the form VUYA is unpacked into.
struct Planes444 {
  uint8_t* plane[4];
  int stride[4];
};

void unpackVuya(const Picture& vuya, const Planes444& planes);
void packVuya(const Planes444& planes, const Picture& vuya);

// Same-size conversions between 4:2:0 YUV and VUYA. The alpha written is 255.
void planar420ToVuya(const Picture& src, const Picture& dst);
void vuyaToPlanar420(const Picture& src, const Picture& dst);

// Each byte of a row twice over: count bytes in, 2 x count out. Doubles a
// chroma row to the width of its luma.
void doubleBytes(const uint8_t* in, int count, uint8_t* out);

// Same-size copy of one 4-byte picture into another.
void copyPacked4(const Picture& src, const Picture& dst);

// Subsampled pictures of odd size keep their last column or row out of the
// conversion; this repeats the neighbouring luma into it for the rows (or
// columns) of the rectangle drawn, so no stale bytes stay at the edge.
void fillOddEdge(const Picture& whole, int x, int y, int w, int h);

}  // namespace imagescaler
}  // namespace cvx
