#include "video/encoders/VideoEncoderBufferStream.h"

#include <cstring>
#include <utility>

#include "logging/Guarded.h"

namespace cvx {

VideoEncoderBufferStream::VideoEncoderBufferStream() : BufStreamSink(kBufferSize, "VideoEncoderBufferStream::constructor: ") {}

VideoEncoderBufferStream::~VideoEncoderBufferStream() = default;

void VideoEncoderBufferStream::onAuxInfo(uint32_t infoId, void* infoPtr, uint32_t infoSize) {
  switch (infoId) {
    case bufstream_info::kFrameStart:
      bufferUsed = 0;
      break;
    case bufstream_info::kVideoFrameEnd:
      closeFrame();
      break;
    case bufstream_info::kTimeStamp:
      if (infoPtr != nullptr && infoSize >= sizeof(time_stamp_info)) {
        // The library hands the record back with the frame it travelled with;
        // its start is in tenths of a millisecond.
        time_stamp_info info;
        std::memcpy(&info, infoPtr, sizeof(info));
        // Division, not a shift: -5 tenths is 0 ms, as 5 tenths is.
        timecode = info.start / 10;
      }
      break;
    default:
      break;
  }
}

uint32_t VideoEncoderBufferStream::convertAnnexBToLengthPrefixed(uint8_t* data, uint32_t length) {
  uint32_t frameType = 2;
  if (length > INT32_MAX) return frameType;
  const int32_t n = static_cast<int32_t>(length);
  int32_t last = -1;
  auto writeLength = [data](int32_t at, int32_t value) {
    data[at] = static_cast<uint8_t>(value >> 24);
    data[at + 1] = static_cast<uint8_t>(value >> 16);
    data[at + 2] = static_cast<uint8_t>(value >> 8);
    data[at + 3] = static_cast<uint8_t>(value);
  };
  int32_t i = 0;
  while (i < n - 6) {
    // A start code has a zero in every four-byte window it overlaps, so
    // bytes above 1 let the scan skip four at a time.
    if (data[i] > 1) {
      i += 4;
      continue;
    }
    const int32_t remembered = i;
    bool found = false;
    for (int32_t probe = 0; probe < 4; ++probe) {
      if (data[i] == 0 && data[i + 1] == 0 && data[i + 2] == 0 && data[i + 3] == 1) {
        found = true;
        break;
      }
      if (i == 0) break;
      --i;
    }
    if (found) {
      if (last >= 0) writeLength(last, i - last - 4);
      last = i;
      const uint8_t nalType = data[last + 4] & 31;
      if (nalType == 9) {
        if (data[last + 5] == 0x10) frameType = 1;
        if (data[last + 5] == 0x50) frameType = 3;
      } else if (nalType == 5 || nalType == 7 || nalType == 8) {
        frameType = 1;
      }
    } else {
      i = remembered;
    }
    i += 4;
  }
  if (last >= 0) writeLength(last, n - last - 4);
  return frameType;
}

void VideoEncoderBufferStream::closeFrame() {
  guarded("VideoEncoderBufferStream::closeFrame: ", [&] {
    if (bufferUsed == 0) return;
    EncodedBlock block = EncodedBlock::copyOf(buffer.get(), bufferUsed);
    bufferUsed = 0;
    // Without memory the access unit is lost.
    if (!block) return;
    const uint32_t frameType = convertAnnexBToLengthPrefixed(block.data(), block.size());
    frames.append(VideoFrameEncoded{std::move(block), timecode, frameType});
  });
}

uint32_t VideoEncoderBufferStream::getEncodedFrameCount() { return frames.count(); }

int VideoEncoderBufferStream::getEncodedFrames(std::vector<VideoFrameEncoded>& out) { return frames.takeAll(out); }

}  // namespace cvx
