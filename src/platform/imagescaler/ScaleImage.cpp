#include "platform/imagescaler/ScaleImage.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdint>
#include <vector>

#include "logging/Guarded.h"
#include "platform/imagescaler/PixelLayout.h"
#include "platform/imagescaler/PixelLoops.h"
#include "platform/imagescaler/ScaleErrors.h"
#include "platform/imagescaler/SwsConverter.h"
#include "platform/imagescaler/YuvConverter.h"

namespace cvx {

namespace is = imagescaler;

namespace {

static_assert(sizeof(ScaleRectangles) >= 32 && offsetof(ScaleRectangles, dstLeft) == 16,
              "eight 32-bit coordinates head the rectangles record");
static_assert(uint64_t{is::kMaxSide} * 6 * 2 <= INT32_MAX, "strides of the largest picture fit int");

// Work areas per thread, grown on demand and kept: after the first frames of
// a stream, converting allocates nothing.
struct WorkAreas {
  std::vector<uint8_t> planes444;    // VUYA unpacked for libswscale
  std::vector<uint8_t> blendSource;  // the source, scaled to the rectangle
  std::vector<uint8_t> blendTarget;  // the destination's rectangle as VUYA
};
thread_local WorkAreas work;

is::Picture vuyaArea(std::vector<uint8_t>& area, int width, int height) {
  area.resize(static_cast<size_t>(width) * static_cast<size_t>(height) * 4);
  is::Picture picture;
  picture.code = is::findPixelCode(kFourCCVUYA);
  picture.plane[0] = area.data();
  picture.stride[0] = width * 4;
  picture.width = picture.fullWidth = width;
  picture.height = picture.fullHeight = height;
  return picture;
}

// libswscale writes its planar output in whole vector blocks, past the last
// pixel of a row; our own planes get aligned rows and one spare row each.
constexpr int kPlaneAlignment = 64;

is::Planes444 planesArea(int width, int height) {
  const int stride = (width + kPlaneAlignment - 1) / kPlaneAlignment * kPlaneAlignment;
  const size_t planeBytes = static_cast<size_t>(stride) * (static_cast<size_t>(height) + 1);
  work.planes444.resize(planeBytes * 4 + kPlaneAlignment);
  is::Planes444 planes{};
  for (int p = 0; p < 4; ++p) {
    planes.plane[p] = work.planes444.data() + planeBytes * static_cast<size_t>(p);
    planes.stride[p] = stride;
  }
  return planes;
}

is::SwsImage swsImage(const is::Picture& picture) {
  is::SwsImage image{picture.code->avFormat, {}, {}, picture.width, picture.height};
  for (int p = 0; p < 3; ++p) {
    image.data[p] = picture.plane[p];
    image.linesize[p] = picture.stride[p];
  }
  if (picture.code->layout == is::PixelLayout::Planar420) {
    image.chromaPosition[0] = picture.oddColumn ? is::kChromaHalfPixelBefore : is::kChromaCentred;
    image.chromaPosition[1] = picture.oddRow ? is::kChromaHalfPixelBefore : is::kChromaCentred;
    image.chromaColumns = picture.chromaColumns;
    image.chromaRows = picture.chromaRows;
  }
  return image;
}

is::SwsImage swsImage(const is::Planes444& planes, int width, int height) {
  is::SwsImage image{AV_PIX_FMT_YUVA444P, {}, {}, width, height};
  for (int p = 0; p < 4; ++p) {
    image.data[p] = planes.plane[p];
    image.linesize[p] = planes.stride[p];
  }
  return image;
}

bool isPlanar420(const is::Picture& p) { return p.code->layout == is::PixelLayout::Planar420; }
bool isVuya(const is::Picture& p) { return p.code->fourcc == kFourCCVUYA; }
bool sameSize(const is::Picture& a, const is::Picture& b) {
  return a.width == b.width && a.height == b.height;
}

// Same-size conversion between 4:2:0 and VUYA. The whole 2x2 blocks go
// through libyuv; a rectangle of odd width or height leaves a last column
// or row whose chroma covers fewer pixels, and our own loop takes that.
using SameSizeConversion = void (*)(const is::Picture&, const is::Picture&);
using BlockConversion = void (*)(const is::Picture&, const is::Planes444&, const is::Picture&);

void betweenPlanar420AndVuya(const is::Picture& src, const is::Picture& dst,
                             BlockConversion blocks, SameSizeConversion edges) {
  const int evenWidth = dst.width & ~1;
  const int evenHeight = dst.height & ~1;
  if (evenWidth > 0 && evenHeight > 0) {
    blocks(is::subPicture(src, 0, 0, evenWidth, evenHeight), planesArea(evenWidth, evenHeight),
           is::subPicture(dst, 0, 0, evenWidth, evenHeight));
  }
  if (evenWidth < dst.width) {
    edges(is::subPicture(src, evenWidth, 0, 1, dst.height),
          is::subPicture(dst, evenWidth, 0, 1, dst.height));
  }
  if (evenHeight < dst.height && evenWidth > 0) {
    edges(is::subPicture(src, 0, evenHeight, evenWidth, 1),
          is::subPicture(dst, 0, evenHeight, evenWidth, 1));
  }
}

// libswscale 5.1 fails, reading through null, once one step reduces by
// more than about 60 to 120 times (measured: vertical reductions into 4:2:0
// from 62:1 on, all others from 85:1); libyuv's box filter sums a column in
// 16 bits, which wraps past 257 rows. No step reduces by more than this:
// larger reductions go in equal steps through pictures of the source's code.
// Equal steps keep the last one's source large enough that libswscale's
// filter, which it clips to two pixels less than its source, still averages.
constexpr int kMaxStepReduction = 32;
constexpr int kMaxSteps = 3;
static_assert(uint64_t{kMaxStepReduction} * kMaxStepReduction * kMaxStepReduction >= is::kMaxSide,
              "three steps reduce the largest side to one pixel");

struct StepAreas {
  std::vector<uint8_t> area[kMaxSteps - 1];
  int depth = 0;
};
thread_local StepAreas steps;

bool reducesTooFar(int from, int to) { return to > 0 && from > to * kMaxStepReduction; }

int stepsFor(int from, int to) {
  int count = 1;
  for (int64_t reach = kMaxStepReduction; int64_t{to} * reach < from; reach *= kMaxStepReduction) ++count;
  return count;
}

// The side of the first intermediate picture: one of count equal steps.
int stepSide(int from, int to, int count, bool even) {
  if (from <= to) return from;
  const double step = std::pow(static_cast<double>(from) / to, 1.0 / count);
  int side = std::max(to, static_cast<int>(std::ceil(from / step)));
  if (even) side = (side + 1) & ~1;
  return std::min(side, from);
}

int convert(const is::Picture& src, const is::Picture& dst);

// Reduces src to an intermediate picture in its own code, then goes on from
// there.
int convertInSteps(const is::Picture& src, const is::Picture& dst) {
  const int count = std::max(stepsFor(src.width, dst.width), stepsFor(src.height, dst.height));
  if (steps.depth >= kMaxSteps - 1 || count > kMaxSteps - steps.depth) {
    is::setScaleError("scaleImage", "reduction needs more steps than planned");
    return kScaleBadArgument;
  }
  const is::PixelCode& code = *src.code;
  const bool evenWidth = code.layout != is::PixelLayout::Packed;
  const bool evenHeight = code.layout == is::PixelLayout::Planar420 ||
                          code.layout == is::PixelLayout::SemiPlanar420;
  const int width = stepSide(src.width, dst.width, count, evenWidth);
  const int height = stepSide(src.height, dst.height, count, evenHeight);
  const int32_t stride = width * code.bytesPerPixel;
  std::vector<uint8_t>& area = steps.area[steps.depth];
  area.resize(is::pictureExtent(code, stride, static_cast<uint32_t>(width), static_cast<uint32_t>(height)));
  is::Picture step;
  if (!is::describePicture(code, area.data(), stride, static_cast<uint32_t>(width),
                           static_cast<uint32_t>(height), step)) {
    is::setScaleError("scaleImage", "no intermediate picture for this reduction");
    return kScaleBadArgument;
  }
  struct Depth {
    Depth() { ++steps.depth; }
    ~Depth() { --steps.depth; }
  } depth;
  const int status = convert(src, step);
  return status != kScaleOk ? status : convert(step, dst);
}

// Source rectangle into destination rectangle, no compositing.
int convert(const is::Picture& src, const is::Picture& dst) {
  if (reducesTooFar(src.width, dst.width) || reducesTooFar(src.height, dst.height)) {
    return convertInSteps(src, dst);
  }
  is::Colour colour;
  if (is::uniformColour(src, colour) && is::fillSolid(dst, colour)) return kScaleOk;
  if (isPlanar420(src) && isPlanar420(dst)) return is::swsConvert(swsImage(src), swsImage(dst));
  if (isVuya(src) && isVuya(dst)) {
    if (!sameSize(src, dst)) return is::yuvScalePacked4(src, dst);
    is::copyPacked4(src, dst);
    return kScaleOk;
  }
  if (isPlanar420(src) && isVuya(dst) && sameSize(src, dst)) {
    betweenPlanar420AndVuya(src, dst, is::yuvPlanar420ToPacked4, is::planar420ToVuya);
    return kScaleOk;
  }
  if (isVuya(src) && isPlanar420(dst) && sameSize(src, dst)) {
    betweenPlanar420AndVuya(src, dst, is::yuvPacked4ToPlanar420, is::vuyaToPlanar420);
    return kScaleOk;
  }
  if (isVuya(src)) {
    const is::Planes444 planes = planesArea(src.width, src.height);
    is::unpackVuya(src, planes);
    return is::swsConvert(swsImage(planes, src.width, src.height), swsImage(dst));
  }
  if (isVuya(dst)) {
    const is::Planes444 planes = planesArea(dst.width, dst.height);
    const int status = is::swsConvert(swsImage(src), swsImage(planes, dst.width, dst.height));
    if (status == kScaleOk) is::packVuya(planes, dst);
    return status;
  }
  return is::swsConvert(swsImage(src), swsImage(dst));
}

// Source rectangle over destination rectangle by the source's alpha. The
// source is first brought to the rectangle's size and to VUYA; a destination
// in another code is fetched into VUYA, composited there and written back.
int blend(const is::Picture& src, const is::Picture& dst) {
  // The source at the rectangle's size and in VUYA; premultiplied into over.
  const is::Picture over = vuyaArea(work.blendSource, dst.width, dst.height);
  is::Picture source = src;
  if (!isVuya(src) || !sameSize(src, dst)) {
    const int status = convert(src, over);
    if (status != kScaleOk) return status;
    source = over;
  }
  if (isVuya(dst)) return is::yuvBlendPacked4(source, over, dst);
  const is::Picture target = vuyaArea(work.blendTarget, dst.width, dst.height);
  int status = convert(dst, target);
  if (status != kScaleOk) return status;
  if ((status = is::yuvBlendPacked4(source, over, target)) != kScaleOk) return status;
  return convert(target, dst);
}

// One axis of the rectangles: source edges in 1/256 pixel, destination edges
// in pixels, both half-open. Cuts whatever lies outside either picture off
// both sides in proportion, so the part that remains keeps its mapping.
struct Span {
  int64_t src0, src1;  // 1/256 pixel
  int64_t dst0, dst1;  // pixels
};

// The part of a span of `span` that `cut` of the other side's `whole`
// stands for. Rectangles take any 32-bit values, so the product takes up to
// 97 bits; a cut past the whole span leaves it empty, and is held there.
int64_t proportion(int64_t cut, int64_t span, int64_t whole, bool roundUp) {
  const __int128 part = (static_cast<__int128>(cut) * span + (roundUp ? whole - 1 : 0)) / whole;
  return part > span ? span : static_cast<int64_t>(part);
}

bool clipSpan(Span& s, int64_t srcLimit, int64_t dstLimit) {
  if (s.src1 <= s.src0 || s.dst1 <= s.dst0) return false;
  const int64_t srcSpan = s.src1 - s.src0;
  const int64_t dstSpan = s.dst1 - s.dst0;
  Span out = s;
  if (s.src0 < 0) out.dst0 = std::max(out.dst0, s.dst0 + proportion(-s.src0, dstSpan, srcSpan, true));
  if (s.src1 > srcLimit * 256) {
    out.dst1 = std::min(out.dst1, s.dst1 - proportion(s.src1 - srcLimit * 256, dstSpan, srcSpan, false));
  }
  if (s.dst0 < 0) out.src0 = std::max(out.src0, s.src0 + proportion(-s.dst0, srcSpan, dstSpan, false));
  if (s.dst1 > dstLimit) out.src1 = std::min(out.src1, s.src1 - proportion(s.dst1 - dstLimit, srcSpan, dstSpan, false));
  out.src0 = std::max<int64_t>(out.src0, 0);
  out.src1 = std::min(out.src1, srcLimit * 256);
  out.dst0 = std::max<int64_t>(out.dst0, 0);
  out.dst1 = std::min(out.dst1, dstLimit);
  s = out;
  return s.src1 > s.src0 && s.dst1 > s.dst0;
}

// The whole pixels of the source that stand for the span: each edge at the
// nearest pixel boundary, so that the ratio stays the nearest one and no
// more than half a pixel outside the span is read; a span narrower than
// that keeps the pixel around its middle.
void sourcePixels(const Span& s, int limit, int& first, int& count) {
  first = static_cast<int>((s.src0 + 128) >> 8);
  int end = static_cast<int>(std::min<int64_t>(limit, (s.src1 + 128) >> 8));
  if (end <= first) {
    first = std::min(limit - 1, static_cast<int>((s.src0 + s.src1) >> 9));
    end = first + 1;
  }
  count = std::max(0, end - first);
}

// The odd last column and row of a 4:2:0 picture are drawn for real where
// libswscale does the work: everywhere but compositing and the exchanges
// with VUYA, which our own loops and libyuv do in whole 2 x 2 blocks.
bool takesOddEdge(const is::Picture& side, const is::Picture& other, bool blending) {
  return !blending && !isVuya(other) && is::hasOddEdge(side);
}

int scaleImageChecked(uint32_t flags, uint32_t srcFourCC, const uint8_t* srcPlane0,
                      int32_t srcStride, uint32_t srcWidth, uint32_t srcHeight,
                      uint32_t dstFourCC, uint8_t* dstPlane0, int32_t dstStride, uint32_t dstWidth,
                      uint32_t dstHeight, const ScaleRectangles* rectangles) {
  const is::PixelCode* srcCode = is::findPixelCode(srcFourCC);
  const is::PixelCode* dstCode = is::findPixelCode(dstFourCC);
  if (srcCode == nullptr || dstCode == nullptr) {
    is::setScaleError("scaleImage", "four-character code not handled");
    return kScaleUnsupported;
  }
  is::Picture src, dst;
  // The source is only read; the picture type is shared with destinations.
  if (!is::describePicture(*srcCode, const_cast<uint8_t*>(srcPlane0), srcStride, srcWidth,
                           srcHeight, src) ||
      !is::describePicture(*dstCode, dstPlane0, dstStride, dstWidth, dstHeight, dst)) {
    is::setScaleError("scaleImage", "picture arguments out of range");
    return kScaleBadArgument;
  }
  if ((flags & (kScaleUseSourceRect | kScaleUseDestRect)) != 0 && rectangles == nullptr) {
    is::setScaleError("scaleImage", "rectangles flagged but not given");
    return kScaleBadArgument;
  }
  const bool blending = (flags & kScaleBlendAlpha) != 0;
  const bool srcOddEdge = takesOddEdge(src, dst, blending);
  const bool dstOddEdge = takesOddEdge(dst, src, blending);
  if (srcOddEdge) src = is::oddEdgePicture(src);
  if (dstOddEdge) dst = is::oddEdgePicture(dst);
  const bool useSrc = (flags & kScaleUseSourceRect) != 0;
  const bool useDst = (flags & kScaleUseDestRect) != 0;
  Span h{useSrc ? rectangles->srcLeft : 0,
         useSrc ? int64_t{rectangles->srcRight} + 256 : int64_t{src.width} * 256,
         useDst ? rectangles->dstLeft : 0, useDst ? int64_t{rectangles->dstRight} + 1 : dst.width};
  Span v{useSrc ? rectangles->srcTop : 0,
         useSrc ? int64_t{rectangles->srcBottom} + 256 : int64_t{src.height} * 256,
         useDst ? rectangles->dstTop : 0, useDst ? int64_t{rectangles->dstBottom} + 1 : dst.height};
  if (!clipSpan(h, src.width, dst.width) || !clipSpan(v, src.height, dst.height)) return kScaleOk;

  int sx, sw, sy, sh;
  sourcePixels(h, src.width, sx, sw);
  sourcePixels(v, src.height, sy, sh);
  const int dx = static_cast<int>(h.dst0), dw = static_cast<int>(h.dst1 - h.dst0);
  const int dy = static_cast<int>(v.dst0), dh = static_cast<int>(v.dst1 - v.dst0);
  if (sw == 0 || sh == 0) return kScaleOk;

  const is::Picture srcRect = is::subPicture(src, sx, sy, sw, sh);
  const is::Picture dstRect = is::subPicture(dst, dx, dy, dw, dh);
  const int status = blending ? blend(srcRect, dstRect) : convert(srcRect, dstRect);
  if (status == kScaleOk && !dstOddEdge) is::fillOddEdge(dst, dx, dy, dw, dh);
  return status;
}

}  // namespace

int scaleImage(uint32_t flags, uint32_t srcFourCC, const uint8_t* srcPlane0, int32_t srcStride,
               uint32_t srcWidth, uint32_t srcHeight, uint32_t dstFourCC, uint8_t* dstPlane0,
               int32_t dstStride, uint32_t dstWidth, uint32_t dstHeight, void* /*reserved12*/,
               uint32_t /*one*/, const ScaleRectangles* rectangles, void* /*reserved15*/) {
  is::clearScaleError();
  // A work area the memory cannot be had for is the one failure that throws.
  const int status = guarded(
      "scaleImage: ",
      [&] {
        return scaleImageChecked(flags, srcFourCC, srcPlane0, srcStride, srcWidth, srcHeight, dstFourCC, dstPlane0,
                                 dstStride, dstWidth, dstHeight, rectangles);
      },
      int{kScaleNoMemory});
  if (status == kScaleNoMemory) is::setScaleError("scaleImage", "out of memory for a work area");
  return status;
}

uint64_t scaleImageExtent(uint32_t fourcc, int32_t stride, uint32_t width, uint32_t height) {
  const is::PixelCode* code = is::findPixelCode(fourcc);
  return code == nullptr ? 0 : is::pictureExtent(*code, stride, width, height);
}

const char* scaleImageLastError() { return is::lastScaleError(); }

uint64_t scaleImageContextsBuilt() { return is::swsContextsBuilt(); }

uint64_t scaleImageContextBytesKept() { return is::swsContextBytesKept(); }

}  // namespace cvx
