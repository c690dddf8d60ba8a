#pragma once

#include "platform/imagescaler/PixelLayout.h"

namespace cvx {
namespace imagescaler {

// The paths where libyuv beats libswscale (see bench/VideoFramesBench.cpp).
// Each returns a ScaleStatus. YUV to RGB stays with libswscale: libyuv's
// BT.709 table holds the blue coefficient in 8 bits and tops out near 2.0,
// so saturated blue comes back about 12 levels short.

// 4:2:0 planar into 4:2:0 planar, any two sizes, bilinear.
int yuvScalePlanar420(const Picture& src, const Picture& dst);

// A 4-byte picture into another of any size, each byte filtered on its own.
int yuvScalePacked4(const Picture& src, const Picture& dst);

}  // namespace imagescaler
}  // namespace cvx
