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

// Composites src over dst (same size, 4 bytes a pixel, alpha in the fourth
// byte, 255 opaque) through a premultiplied copy written to attenuated, a
// picture of the same size. Each byte is mixed on its own, so VUYA works as
// ARGB does. The destination's alpha becomes 255.
int yuvBlendPacked4(const Picture& src, const Picture& attenuated, const Picture& dst);

}  // namespace imagescaler
}  // namespace cvx
