#pragma once

#include <cstdint>

namespace cvx {

// Four-character codes, first character in the lowest byte.
constexpr uint32_t makeFourCC(char a, char b, char c, char d) {
  return static_cast<uint32_t>(static_cast<uint8_t>(a)) |
         static_cast<uint32_t>(static_cast<uint8_t>(b)) << 8 |
         static_cast<uint32_t>(static_cast<uint8_t>(c)) << 16 |
         static_cast<uint32_t>(static_cast<uint8_t>(d)) << 24;
}
constexpr uint32_t kFourCCYV12 = makeFourCC('Y', 'V', '1', '2');
constexpr uint32_t kFourCCI420 = makeFourCC('I', '4', '2', '0');
constexpr uint32_t kFourCCYV16 = makeFourCC('Y', 'V', '1', '6');
constexpr uint32_t kFourCCYUY2 = makeFourCC('Y', 'U', 'Y', '2');
constexpr uint32_t kFourCCYUYV = makeFourCC('Y', 'U', 'Y', 'V');
constexpr uint32_t kFourCCUYVY = makeFourCC('U', 'Y', 'V', 'Y');
constexpr uint32_t kFourCCv210 = makeFourCC('v', '2', '1', '0');
constexpr uint32_t kFourCCBGR3 = makeFourCC('B', 'G', 'R', '3');
constexpr uint32_t kFourCCBGRA = makeFourCC('B', 'G', 'R', 'A');
constexpr uint32_t kFourCCBGR4 = makeFourCC('B', 'G', 'R', '4');
constexpr uint32_t kFourCCH264 = makeFourCC('H', '2', '6', '4');
constexpr uint32_t kFourCCXYZ12 = makeFourCC('X', 'Y', 'Z', '\x0C');
constexpr uint32_t kFourCCVUYA = makeFourCC('V', 'U', 'Y', 'A');
constexpr uint32_t kFourCCNV12 = makeFourCC('N', 'V', '1', '2');
static_assert(kFourCCBGRA == 0x41524742u, "first character in the lowest byte");

// Flags of scaleImage.
constexpr uint32_t kScaleUseSourceRect = 0x1;     // srcLeft..srcBottom count, in 1/256 pixel
constexpr uint32_t kScaleBlendAlpha = 0x100;      // source over destination by source alpha
constexpr uint32_t kScaleUseDestRect = 0x10000;   // dstLeft..dstBottom count, whole pixels

// Rectangles are inclusive of their right and bottom edge. Source coordinates
// carry 8 fractional bits; destination coordinates are whole pixels. Callers
// zero the whole record, the reserved area included.
struct ScaleRectangles {
  int32_t srcLeft;
  int32_t srcTop;
  int32_t srcRight;
  int32_t srcBottom;
  int32_t dstLeft;
  int32_t dstTop;
  int32_t dstRight;
  int32_t dstBottom;
  uint8_t reserved[32];
};

// Results of scaleImage. Callers on the picture path ignore them; they exist
// for tests and for diagnostics through scaleImageLastError().
enum ScaleStatus : int {
  kScaleOk = 0,
  kScaleBadArgument = -1,
  kScaleUnsupported = -2,
  kScaleLibraryFailure = -3,
  kScaleNoMemory = -4,
};

// Converts, scales and composites one picture into another. Only plane 0 is
// passed: the chroma planes of a planar picture follow it (plane 1 at
// plane0 + stride x height with stride / 2, plane 2 a quarter of stride x
// height after plane 1; for NV12 one interleaved plane with the full stride).
// RGB pictures with a negative stride are bottom-up in memory, plane 0 being
// their top row. Rectangles are clipped to both pictures, and nothing outside
// the planes described is ever read or written; a rectangle that is empty
// after clipping draws nothing. YUV is BT.709 limited range in both
// directions. Arguments 12, 13 and 15 are always null, 1 and null.
// Safe to call from several threads at once.
int scaleImage(uint32_t flags, uint32_t srcFourCC, const uint8_t* srcPlane0, int32_t srcStride,
               uint32_t srcWidth, uint32_t srcHeight, uint32_t dstFourCC, uint8_t* dstPlane0,
               int32_t dstStride, uint32_t dstWidth, uint32_t dstHeight, void* reserved12,
               uint32_t one, const ScaleRectangles* rectangles, void* reserved15);

// The bytes a picture of this code spans from plane 0 onwards with a positive
// stride, or 0 when the code is unknown to the scaler or the stride is too
// small for the width. Lets callers check a byte array before handing it over.
uint64_t scaleImageExtent(uint32_t fourcc, int32_t stride, uint32_t width, uint32_t height);

// The library's own text for the last failure on this thread, "" if none.
const char* scaleImageLastError();

}  // namespace cvx
