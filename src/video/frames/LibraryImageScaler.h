#pragma once

#include "video/frames/IImageScaler.h"

namespace cvx {

// The scaler of the platform: forwards to cvx::scaleImage.
class LibraryImageScaler : public IImageScaler {
 public:
  int scaleImage(uint32_t flags, uint32_t srcFourCC, const uint8_t* srcPlane0, int32_t srcStride,
                 uint32_t srcWidth, uint32_t srcHeight, uint32_t dstFourCC, uint8_t* dstPlane0,
                 int32_t dstStride, uint32_t dstWidth, uint32_t dstHeight, void* reserved12,
                 uint32_t one, const ScaleRectangles* rectangles, void* reserved15) override;
};

// The process-wide instance every frame object uses unless told otherwise.
// It holds no state, so sharing it between threads is safe.
IImageScaler& defaultImageScaler();

}  // namespace cvx
