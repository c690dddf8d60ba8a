#include "platform/imagescaler/YuvConverter.h"

#include <cstdio>
#include <vector>

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

int argbScale(const uint8_t* src, int srcStride, int srcWidth, int srcHeight, uint8_t* dst, int dstStride,
              int dstWidth, int dstHeight) {
  return yuvStatus(libyuv::ARGBScale(src, srcStride, srcWidth, srcHeight, dst, dstStride, dstWidth, dstHeight,
                                     libyuv::kFilterBox),
                   "ARGBScale");
}

// This libyuv takes its 4:1 box path whenever the width shrinks exactly four
// times, and asserts there (ending the process) unless the height shrinks
// by a multiple of four too. Whole even reductions of the height that are
// not are the ones it cannot take.
bool hitsTheQuarterWidthAssertion(const Picture& src, const Picture& dst) {
  if (src.width != 4 * dst.width || src.height % dst.height != 0) return false;
  const int rows = src.height / dst.height;
  return rows % 2 == 0 && rows % 4 != 0;
}

thread_local std::vector<uint8_t> halfWidth;

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
  if (hitsTheQuarterWidthAssertion(src, dst)) {
    // Two box passes of 2:1 across average the same four pixels.
    const int width = dst.width * 2;
    halfWidth.resize(static_cast<size_t>(width) * 4 * static_cast<size_t>(src.height));
    const int status = argbScale(src.plane[0], src.stride[0], src.width, src.height, halfWidth.data(), width * 4,
                                 width, src.height);
    if (status != kScaleOk) return status;
    return argbScale(halfWidth.data(), width * 4, width, src.height, dst.plane[0], dst.stride[0], dst.width,
                     dst.height);
  }
  return argbScale(src.plane[0], src.stride[0], src.width, src.height, dst.plane[0], dst.stride[0], dst.width,
                   dst.height);
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

// VUYA is libyuv's ARGB byte order (B, G, R, A) with V as blue, U as green
// and Y as red, so its plane merge and split move the bytes unchanged.
void yuvPlanar420ToPacked4(const Picture& src, const Planes444& work, const Picture& dst) {
  const int chromaWidth = dst.width / 2;
  const int chromaRows = dst.height / 2;
  for (int cy = 0; cy < chromaRows; ++cy) {
    const ptrdiff_t y = 2 * cy;
    // libyuv's 2x nearest scaling has only a C column loop; our doubling
    // vectorises. One widened row serves both rows of the pair (chroma
    // stride 0), and no alpha plane makes the alpha 255.
    doubleBytes(src.plane[1] + cy * ptrdiff_t{src.stride[1]}, chromaWidth, work.plane[1]);
    doubleBytes(src.plane[2] + cy * ptrdiff_t{src.stride[2]}, chromaWidth, work.plane[2]);
    libyuv::MergeARGBPlane(src.plane[0] + y * src.stride[0], src.stride[0], work.plane[1], 0,
                           work.plane[2], 0, nullptr, 0, dst.plane[0] + y * dst.stride[0],
                           dst.stride[0], dst.width, 2);
  }
}

void yuvPacked4ToPlanar420(const Picture& src, const Planes444& work, const Picture& dst) {
  libyuv::SplitARGBPlane(src.plane[0], src.stride[0], dst.plane[0], dst.stride[0], work.plane[1],
                         work.stride[1], work.plane[2], work.stride[2], nullptr, 0, src.width,
                         src.height);
  // An exact halving with the box filter is the rounded 2x2 mean.
  libyuv::ScalePlane(work.plane[1], work.stride[1], src.width, src.height, dst.plane[1],
                     dst.stride[1], dst.width / 2, dst.height / 2, libyuv::kFilterBox);
  libyuv::ScalePlane(work.plane[2], work.stride[2], src.width, src.height, dst.plane[2],
                     dst.stride[2], dst.width / 2, dst.height / 2, libyuv::kFilterBox);
}

}  // namespace imagescaler
}  // namespace cvx
