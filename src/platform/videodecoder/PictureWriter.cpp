#include "platform/videodecoder/PictureWriter.h"

#include <algorithm>
#include <array>
#include <cstring>

extern "C" {
#include <libavutil/frame.h>
#include <libavutil/imgutils.h>
#include <libavutil/pixfmt.h>
}

#include "media/FourCC.h"
#include "platform/bufstream/FrameRecord.h"

namespace cvx {
namespace {


// The decoders' 8-bit layouts and how their chroma maps onto 4:2:0: the
// record's chroma sample (x, y) is read at (x << xStep, y << yStep).
struct SourceLayout {
  AVPixelFormat format;
  int xStep;
  int yStep;
  bool gray;
};
constexpr std::array<SourceLayout, 7> kSourceLayouts = {{
    {AV_PIX_FMT_YUV420P, 0, 0, false},
    {AV_PIX_FMT_YUVJ420P, 0, 0, false},
    {AV_PIX_FMT_YUV422P, 0, 1, false},
    {AV_PIX_FMT_YUVJ422P, 0, 1, false},
    {AV_PIX_FMT_YUV444P, 1, 1, false},
    {AV_PIX_FMT_YUVJ444P, 1, 1, false},
    {AV_PIX_FMT_GRAY8, 0, 0, true},
}};

const SourceLayout* findLayout(int format) {
  for (const SourceLayout& layout : kSourceLayouts) {
    if (layout.format == format) {
      return &layout;
    }
  }
  return nullptr;
}

void writeChroma(const AVFrame& picture, int sourcePlane, const SourceLayout& layout, uint8_t* target,
                 int targetStride, int width, int rows) {
  if (layout.gray) {
    for (int y = 0; y < rows; ++y) {
      std::memset(target + static_cast<ptrdiff_t>(y) * targetStride, 128, static_cast<size_t>(width));
    }
    return;
  }
  const uint8_t* source = picture.data[sourcePlane];
  const int sourceStride = picture.linesize[sourcePlane];
  if (layout.xStep == 0 && layout.yStep == 0) {
    av_image_copy_plane(target, targetStride, source, sourceStride, width, rows);
    return;
  }
  for (int y = 0; y < rows; ++y) {
    const uint8_t* row = source + static_cast<ptrdiff_t>(y << layout.yStep) * sourceStride;
    uint8_t* out = target + static_cast<ptrdiff_t>(y) * targetStride;
    for (int x = 0; x < width; ++x) {
      out[x] = row[x << layout.xStep];
    }
  }
}

}  // namespace

PictureWriteResult writePicture(const AVFrame& picture, const FrameRecord& record) {
  if (picture.data[0] == nullptr) {
    return PictureWriteResult::NoPicture;
  }
  if (record.fourcc != kFourCCYV12 && record.fourcc != kFourCCI420) {
    return PictureWriteResult::UnsupportedLayout;
  }
  const SourceLayout* layout = findLayout(picture.format);
  if (layout == nullptr) {
    return PictureWriteResult::UnsupportedPixelFormat;
  }
  const int width = picture.width;
  const int height = picture.height;
  if (width <= 0 || height <= 0 || record.width != static_cast<uint32_t>(width) ||
      record.height != static_cast<uint32_t>(height)) {
    return PictureWriteResult::SizeMismatch;
  }
  const int chromaWidth = std::min((width + 1) / 2, record.planeStride[1]);
  const int chromaRows = height / 2;
  if (record.plane[0] == nullptr || record.plane[1] == nullptr || record.plane[2] == nullptr ||
      record.planeStride[0] < width || record.planeStride[1] <= 0 || record.planeStride[2] < chromaWidth) {
    return PictureWriteResult::UnsupportedLayout;
  }
  av_image_copy_plane(record.plane[0], record.planeStride[0], picture.data[0], picture.linesize[0], width, height);
  // Plane 1 of the record is whichever chroma comes first in memory.
  const bool uFirst = record.fourcc == kFourCCI420;
  writeChroma(picture, uFirst ? 1 : 2, *layout, record.plane[1], record.planeStride[1], chromaWidth, chromaRows);
  writeChroma(picture, uFirst ? 2 : 1, *layout, record.plane[2], record.planeStride[2], chromaWidth, chromaRows);
  return PictureWriteResult::Written;
}

}  // namespace cvx
