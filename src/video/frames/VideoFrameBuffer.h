#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "platform/bufstream/FrameRecord.h"
#include "platform/vpx/VpxImageView.h"
#include "video/frames/PictureFit.h"

namespace cvx {

class IImageScaler;
class PictureMemoryBudget;

// One picture in one block, with its timecode, frame type and the settings by
// which a source is fitted into it. The frame record at its head is what the
// closed decoders fill, and the VP8 view describes the same pixels to the VP8
// encoder, so neither needs a copy. Four-character codes and their layouts:
// see calcBufferLayout.
class VideoFrameBuffer {
 public:
  VideoFrameBuffer();
  ~VideoFrameBuffer();
  VideoFrameBuffer(const VideoFrameBuffer&) = delete;
  VideoFrameBuffer& operator=(const VideoFrameBuffer&) = delete;

  // Size in bytes of a block for this code and size, with the stride of plane
  // 0 and the offset of plane 0 in the block. RGB layouts are bottom-up: a
  // negative stride, and plane 0 at the last row of the block. Codes without
  // a layout (NV12, YV16, any other) give 0, as do sizes whose stride or
  // block would not fit the record's fields.
  static uint64_t calcBufferLayout(uint32_t width, uint32_t height, uint32_t fourcc,
                                   int32_t& stride, int32_t& frameStartOffset);

  // The bytes a block of this layout is given: calcBufferLayout's size, and
  // for 4:2:0 of odd width or height what the VP8 encoder reads past it,
  // (height + 1) / 2 chroma rows of (width + 1) / 2 bytes at the plane rule's
  // stride and offsets. The layout values themselves stay as calcBufferLayout
  // gives them.
  static uint64_t calcBlockBytes(uint32_t width, uint32_t height, uint32_t fourcc);

  // True for the codes a buffer can hold a picture in: those with a layout
  // of their own that the scaler also draws (not YV16, NV12, v210, H264).
  static bool isPictureCode(uint32_t fourcc);

  // Gives the buffer a block for this size and code. A buffer that already
  // holds a block of this size keeps it, and its old code, unchanged. The new
  // block is not painted. A size of 0 in either side, or a code without a
  // layout, leaves the buffer without a block and returns 0. A size past the
  // picture limits, or a block the memory budget or the allocator refuses,
  // leaves the buffer empty (no size, no planes) and returns -1; every later
  // use of an empty buffer draws nothing and reports failure.
  int allocBuffer(uint32_t width, uint32_t height, uint32_t fourcc);
  int allocBuffer(uint32_t width, uint32_t height);
  // Frees the block (a borrowed one is only let go) and lets go of the
  // planes that pointed into it. Returns 0.
  int freeBuffer();
  // Makes the buffer describe pixels it does not own, such as a hardware
  // surface: planes and strides as given, byteCount bytes from planes[0].
  // The buffer never frees them. Returns 0, or -1 when planes[0] is null.
  int attachExternal(uint32_t width, uint32_t height, uint32_t fourcc, uint8_t* const planes[4],
                     const int32_t strides[4], uint64_t byteCount);

  // Paints the whole picture black, by whatever the scaler makes of RGB black
  // in this code. Returns 0, or -1 after a failure.
  int blackFill();

  int updateVpxImage();
  VpxImageView* getVpxImage() { return &vpxImage_; }
  FrameRecord* getFrameRecord() { return &record_; }
  const FrameRecord* getFrameRecord() const { return &record_; }

  void setScaleMode(int32_t mode) { scaleMode_ = mode; }
  int32_t getScaleMode() const { return scaleMode_; }
  void setTimecode(int64_t value) { timecode_ = value; }
  int64_t getTimecode() const { return timecode_; }
  void setFrameType(int32_t value) { frameType_ = value; }
  int32_t getFrameType() const { return frameType_; }

