#include "video/frames/LibraryImageScaler.h"

namespace cvx {

int LibraryImageScaler::scaleImage(uint32_t flags, uint32_t srcFourCC, const uint8_t* srcPlane0,
                                   int32_t srcStride, uint32_t srcWidth, uint32_t srcHeight,
                                   uint32_t dstFourCC, uint8_t* dstPlane0, int32_t dstStride,
                                   uint32_t dstWidth, uint32_t dstHeight, void* reserved12,
                                   uint32_t one, const ScaleRectangles* rectangles,
                                   void* reserved15) {
  return cvx::scaleImage(flags, srcFourCC, srcPlane0, srcStride, srcWidth, srcHeight, dstFourCC,
                         dstPlane0, dstStride, dstWidth, dstHeight, reserved12, one, rectangles,
                         reserved15);
}

IImageScaler& defaultImageScaler() {
  static LibraryImageScaler scaler;
  return scaler;
}

}  // namespace cvx
