#pragma once

#include <cstdint>

#include "platform/imagescaler/ScaleImage.h"

namespace cvx {

// The one operation behind all pixel conversion, scaling and compositing of
// the frame classes. Its arguments and their meaning are those of
// cvx::scaleImage; the frame classes reach it through this interface so that
// tests can watch which rectangles and flags a picture is drawn with.
// Implementations never touch memory outside the pictures described, and
// callers on the picture path ignore the result.
class IImageScaler {
 public:
  virtual ~IImageScaler() = default;
  virtual int scaleImage(uint32_t flags, uint32_t srcFourCC, const uint8_t* srcPlane0,
                         int32_t srcStride, uint32_t srcWidth, uint32_t srcHeight,
                         uint32_t dstFourCC, uint8_t* dstPlane0, int32_t dstStride,
                         uint32_t dstWidth, uint32_t dstHeight, void* reserved12, uint32_t one,
                         const ScaleRectangles* rectangles, void* reserved15) = 0;
};

}  // namespace cvx
