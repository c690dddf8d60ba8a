#include "platform/imagescaler/PixelLayout.h"

#include <climits>

#include "platform/imagescaler/ScaleImage.h"

namespace cvx {
namespace imagescaler {

namespace {

// The one mapping of our codes to the libraries' formats. VUYA has no
// libswscale format: it is packed from and into YUVA444P at the converter's edge.
const PixelCode kPixelCodes[] = {
    {kFourCCYV12, PixelLayout::Planar420, 1, AV_PIX_FMT_YUV420P, true, true, false},
    {kFourCCI420, PixelLayout::Planar420, 1, AV_PIX_FMT_YUV420P, false, true, false},
    {kFourCCNV12, PixelLayout::SemiPlanar420, 1, AV_PIX_FMT_NV12, false, true, false},
    {kFourCCYUY2, PixelLayout::Packed422, 2, AV_PIX_FMT_YUYV422, false, true, false},
    {kFourCCYUYV, PixelLayout::Packed422, 2, AV_PIX_FMT_YUYV422, false, true, false},
    {kFourCCUYVY, PixelLayout::Packed422, 2, AV_PIX_FMT_UYVY422, false, true, false},
    {kFourCCBGR3, PixelLayout::Packed, 3, AV_PIX_FMT_BGR24, false, false, false},
    {kFourCCBGRA, PixelLayout::Packed, 4, AV_PIX_FMT_BGRA, false, false, true},
    {kFourCCBGR4, PixelLayout::Packed, 4, AV_PIX_FMT_BGRA, false, false, true},
    {kFourCCVUYA, PixelLayout::Packed, 4, AV_PIX_FMT_NONE, false, true, true},
    {kFourCCXYZ12, PixelLayout::Packed, 6, AV_PIX_FMT_XYZ12LE, false, false, false},
};

bool isSubsampled(PixelLayout layout) { return layout != PixelLayout::Packed; }

}  // namespace

const PixelCode* findPixelCode(uint32_t fourcc) {
  for (const PixelCode& code : kPixelCodes) {
    if (code.fourcc == fourcc) return &code;
  }
  return nullptr;
}

uint64_t pictureExtent(const PixelCode& code, int32_t stride, uint32_t width, uint32_t height) {
  if (stride <= 0 || width == 0 || height == 0) return 0;
  const uint64_t rowBytes = uint64_t{width} * static_cast<uint64_t>(code.bytesPerPixel);
  if (static_cast<uint64_t>(stride) < rowBytes) return 0;
  const uint64_t luma = uint64_t{static_cast<uint32_t>(stride)} * (height - 1) + rowBytes;
  const uint64_t s = static_cast<uint32_t>(stride);
  switch (code.layout) {
    case PixelLayout::Planar420:
      // Plane 2 starts a quarter of stride x height after plane 1 and holds
      // height / 2 rows of stride / 2.
      return s * height + s * height / 4 + (s / 2) * (height / 2);
    case PixelLayout::SemiPlanar420:
      return s * height + s * (height / 2);
    default:
      return luma;
  }
}

bool describePicture(const PixelCode& code, uint8_t* plane0, int32_t stride, uint32_t width,
                     uint32_t height, Picture& out) {
  if (plane0 == nullptr || width == 0 || height == 0 || width > kMaxSide || height > kMaxSide) {
    return false;
  }
  // INT32_MIN has no magnitude in 32 bits: refused with the other strides
  // no picture can have.
  if (stride == 0 || stride == INT32_MIN || (stride < 0 && code.isYuv)) return false;
  const uint32_t magnitude = static_cast<uint32_t>(stride < 0 ? -stride : stride);
  if (pictureExtent(code, static_cast<int32_t>(magnitude), width, height) == 0) return false;

  out = Picture{};
  out.code = &code;
  out.plane[0] = plane0;
  out.stride[0] = stride;
  out.fullWidth = static_cast<int>(width);
  out.fullHeight = static_cast<int>(height);
  out.width = static_cast<int>(isSubsampled(code.layout) ? width & ~1u : width);
  out.height = static_cast<int>(
      code.layout == PixelLayout::Planar420 || code.layout == PixelLayout::SemiPlanar420
          ? height & ~1u
          : height);
  const size_t lumaBytes = static_cast<size_t>(magnitude) * height;
  if (code.layout == PixelLayout::Planar420 || code.layout == PixelLayout::SemiPlanar420) {
    out.chromaColumns = static_cast<int>(width / 2);
    out.chromaRows = static_cast<int>(height / 2);
  }
  if (code.layout == PixelLayout::Planar420) {
    uint8_t* first = plane0 + lumaBytes;
    uint8_t* second = first + lumaBytes / 4;
    out.plane[1] = code.chromaSwapped ? second : first;
    out.plane[2] = code.chromaSwapped ? first : second;
    out.stride[1] = out.stride[2] = stride / 2;
  } else if (code.layout == PixelLayout::SemiPlanar420) {
    out.plane[1] = plane0 + lumaBytes;
    out.stride[1] = stride;
  }
  return true;
}

Picture subPicture(const Picture& picture, int x, int y, int w, int h) {
  Picture sub = picture;
  const PixelCode& code = *picture.code;
  if (code.layout == PixelLayout::Packed422 && (x & 1) != 0) {
    x -= 1;
    w += 1;
  }
  sub.width = w;
  sub.height = h;
  sub.chromaColumns = picture.chromaColumns - x / 2;
  sub.chromaRows = picture.chromaRows - y / 2;
  sub.oddColumn = picture.oddColumn != ((x & 1) != 0);
  sub.oddRow = picture.oddRow != ((y & 1) != 0);
  sub.plane[0] = picture.plane[0] + static_cast<ptrdiff_t>(y) * picture.stride[0] +
                 static_cast<ptrdiff_t>(x) * code.bytesPerPixel;
  if (code.layout == PixelLayout::Planar420) {
    for (int p = 1; p < 3; ++p) {
      sub.plane[p] = picture.plane[p] + static_cast<ptrdiff_t>(y / 2) * picture.stride[p] + x / 2;
    }
  } else if (code.layout == PixelLayout::SemiPlanar420) {
    sub.plane[1] = picture.plane[1] + static_cast<ptrdiff_t>(y / 2) * picture.stride[1] + (x / 2) * 2;
  }
  return sub;
}

bool hasOddEdge(const Picture& picture) {
  return picture.code->layout == PixelLayout::Planar420 && picture.fullWidth >= 2 && picture.fullHeight >= 2 &&
         (picture.fullWidth != picture.width || picture.fullHeight != picture.height);
}

Picture oddEdgePicture(const Picture& picture) {
  Picture whole = picture;
  if (hasOddEdge(picture)) {
    whole.width = picture.fullWidth;
    whole.height = picture.fullHeight;
  }
  return whole;
}

}  // namespace imagescaler
}  // namespace cvx
