#pragma once

#include <cstdint>
#include <cstring>
#include <vector>

#include "video/frames/IImageScaler.h"
#include "video/frames/LibraryImageScaler.h"

namespace cvx {
namespace testing_frames {

// Remembers every call's flags, codes, sizes and rectangles, and optionally
// passes it on to the real scaler so pixels can be checked as well.
class RecordingImageScaler : public IImageScaler {
 public:
  struct Call {
    uint32_t flags;
    uint32_t srcFourCC;
    const uint8_t* src;
    int32_t srcStride;
    uint32_t srcWidth, srcHeight;
    uint32_t dstFourCC;
    uint8_t* dst;
    int32_t dstStride;
    uint32_t dstWidth, dstHeight;
    bool hasRectangles;
    ScaleRectangles rectangles;
  };

  explicit RecordingImageScaler(bool forward) : forward_(forward) {}

  int scaleImage(uint32_t flags, uint32_t srcFourCC, const uint8_t* srcPlane0, int32_t srcStride,
                 uint32_t srcWidth, uint32_t srcHeight, uint32_t dstFourCC, uint8_t* dstPlane0,
                 int32_t dstStride, uint32_t dstWidth, uint32_t dstHeight, void* reserved12,
                 uint32_t one, const ScaleRectangles* rectangles, void* reserved15) override {
    Call call{flags,     srcFourCC, srcPlane0, srcStride, srcWidth,  srcHeight,
              dstFourCC, dstPlane0, dstStride, dstWidth,  dstHeight, rectangles != nullptr, {}};
    if (rectangles != nullptr) std::memcpy(&call.rectangles, rectangles, sizeof call.rectangles);
    calls.push_back(call);
    if (!forward_) return 0;
    return defaultImageScaler().scaleImage(flags, srcFourCC, srcPlane0, srcStride, srcWidth,
                                           srcHeight, dstFourCC, dstPlane0, dstStride, dstWidth,
                                           dstHeight, reserved12, one, rectangles, reserved15);
  }

  std::vector<Call> calls;

 private:
  bool forward_;
};

}  // namespace testing_frames
}  // namespace cvx
