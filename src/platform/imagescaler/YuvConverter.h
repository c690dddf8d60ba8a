#pragma once

#include "platform/imagescaler/PixelLayout.h"

namespace cvx {
namespace imagescaler {

// The paths where libyuv beats libswscale (see bench/VideoFramesBench.cpp).
// Each returns a ScaleStatus.

// 4:2:0 planar into 4:2:0 planar, any two sizes, bilinear.
int yuvScalePlanar420(const Picture& src, const Picture& dst);

// 4:2:0 planar into BGRA of the same size, BT.709 limited range.
int yuvPlanar420ToBgra(const Picture& src, const Picture& dst);

// A 4-byte picture into another of any size, each byte filtered on its own.
int yuvScalePacked4(const Picture& src, const Picture& dst);

}  // namespace imagescaler
}  // namespace cvx
