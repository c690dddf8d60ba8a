#include "video/frames/VideoOverlayFrame.h"

#include "media/ByteBlocks.h"
#include "platform/imagescaler/ScaleImage.h"
#include "video/frames/IImageScaler.h"
#include "video/frames/LibraryImageScaler.h"
#include "video/frames/PictureLimits.h"

namespace cvx {

VideoOverlayFrame::VideoOverlayFrame() : fourcc_(kFourCCBGRA), scaler_(&defaultImageScaler()) {}

void VideoOverlayFrame::setImageScaler(IImageScaler* scaler) {
  scaler_ = scaler != nullptr ? scaler : &defaultImageScaler();
}

void VideoOverlayFrame::setPlacement(int32_t dstX, int32_t dstY, uint32_t dstWidth,
                                     uint32_t dstHeight, int32_t dstAlign) {
  dstX_ = dstX;
  dstY_ = dstY;
  dstWidth_ = dstWidth;
  dstHeight_ = dstHeight;
  dstAlign_ = dstAlign;
}

void VideoOverlayFrame::setFrame(uint32_t fourcc, std::unique_ptr<uint8_t[]> bytes,
                                 uint32_t byteCount, int32_t stride, int32_t frameStartOffset,
                                 uint32_t width, uint32_t height) {
  fourcc_ = fourcc;
  bytes_ = std::move(bytes);
  byteCount_ = bytes_ ? byteCount : 0;
  heldBytes_ = byteCount_;
  stride_ = stride;
  frameStartOffset_ = frameStartOffset;
  width_ = width;
  height_ = height;
  if (bytes_ && fourcc_ == kFourCCBGRA) convertToVuya();
}

void VideoOverlayFrame::convertToVuya() {
  // The picture is read as tightly packed top-down rows; an array too short
  // for that is left as it is, and drawing will skip it.
  const uint64_t pixels = uint64_t{width_} * height_;
  if (pixels == 0 || pixels * 4 > heldBytes_ || width_ > kMaxOverlaySide || height_ > kMaxOverlaySide) return;
  const uint8_t* bgra = bytes_.get();
  bool transparent = false;
  for (uint64_t i = 0; i < pixels && !transparent; ++i) transparent = bgra[i * 4 + 3] < 255;
  if (!transparent) return;  // opaque pictures are drawn in one pass as BGRA

  std::unique_ptr<uint8_t[]> vuya = tryAllocateBytes(pixels * 4);
  if (!vuya) return;
  const int32_t rowBytes = static_cast<int32_t>(width_ * 4);
  if (scaler_->scaleImage(0, kFourCCBGRA, bgra, rowBytes, width_, height_, kFourCCVUYA,
                          vuya.get(), rowBytes, width_, height_, nullptr, 1, nullptr,
                          nullptr) != kScaleOk) {
    return;
  }
  for (uint64_t i = 0; i < pixels; ++i) vuya[i * 4 + 3] = bgra[i * 4 + 3];
  bytes_ = std::move(vuya);
  heldBytes_ = pixels * 4;
  fourcc_ = kFourCCVUYA;
}

bool VideoOverlayFrame::isAlpha() const { return fourcc_ == kFourCCVUYA; }

bool VideoOverlayFrame::isDrawable() const {
  if (!bytes_ || stride_ <= 0 || width_ > kMaxOverlaySide || height_ > kMaxOverlaySide ||
      isPictureSizeRefused(dstWidth_, dstHeight_) || frameStartOffset_ < 0 ||
      static_cast<uint32_t>(frameStartOffset_) >= byteCount_) {
    return false;
  }
  const uint64_t extent = scaleImageExtent(fourcc_, stride_, width_, height_);
  return extent != 0 && extent <= heldBytes_;
}

}  // namespace cvx
