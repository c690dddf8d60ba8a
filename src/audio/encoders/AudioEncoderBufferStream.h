#pragma once

#include <cstdint>
#include <list>
#include <vector>

#include "audio/samples/AudioFrameEncoded.h"
#include "logging/IConcurrentLock.h"
#include "platform/bufstream/BufStream.h"

namespace cvx {

// The sink an encoding library writes audio into. It gathers the bytes of one
// frame in a fixed 8192-byte buffer, closes the frame when the library sends
// info code 0xf0002, and pairs it with the oldest queued sample position: the
// library emits frames in the order it took them, so first in, first out.
// The library may call back on a thread of its own; the queues are locked,
// the frame buffer is touched only by the writer.
class AudioEncoderBufferStream {
 public:
  static constexpr uint32_t kBufferSize = 8192;
  static constexpr uint32_t kEndOfFrame = 0xf0002;

  AudioEncoderBufferStream();
  ~AudioEncoderBufferStream();
  AudioEncoderBufferStream(const AudioEncoderBufferStream&) = delete;
  AudioEncoderBufferStream& operator=(const AudioEncoderBufferStream&) = delete;

  // The record handed to the library; valid as long as this object.
  bufstream_tt* getStream() { return &stream; }

  void addTimecode(uint64_t position);
  void closeFrame();
  uint32_t getEncodedFrameCount();
  // Moves every finished frame to `out`; the caller then owns their blocks.
  int getEncodedFrames(std::vector<AudioFrameEncoded>& out);
  void setChannels(uint32_t value) { channels = value; }
  void setSampleRate(uint32_t value) { sampleRate = value; }

  uint32_t getBufferUsed() const { return bufferUsed; }
  std::size_t getPendingTimecodeCount();

 private:
  static AudioEncoderBufferStream* from(bufstream_tt* bs);
  static uint32_t usableBytes(bufstream_tt* bs);
  static uint8_t* request(bufstream_tt* bs, uint32_t numBytes);
  static uint32_t confirm(bufstream_tt* bs, uint32_t numBytes);
  static uint32_t copybytes(bufstream_tt* bs, uint8_t* data, uint32_t numBytes);
  static uint32_t freeRoom(bufstream_tt* bs);
  static uint32_t auxinfo(bufstream_tt* bs, uint32_t offset, uint32_t infoId, void* infoPtr, uint32_t infoSize);
  static void* self(bufstream_tt* bs);

  IConcurrentLock* lock = nullptr;
  bufstream_tt stream{};
  uint8_t* buffer = nullptr;
  uint32_t bufferUsed = 0;
  std::vector<AudioFrameEncoded> frames;
  std::list<uint64_t> timecodes;
  uint32_t channels = 0;
  uint32_t sampleRate = 0;
};

}  // namespace cvx
