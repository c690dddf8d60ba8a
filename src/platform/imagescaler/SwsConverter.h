#pragma once

#include <cstdint>

extern "C" {
#include <libavutil/pixfmt.h>
}

namespace cvx {
namespace imagescaler {

// One picture in libswscale's terms.
struct SwsImage {
  AVPixelFormat format;
  uint8_t* data[4];
  int linesize[4];
  int width;
  int height;
};

// Converts and scales through libswscale with BT.709 limited range on the
// YUV side. Contexts are kept per thread, keyed by formats and sizes, so a
// steady stream of frames builds none after the first. Returns a ScaleStatus.
int swsConvert(const SwsImage& src, const SwsImage& dst);

}  // namespace imagescaler
}  // namespace cvx
