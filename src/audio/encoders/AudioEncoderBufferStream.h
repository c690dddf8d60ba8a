#pragma once

#include <cstdint>
#include <list>
#include <memory>
#include <vector>

#include "audio/samples/AudioFrameEncoded.h"
#include "logging/IConcurrentLock.h"
#include "logging/LockedFrameList.h"
#include "platform/bufstream/BufStreamSink.h"

namespace cvx {

// The sink an encoding library writes audio into. It gathers the bytes of one
// frame in a fixed 8192-byte buffer, closes the frame when the library sends
// bufstream_info::kAudioFrameEnd, and pairs it with the oldest queued sample position: the
// library emits frames in the order it took them, so first in, first out.
// The library may call back on a thread of its own; the queues are locked,
// the frame buffer is touched only by the writer.
class AudioEncoderBufferStream : public BufStreamSink {
 public:
  static constexpr uint32_t kBufferSize = 8192;

  AudioEncoderBufferStream();
  ~AudioEncoderBufferStream() override;

  void addTimecode(uint64_t position);
  // From now on a frame with no position queued takes the frame before's
  // plus `step`: the frames a library gives out of its delay at the end.
  void continuePositions(uint64_t step);
  void closeFrame();
  uint32_t getEncodedFrameCount();
  // Moves every finished frame to `out`; the caller then owns their blocks.
  int getEncodedFrames(std::vector<AudioFrameEncoded>& out);
  void setChannels(uint32_t value) { channels = value; }
  void setSampleRate(uint32_t value) { sampleRate = value; }

  std::size_t getPendingTimecodeCount();

 protected:
  void onAuxInfo(uint32_t infoId, void* infoPtr, uint32_t infoSize) override;

 private:
  // Guards the queued positions; the finished frames lock themselves.
  std::unique_ptr<IConcurrentLock> lock;
  LockedFrameList<AudioFrameEncoded> frames{"AudioEncoderBufferStream::getEncodedFrameCount: ",
                                            "AudioEncoderBufferStream::getEncodedFrames: "};
  std::list<uint64_t> timecodes;
  uint64_t lastTimecode = 0;
  uint64_t continuationStep = 0;
  bool framesClosed = false;
  uint32_t channels = 0;
  uint32_t sampleRate = 0;
};

}  // namespace cvx
