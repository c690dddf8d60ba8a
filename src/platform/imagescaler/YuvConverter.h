#pragma once

#include "platform/imagescaler/PixelLayout.h"
#include "platform/imagescaler/PixelLoops.h"

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

// Same-size 4:2:0 into VUYA, both of even width and height: each chroma
// sample repeated over its 2x2 block (no interpolation, so the way back
// restores it exactly), alpha 255. Planes 1 and 2 of work hold one row of
// widened chroma each.
void yuvPlanar420ToPacked4(const Picture& src, const Planes444& work, const Picture& dst);

// Same-size VUYA into 4:2:0, both of even width and height: luma straight
// into the destination, each chroma sample the rounded mean of its 2x2
// block. Planes 1 and 2 of work hold the full-size chroma on the way.
void yuvPacked4ToPlanar420(const Picture& src, const Planes444& work, const Picture& dst);

}  // namespace imagescaler
}  // namespace cvx
