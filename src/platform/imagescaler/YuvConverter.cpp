#include "platform/imagescaler/YuvConverter.h"

#include <cstdio>

#include <libyuv.h>

#include "platform/imagescaler/ScaleErrors.h"
#include "platform/imagescaler/ScaleImage.h"

namespace cvx {
namespace imagescaler {

namespace {

// The one place where libyuv's results become our status. libyuv has no
// error text: it answers -1 for arguments it refuses.
int yuvStatus(int result, const char* call) {
  if (result == 0) return kScaleOk;
  char text[32];
  std::snprintf(text, sizeof text, "returned %d", result);
  setScaleError(call, text);
  return kScaleLibraryFailure;
}

}  // namespace

// The box filter averages every source pixel a destination pixel covers, so
// reductions of two times and more do not alias; for smaller changes of size
// libyuv uses its bilinear filter anyway.
int yuvScalePlanar420(const Picture& src, const Picture& dst) {
  return yuvStatus(libyuv::I420Scale(src.plane[0], src.stride[0], src.plane[1], src.stride[1],
                                     src.plane[2], src.stride[2], src.width, src.height,
                                     dst.plane[0], dst.stride[0], dst.plane[1], dst.stride[1],
                                     dst.plane[2], dst.stride[2], dst.width, dst.height,
                                     libyuv::kFilterBox),
                   "I420Scale");
}

int yuvScalePacked4(const Picture& src, const Picture& dst) {
  return yuvStatus(libyuv::ARGBScale(src.plane[0], src.stride[0], src.width, src.height,
                                     dst.plane[0], dst.stride[0], dst.width, dst.height,
                                     libyuv::kFilterBox),
                   "ARGBScale");
}

int yuvBlendPacked4(const Picture& src, const Picture& attenuated, const Picture& dst) {
  const int status = yuvStatus(libyuv::ARGBAttenuate(src.plane[0], src.stride[0], attenuated.plane[0],
                                                     attenuated.stride[0], dst.width, dst.height),
                               "ARGBAttenuate");
  if (status != kScaleOk) return status;
  return yuvStatus(libyuv::ARGBBlend(attenuated.plane[0], attenuated.stride[0], dst.plane[0],
                                     dst.stride[0], dst.plane[0], dst.stride[0], dst.width,
                                     dst.height),
                   "ARGBBlend");
}

}  // namespace imagescaler
}  // namespace cvx
