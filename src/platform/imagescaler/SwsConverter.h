#pragma once

#include <cstdint>

extern "C" {
#include <libavutil/pixfmt.h>
}

namespace cvx {
namespace imagescaler {

// libswscale's own placement of 4:2:0 chroma: centred between the luma
// samples both ways, which is what its pictures are compared with.
constexpr int kChromaCentred = 128;
constexpr int kChromaHalfPixelBefore = -128;
constexpr int kChromaAsFormat = -513;  // libswscale's default for the format
constexpr int kChromaComplete = -1;

// One picture in libswscale's terms.
struct SwsImage {
  AVPixelFormat format;
  uint8_t* data[4];
  int linesize[4];
  int width;
  int height;
  // 4:2:0 planar only: where the first chroma sample lies from the first
  // luma sample, in 1/256 pixel, per axis; and the chroma columns and rows
  // that data[1] and data[2] hold, when fewer than libswscale reads or
  // writes (a picture of odd size has one fewer than the luma needs).
  int chromaPosition[2] = {kChromaAsFormat, kChromaAsFormat};
  int chromaColumns = kChromaComplete;
  int chromaRows = kChromaComplete;
};

// Converts and scales through libswscale with BT.709 limited range on the
// YUV side. Missing chroma of a source repeats its last column or row; that
// of a destination is not written. Contexts are kept per thread, keyed by
// formats, sizes, filter and chroma placement, so a steady stream of frames
// builds none after the first. Returns a ScaleStatus.
int swsConvert(const SwsImage& src, const SwsImage& dst);

// Contexts this thread has built so far (scaleImageContextsBuilt).
uint64_t swsContextsBuilt();

// What the contexts this thread keeps hold, as estimated for the cache's
// byte bound (scaleImageContextBytesKept).
uint64_t swsContextBytesKept();

// The resampling filter libswscale is given for this change of size (a
// SWS_ flag): the choice of bench/ScalerQualityBench, exposed for it.
int swsFilterFor(int srcWidth, int srcHeight, int dstWidth, int dstHeight);

}  // namespace imagescaler
}  // namespace cvx
