#include "video/frames/VideoFrameBuffer.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>

#include "logging/Guarded.h"
#include "media/ByteBlocks.h"
#include "platform/imagescaler/ScaleImage.h"
#include "video/frames/IImageScaler.h"
#include "video/frames/LibraryImageScaler.h"
#include "video/frames/PictureLimits.h"
#include "video/frames/PictureMemoryBudget.h"

namespace cvx {

namespace {

bool fitsInt32(uint64_t value) { return value <= static_cast<uint64_t>(INT32_MAX); }

}  // namespace

VideoFrameBuffer::VideoFrameBuffer() : scaler_(&defaultImageScaler()) {
  std::memset(&record_, 0, sizeof record_);
}

VideoFrameBuffer::~VideoFrameBuffer() { freeBuffer(); }

void VideoFrameBuffer::setImageScaler(IImageScaler* scaler) {
  scaler_ = scaler != nullptr ? scaler : &defaultImageScaler();
}

uint64_t VideoFrameBuffer::calcBufferLayout(uint32_t width, uint32_t height, uint32_t fourcc,
                                            int32_t& stride, int32_t& frameStartOffset) {
  const uint64_t w = width;
  const uint64_t h = height;
  uint64_t rowBytes = w;
  uint64_t size = 0;
  bool bottomUp = false;
  stride = static_cast<int32_t>(width);
  frameStartOffset = 0;
  switch (fourcc) {
    case kFourCCYV12:
    case kFourCCI420:
      size = w * h * 12 / 8;
      break;
    case kFourCCYUY2:
    case kFourCCYUYV:
    case kFourCCUYVY:
      rowBytes = w * 2;
      size = rowBytes * h;
      break;
    case kFourCCv210:
      // Each division truncates, in the order written.
      rowBytes = (w * 128 / 6 / 8 + 127) & ~uint64_t{127};
      size = rowBytes * h;
      break;
    case kFourCCBGR3:
      rowBytes = w * 3;
      size = rowBytes * h;
      bottomUp = true;
      break;
    case kFourCCBGRA:
    case kFourCCBGR4:
      rowBytes = w * 4;
      size = rowBytes * h;
      bottomUp = true;
      break;
    case kFourCCH264:
      // A fixed block for compressed data.
      stride = 32768;
      return 32768;
    case kFourCCXYZ12:
      rowBytes = w * 6;
      size = rowBytes * h;
      break;
    default:
      return 0;
  }
  if (!fitsInt32(rowBytes) || !fitsInt32(size)) {
    stride = static_cast<int32_t>(width);
    return 0;
  }
  if (bottomUp) {
    stride = -static_cast<int32_t>(rowBytes);
    frameStartOffset = h == 0 ? 0 : static_cast<int32_t>((h - 1) * rowBytes);
  } else {
    stride = static_cast<int32_t>(rowBytes);
  }
  return size;
}

uint64_t VideoFrameBuffer::calcBlockBytes(uint32_t width, uint32_t height, uint32_t fourcc) {
  int32_t stride = 0, frameStartOffset = 0;
  const uint64_t size = calcBufferLayout(width, height, fourcc, stride, frameStartOffset);
  if (size == 0 || (fourcc != kFourCCYV12 && fourcc != kFourCCI420)) return size;
  const uint64_t w = width;
  const uint64_t h = height;
  const uint64_t secondChroma = w * h + w * h / 4;
  const uint64_t chromaReadEnd = secondChroma + ((h + 1) / 2 - 1) * (w / 2) + (w + 1) / 2;
  return std::max(size, chromaReadEnd);
}

bool VideoFrameBuffer::isPictureCode(uint32_t fourcc) {
  int32_t stride = 0, frameStartOffset = 0;
  return calcBufferLayout(2, 2, fourcc, stride, frameStartOffset) != 0 &&
         scaleImageExtent(fourcc, std::abs(stride), 2, 2) != 0;
}

int VideoFrameBuffer::allocBuffer(uint32_t width, uint32_t height, uint32_t fourcc) {
  const int status = guarded("VideoFrameBuffer::allocBuffer: ", [&] { return allocateBlock(width, height, fourcc); });
  // A failure, raised or not, leaves the buffer empty.
  if (status != 0) makeEmpty();
  return status;
}

int VideoFrameBuffer::allocateBlock(uint32_t width, uint32_t height, uint32_t fourcc) {
  if (bytes_ != nullptr && width == record_.width && height == record_.height) return 0;
  freeBuffer();
  lastFillWidth_ = 0;
  lastFillHeight_ = 0;
  record_.fourcc = fourcc;
  if (width != 0 && height != 0 && isPictureSizeRefused(width, height)) return -1;
  byteCount_ = calcBufferLayout(width, height, fourcc, stride_, frameStartOffset_);
  // Left unpainted: a buffer is black only once somebody paints it.
  const uint64_t blockBytes = calcBlockBytes(width, height, fourcc);
  if (blockBytes != 0 && !takeBlock(blockBytes)) return -1;
  record_.width = width;
  record_.height = height;
  setPlanes();
  updateVpxImage();
  return 0;
}

bool VideoFrameBuffer::takeBlock(uint64_t bytes) {
  if (budget_ != nullptr && !budget_->reserve(bytes)) return false;
  ownedBlock_ = tryAllocateBytes(bytes);
  if (!ownedBlock_) {
    if (budget_ != nullptr) budget_->release(bytes);
    return false;
  }
  bytes_ = ownedBlock_.get();
  blockBytes_ = bytes;
  return true;
}

void VideoFrameBuffer::makeEmpty() {
  freeBuffer();
  byteCount_ = 0;
  stride_ = 0;
  frameStartOffset_ = 0;
  record_.width = 0;
  record_.height = 0;
  updateVpxImage();
}

int VideoFrameBuffer::allocBuffer(uint32_t width, uint32_t height) {
  return allocBuffer(width, height, record_.fourcc);
}

void VideoFrameBuffer::setPlanes() {
  std::memset(record_.plane, 0, sizeof record_.plane);
  std::memset(record_.planeStride, 0, sizeof record_.planeStride);
  const uint64_t w = record_.width;
  const uint64_t h = record_.height;
  const uint32_t fourcc = record_.fourcc;
  const bool planar420 = fourcc == kFourCCYV12 || fourcc == kFourCCI420;
  const bool planar422 = fourcc == kFourCCYV16;
  // The planes must lie inside the block: a layout without a size (YV16
  // among them) gets none, so no decoder can write through them.
  const uint64_t needed = planar420   ? w * h + w * h / 4 + (w / 2) * (h / 2)
                          : planar422 ? w * h * 2
                                      : 1;
  if (bytes_ == nullptr || byteCount_ == 0 || byteCount_ < needed) return;
  record_.plane[0] = bytes_ + frameStartOffset_;
  record_.planeStride[0] = stride_;
  if (planar420 || planar422) {
    record_.plane[1] = bytes_ + w * h;
    record_.plane[2] = bytes_ + w * h + (planar420 ? w * h / 4 : w * h / 2);
    record_.planeStride[1] = stride_ / 2;
    record_.planeStride[2] = stride_ / 2;
  }
}

int VideoFrameBuffer::freeBuffer() {
  if (ownedBlock_ && budget_ != nullptr) budget_->release(blockBytes_);
  ownedBlock_.reset();
  blockBytes_ = 0;
  bytes_ = nullptr;
  std::memset(record_.plane, 0, sizeof record_.plane);
  std::memset(record_.planeStride, 0, sizeof record_.planeStride);
  updateVpxImage();
  return 0;
}

bool VideoFrameBuffer::hasPicture() const {
  return record_.plane[0] != nullptr && record_.width != 0 && record_.height != 0;
}

int VideoFrameBuffer::attachExternal(uint32_t width, uint32_t height, uint32_t fourcc,
                                     uint8_t* const planes[4], const int32_t strides[4],
                                     uint64_t byteCount) {
  if (planes == nullptr || strides == nullptr || planes[0] == nullptr) return -1;
  freeBuffer();
  lastFillWidth_ = 0;
  lastFillHeight_ = 0;
  bytes_ = planes[0];
  byteCount_ = byteCount;
  stride_ = strides[0];
  frameStartOffset_ = 0;
  record_.width = width;
  record_.height = height;
  record_.fourcc = fourcc;
  for (int i = 0; i < 4; ++i) {
    record_.plane[i] = planes[i];
    record_.planeStride[i] = strides[i];
  }
  updateVpxImage();
  return 0;
}

int VideoFrameBuffer::blackFill() {
  return guarded("VideoFrameBuffer::blackFill: ", [this] {
    // A small black picture, scaled onto the whole buffer: black is what the
    // scaler makes of RGB 0, 0, 0 in the buffer's code.
    static const uint8_t kBlack[16 * 16 * 3] = {};
    scaler_->scaleImage(0, kFourCCBGR3, kBlack, 48, 16, 16, record_.fourcc, record_.plane[0],
                        record_.planeStride[0], record_.width, record_.height, nullptr, 1, nullptr,
                        nullptr);
    return 0;
  });
}

int VideoFrameBuffer::updateVpxImage() {
  vpxImage_ = VpxImageView{};
  vpxImage_.fmt = kVpxImageFormatI420;
  vpxImage_.w = vpxImage_.d_w = record_.width;
  vpxImage_.h = vpxImage_.d_h = record_.height;
  vpxImage_.x_chroma_shift = 1;
  vpxImage_.y_chroma_shift = 1;
  for (int i = 0; i < 4; ++i) {
    vpxImage_.planes[i] = record_.plane[i];
    vpxImage_.stride[i] = record_.planeStride[i];
  }
  // The view's planes are Y, U, V: in a YV12 block V comes first.
  if (record_.fourcc == kFourCCYV12) {
    std::swap(vpxImage_.planes[1], vpxImage_.planes[2]);
    std::swap(vpxImage_.stride[1], vpxImage_.stride[2]);
  }
  vpxImage_.bps = 12;
  vpxImage_.user_priv = nullptr;
  return 0;
}

uint8_t* VideoFrameBuffer::getPlane(int index) const {
  return index >= 0 && index < 4 ? record_.plane[index] : nullptr;
}

int32_t VideoFrameBuffer::getPlaneStride(int index) const {
  return index >= 0 && index < 4 ? record_.planeStride[index] : 0;
}

void VideoFrameBuffer::setCrop(const uint32_t* values, size_t count) {
  if (values == nullptr || count == 0) {
    cropEnabled_ = false;
    return;
  }
  if (count < 4) return;
  std::copy(values, values + 4, crop_);
  cropEnabled_ = true;
}

void VideoFrameBuffer::setSrcRect(const uint32_t* values, size_t count) {
  for (size_t i = 0; i < 4; ++i) srcRect_[i] = values != nullptr && i < count ? values[i] : 0;
  srcRectEnabled_ = true;
}

FitSettings VideoFrameBuffer::fitSettings() const {
  FitSettings settings;
  settings.scaleMode = scaleMode_;
  if (cropEnabled_) {
    settings.crop = crop_;
  } else if (srcRectEnabled_) {
    settings.srcRect = srcRect_;
  }
  return settings;
}

int VideoFrameBuffer::scaleFrom(const VideoFrameBuffer& source, bool forceBlackFill) {
  // The label is its neighbour's; hosts may match on it.
  return guarded("VideoFrameBuffer::allocBuffer: ", [&] {
    frameType_ = source.frameType_;
    timecode_ = source.timecode_;
    if (!hasPicture() || !source.hasPicture() || isPictureSizeRefused(source.getWidth(), source.getHeight()) ||
        isPictureSizeRefused(getWidth(), getHeight())) {
      return -1;
    }
    const PictureFit fit = fitPicture(source.getWidth(), source.getHeight(), getWidth(), getHeight(), fitSettings());
    if (fit.empty) return 0;
    // Bars are painted when the selection's size changes, or on demand.
    if (scaleMode_ == kScaleModeLetterbox &&
        (forceBlackFill || lastFillWidth_ != fit.selectionWidth || lastFillHeight_ != fit.selectionHeight)) {
      lastFillWidth_ = fit.selectionWidth;
      lastFillHeight_ = fit.selectionHeight;
      blackFill();
    }
    scaler_->scaleImage(fit.flags, source.record_.fourcc, source.record_.plane[0], source.record_.planeStride[0],
                        source.record_.width, source.record_.height, record_.fourcc, record_.plane[0],
                        record_.planeStride[0], record_.width, record_.height, nullptr, 1,
                        fit.useRectangles ? &fit.rectangles : nullptr, nullptr);
    return 0;
  });
}

int VideoFrameBuffer::getFrameBGRA(uint8_t* buffer, uint64_t capacity, uint64_t* size,
                                   uint32_t* width, uint32_t* height, int64_t* timecode) const {
  uint32_t w = width != nullptr ? *width : 0;
  uint32_t h = height != nullptr ? *height : 0;
  if (w == 0 || h == 0) {
    w = record_.width;
    h = record_.height;
  }
  if (width != nullptr) *width = w;
  if (height != nullptr) *height = h;
  const bool readable = hasPicture() && !isPictureSizeRefused(w, h);
  const uint64_t bytes = readable ? uint64_t{w} * h * 4 : 0;
  if (size != nullptr) *size = bytes;
  if (timecode != nullptr) *timecode = timecode_;
  if (buffer == nullptr) return 0;
  if (bytes == 0 || capacity < bytes) return -1;
  const int status = scaler_->scaleImage(
      0, record_.fourcc, record_.plane[0], record_.planeStride[0], record_.width, record_.height,
      kFourCCBGRA, buffer, static_cast<int32_t>(w * 4), w, h, nullptr, 1, nullptr, nullptr);
  return status == kScaleOk ? 0 : -1;
}

namespace {

// The byte just past the last one a copy touches, checked against a block.
bool spans(const VideoFrameBuffer& buffer, uint64_t end) {
  return buffer.getBytes() != nullptr && end <= buffer.getByteCount();
}

}  // namespace

int VideoFrameBuffer::copyYV12ToNV12(VideoFrameBuffer& destination,
                                     const VideoFrameBuffer& source) {
  const int64_t srcStride = source.getPlaneStride(0);
  const int64_t dstStride = destination.getPlaneStride(0);
  if (srcStride <= 0 || dstStride <= 0) return -1;
  const uint64_t rows = std::min(source.getHeight(), destination.getHeight());
  const uint64_t rowBytes = static_cast<uint64_t>(std::min(srcStride, dstStride));
  const uint64_t cw = std::min(source.getWidth(), destination.getWidth()) / 2;
  const uint64_t ch = rows / 2;
  const uint64_t srcChromaStride = source.getWidth() / 2;
  // The source's chroma follows its luma rows directly, rows width / 2 apart.
  const uint64_t srcLuma = uint64_t{source.getHeight()} * static_cast<uint64_t>(srcStride);
  const uint64_t dstLuma = uint64_t{destination.getHeight()} * static_cast<uint64_t>(dstStride);
  const uint64_t srcChromaPlane = srcChromaStride * (source.getHeight() / 2);
  if (ch > 0 && cw > 0) {
    if (!spans(source, srcLuma + srcChromaPlane + (ch - 1) * srcChromaStride + cw) ||
        !spans(destination, dstLuma + (ch - 1) * static_cast<uint64_t>(dstStride) + cw * 2)) {
      return -1;
    }
  }
  if (rows > 0 && (!spans(source, (rows - 1) * static_cast<uint64_t>(srcStride) + rowBytes) ||
                   !spans(destination, (rows - 1) * static_cast<uint64_t>(dstStride) + rowBytes))) {
    return -1;
  }
  const uint8_t* src = source.getBytes();
  uint8_t* dst = destination.getBytes();
  for (uint64_t r = 0; r < rows; ++r) {
    std::memcpy(dst + r * static_cast<uint64_t>(dstStride), src + r * static_cast<uint64_t>(srcStride),
                rowBytes);
  }
  const uint8_t* first = src + srcLuma;
  const uint8_t* second = first + srcChromaPlane;
  uint8_t* chroma = dst + dstLuma;
  for (uint64_t r = 0; r < ch; ++r) {
    uint8_t* out = chroma + r * static_cast<uint64_t>(dstStride);
    const uint8_t* inFirst = first + r * srcChromaStride;
    const uint8_t* inSecond = second + r * srcChromaStride;
    for (uint64_t c = 0; c < cw; ++c) {
      out[c * 2 + 1] = inFirst[c];
      out[c * 2] = inSecond[c];
    }
  }
  return 0;
}

int VideoFrameBuffer::copyNV12ToYV12(VideoFrameBuffer& destination,
                                     const VideoFrameBuffer& source) {
  const int64_t srcStride = source.getPlaneStride(0);
  const int64_t dstStride = destination.getPlaneStride(0);
  // The interleaved rows are as long as the luma rows.
  const int64_t srcChromaStride = srcStride;
  if (srcStride <= 0 || dstStride <= 0) return -1;
  const uint64_t rows = std::min(source.getHeight(), destination.getHeight());
  const uint64_t rowBytes = static_cast<uint64_t>(std::min(srcStride, dstStride));
  const uint64_t cw = std::min(source.getWidth(), destination.getWidth()) / 2;
  const uint64_t ch = rows / 2;
  const uint64_t dstChromaStride = destination.getWidth() / 2;
  const uint8_t* src = source.getPlane(0);
  const uint8_t* interleaved = source.getPlane(1);
  uint8_t* dst = destination.getBytes();
  if (src == nullptr || dst == nullptr) return -1;
  if (rows > 0) {
    const uint64_t lumaEnd = (rows - 1) * static_cast<uint64_t>(dstStride) + rowBytes;
    const uint64_t chromaEnd = rows * static_cast<uint64_t>(dstStride) + 2 * ch * dstChromaStride;
    if (!spans(destination, std::max(lumaEnd, chromaEnd))) return -1;
    // The source's extent is known as byteCount bytes from its block start.
    if (source.getBytes() == nullptr || src < source.getBytes() ||
        !spans(source, static_cast<uint64_t>(src - source.getBytes()) +
                           (rows - 1) * static_cast<uint64_t>(srcStride) + rowBytes)) {
      return -1;
    }
  }
  if (ch > 0 && cw > 0 &&
      (interleaved == nullptr || interleaved < source.getBytes() ||
       !spans(source, static_cast<uint64_t>(interleaved - source.getBytes()) +
                          (ch - 1) * static_cast<uint64_t>(srcChromaStride) + cw * 2))) {
    return -1;
  }
  for (uint64_t r = 0; r < rows; ++r) {
    std::memcpy(dst + r * static_cast<uint64_t>(dstStride), src + r * static_cast<uint64_t>(srcStride),
                rowBytes);
  }
  // Chroma goes on right after the copied rows, not after the full plane;
  // a source one pixel wide has none, and maybe no plane to point into.
  if (cw == 0) return 0;
  uint8_t* out = dst + rows * static_cast<uint64_t>(dstStride);
  for (int pass = 1; pass >= 0; --pass) {
    for (uint64_t r = 0; r < ch; ++r, out += dstChromaStride) {
      const uint8_t* in = interleaved + r * static_cast<uint64_t>(srcChromaStride);
      for (uint64_t c = 0; c < cw; ++c) out[c] = in[c * 2 + pass];
    }
  }
  return 0;
}

}  // namespace cvx
