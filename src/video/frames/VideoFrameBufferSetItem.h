#pragma once

namespace cvx {

class VideoFrameBuffer;

// One entry of a VideoFrameBufferSet: the buffer of one rendition. The set
// owns the buffer; the item only points at it.
class VideoFrameBufferSetItem {
 public:
  explicit VideoFrameBufferSetItem(VideoFrameBuffer* buffer) : buffer_(buffer) {}
  VideoFrameBuffer* getBuffer() const { return buffer_; }

 private:
  VideoFrameBuffer* buffer_;
};

}  // namespace cvx