  uint8_t* getPlane(int index) const;
  int32_t getPlaneStride(int index) const;
  uint32_t getWidth() const { return record_.width; }
  uint32_t getHeight() const { return record_.height; }
  uint32_t getFourCC() const { return record_.fourcc; }
  int32_t getStride() const { return stride_; }
  int32_t getFrameStartOffset() const { return frameStartOffset_; }
  uint64_t getByteCount() const { return byteCount_; }
  uint8_t* getBytes() const { return bytes_; }
  uint32_t getLastFillWidth() const { return lastFillWidth_; }
  uint32_t getLastFillHeight() const { return lastFillHeight_; }

  // With four values (left, right, top, bottom) stores them and enables the
  // crop; with none disables it and keeps the values.
  void setCrop(const uint32_t* values, size_t count);
  bool isCropEnabled() const { return cropEnabled_; }
  const uint32_t* getCrop() const { return crop_; }
  // Stores x, y, width, height and enables the source rectangle, for good:
  // nothing disables it again. Missing values count as 0.
  void setSrcRect(const uint32_t* values, size_t count);
  bool isSrcRectEnabled() const { return srcRectEnabled_; }
  const uint32_t* getSrcRect() const { return srcRect_; }

  // Fills this buffer from source with its scale mode, crop and source
  // rectangle; copies timecode and frame type first. A selection that is
  // empty or leaves the source draws nothing and returns 0; a buffer
  // without a picture on either side draws nothing and returns -1.
  int scaleFrom(const VideoFrameBuffer& source, bool forceBlackFill);

  // A top-down BGRA copy for the host. width and height in: the size wanted,
  // or 0 in either for the frame's own, which is then written back. size
  // receives width x height x 4, or 0 when there is no picture or the size
  // is past the picture limits; timecode receives the frame's timecode. A
  // null buffer only asks for the size. Returns 0 after drawing; -1 without
  // writing a byte when capacity is below size or size is 0.
  int getFrameBGRA(uint8_t* buffer, uint64_t capacity, uint64_t* size, uint32_t* width,
                   uint32_t* height, int64_t* timecode) const;

  // Luma rows, then the two chroma planes of a YV12 block interleaved into
  // the NV12 chroma area after destination's luma (first plane to the odd
  // bytes). Over the smaller of the two sizes. Returns -1 without copying
  // when either block is too small for the rows it would touch.
  static int copyYV12ToNV12(VideoFrameBuffer& destination, const VideoFrameBuffer& source);
  // The reverse: luma rows, then the odd bytes of source's plane 1 as a
  // plane, then the even bytes, written on right after the copied rows.
  static int copyNV12ToYV12(VideoFrameBuffer& destination, const VideoFrameBuffer& source);

  // Borrowed; the default is the platform's scaler.
  void setImageScaler(IImageScaler* scaler);
  // Borrowed, and to outlive the buffer; set before the first allocBuffer.
  // Without one, blocks are limited by the allocator alone.
  void setMemoryBudget(PictureMemoryBudget* budget) { budget_ = budget; }

  // True when plane 0 addresses pixels of a non-empty picture.
  bool hasPicture() const;

 private:
  int allocateBlock(uint32_t width, uint32_t height, uint32_t fourcc);
  FitSettings fitSettings() const;
  void setPlanes();
  bool takeBlock(uint64_t bytes);
  void makeEmpty();

  FrameRecord record_;
  VpxImageView vpxImage_;
  int32_t stride_ = 0;
  int32_t frameStartOffset_ = 0;
  uint64_t byteCount_ = 0;
  uint8_t* bytes_ = nullptr;  // ownedBlock_'s, or borrowed after attachExternal
  int32_t reserved_[2] = {0, 0};
  int64_t timecode_ = 0;
  int32_t frameType_ = 0;
  int32_t scaleMode_ = 3;
  uint32_t lastFillWidth_ = 0;
  uint32_t lastFillHeight_ = 0;
  uint32_t crop_[4] = {0, 0, 0, 0};
  bool cropEnabled_ = false;
  uint32_t srcRect_[4] = {0, 0, 0, 0};
  bool srcRectEnabled_ = false;
  std::unique_ptr<uint8_t[]> ownedBlock_;
  uint64_t blockBytes_ = 0;  // what ownedBlock_ spans, as reserved in budget_
  IImageScaler* scaler_;
  PictureMemoryBudget* budget_ = nullptr;
};

}  // namespace cvx
