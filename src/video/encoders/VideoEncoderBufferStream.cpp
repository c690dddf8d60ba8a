#include "video/encoders/VideoEncoderBufferStream.h"

#include <cstdlib>
#include <cstring>
#include <exception>
#include <new>

#include "logging/StdoutLine.h"

namespace cvx {

VideoEncoderBufferStream::VideoEncoderBufferStream() : lock(createConcurrentLock()) {
  stream.usableBytes = &usableBytes;
  stream.request = &request;
  stream.confirm = &confirm;
  stream.copybytes = &copybytes;
  stream.freeRoom = &freeRoom;
  stream.auxinfo = &auxinfo;
  stream.self = &self;
  stream.dataWords[2] = 1;
  stream.privateData = this;
  try {
    buffer = static_cast<uint8_t*>(std::malloc(kBufferSize));
    if (buffer == nullptr) throw std::bad_alloc();
  } catch (const std::exception& e) {
    writeStdoutLine("VideoEncoderBufferStream::constructor: ", e);
  }
}

VideoEncoderBufferStream::~VideoEncoderBufferStream() {
  try {
    delete lock;
  } catch (const std::exception& e) {
    writeStdoutLine("VideoEncoderBufferStream::delete[lock]: ", e);
  }
  lock = nullptr;
  std::free(buffer);
  buffer = nullptr;
  // Frames nobody took still own their blocks.
  for (VideoFrameEncoded& frame : frames) std::free(frame.buffer);
  frames.clear();
}

VideoEncoderBufferStream* VideoEncoderBufferStream::from(bufstream_tt* bs) {
  return static_cast<VideoEncoderBufferStream*>(bs->privateData);
}

uint32_t VideoEncoderBufferStream::usableBytes(bufstream_tt* bs) { return from(bs)->bufferUsed; }

uint8_t* VideoEncoderBufferStream::request(bufstream_tt* bs, uint32_t) {
  VideoEncoderBufferStream* s = from(bs);
  if (s->buffer == nullptr || s->bufferUsed >= kBufferSize) return nullptr;
  return s->buffer + s->bufferUsed;
}

uint32_t VideoEncoderBufferStream::confirm(bufstream_tt* bs, uint32_t numBytes) {
  VideoEncoderBufferStream* s = from(bs);
  const uint32_t room = kBufferSize - s->bufferUsed;
  s->bufferUsed += numBytes < room ? numBytes : room;
  return numBytes;
}

uint32_t VideoEncoderBufferStream::copybytes(bufstream_tt* bs, uint8_t* data, uint32_t numBytes) {
  VideoEncoderBufferStream* s = from(bs);
  if (s->buffer == nullptr || numBytes > kBufferSize - s->bufferUsed) return 0;
  std::memcpy(s->buffer + s->bufferUsed, data, numBytes);
  s->bufferUsed += numBytes;
  return numBytes;
}

uint32_t VideoEncoderBufferStream::freeRoom(bufstream_tt* bs) { return kBufferSize - from(bs)->bufferUsed; }

uint32_t VideoEncoderBufferStream::auxinfo(bufstream_tt* bs, uint32_t, uint32_t infoId, void* infoPtr,
                                           uint32_t infoSize) {
  VideoEncoderBufferStream* s = from(bs);
  switch (infoId) {
    case kStartOfFrame:
      s->bufferUsed = 0;
      break;
    case kEndOfFrame:
      s->closeFrame();
      break;
    case kTimeStamp:
      if (infoPtr != nullptr && infoSize >= sizeof(time_stamp_info)) {
        // The library hands the record back with the frame it travelled with;
        // its start is in tenths of a millisecond.
        time_stamp_info info;
        std::memcpy(&info, infoPtr, sizeof(info));
        // Division, not a shift: -5 tenths is 0 ms, as 5 tenths is.
        s->timecode = info.start / 10;
      }
      break;
    default:
      break;
  }
  return 0;
}

void* VideoEncoderBufferStream::self(bufstream_tt* bs) { return bs->privateData; }

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
  try {
    if (bufferUsed == 0) return;
    auto* block = static_cast<uint8_t*>(std::malloc(bufferUsed));
    if (block == nullptr) {
      bufferUsed = 0;
      return;
    }
    std::memcpy(block, buffer, bufferUsed);
    const uint32_t frameType = convertAnnexBToLengthPrefixed(block, bufferUsed);
    {
      ConcurrentLockGuard guard(lock);
      try {
        frames.push_back(VideoFrameEncoded{block, bufferUsed, timecode, frameType});
      } catch (...) {
        std::free(block);
        throw;
      }
    }
    bufferUsed = 0;
  } catch (const std::exception& e) {
    writeStdoutLine("VideoEncoderBufferStream::closeFrame: ", e);
  }
}

uint32_t VideoEncoderBufferStream::getEncodedFrameCount() {
  try {
    ConcurrentLockGuard guard(lock);
    return static_cast<uint32_t>(frames.size());
  } catch (const std::exception& e) {
    writeStdoutLine("VideoEncoderBufferStream::getEncodedFrameCount: ", e);
    return 0;
  }
}

int VideoEncoderBufferStream::getEncodedFrames(std::vector<VideoFrameEncoded>& out) {
  try {
    ConcurrentLockGuard guard(lock);
    out.insert(out.end(), frames.begin(), frames.end());
    frames.clear();
    return 0;
  } catch (const std::exception& e) {
    writeStdoutLine("VideoEncoderBufferStream::getEncodedFrames: ", e);
    return -1;
  }
}

}  // namespace cvx
