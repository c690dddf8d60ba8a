#pragma once

#include <cstdint>

#include "media/FourCC.h"

namespace cvx {

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

// Conversion contexts this thread has built so far. A steady stream of
// frames builds none after its first: each rendition's conversions are kept.
uint64_t scaleImageContextsBuilt();

// The estimated bytes of the contexts this thread keeps: at most 48 MiB.
uint64_t scaleImageContextBytesKept();

}  // namespace cvx
