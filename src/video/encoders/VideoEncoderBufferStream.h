#pragma once

#include <cstdint>
#include <vector>

#include "logging/LockedFrameList.h"
#include "platform/bufstream/BufStreamSink.h"
#include "platform/bufstream/TimeStampInfo.h"
#include "video/encoders/VideoFrameEncoded.h"

namespace cvx {

// The sink an encoding library writes H.264 into. Between a start-of-frame
// and an end-of-frame code (bufstream_info) it gathers one access unit in a
// fixed 256 KiB buffer; at the end it copies the unit out, rewrites its
// four-byte start codes into big-endian lengths and derives the frame type.
// The library may call from threads of its own while the host takes frames:
// only the finished-frame list is locked, and no scanning runs under the lock.
class VideoEncoderBufferStream : public BufStreamSink {
 public:
  static constexpr uint32_t kBufferSize = 0x40000;

  VideoEncoderBufferStream();
  ~VideoEncoderBufferStream() override;

  void closeFrame();
  uint32_t getEncodedFrameCount();
  // Moves every finished frame to `out`; the caller then owns their blocks.
  int getEncodedFrames(std::vector<VideoFrameEncoded>& out);

  // Rewrites each 00 00 00 01 start code in place with the big-endian length
  // of the unit behind it, and returns the frame type the units announce:
  // 1 key (IDR slice, parameter set, or a key delimiter), 3 bidirectional
  // (a B delimiter), else 2. Three-byte start codes are not recognised.
  static uint32_t convertAnnexBToLengthPrefixed(uint8_t* data, uint32_t length);

  int64_t getTimecode() const { return timecode; }

 protected:
  void onAuxInfo(uint32_t infoId, void* infoPtr, uint32_t infoSize) override;

 private:
  LockedFrameList<VideoFrameEncoded> frames{"VideoEncoderBufferStream::getEncodedFrameCount: ",
                                            "VideoEncoderBufferStream::getEncodedFrames: "};
  int64_t timecode = -1;
};

}  // namespace cvx
