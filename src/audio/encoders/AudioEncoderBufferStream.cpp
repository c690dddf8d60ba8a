#include "audio/encoders/AudioEncoderBufferStream.h"

#include <cstdlib>
#include <cstring>
#include <exception>

#include "logging/StdoutLine.h"

namespace cvx {

AudioEncoderBufferStream::AudioEncoderBufferStream()
    : BufStreamSink(kBufferSize, "AudioEncoderBufferStream::constructor: "), lock(createConcurrentLock()) {}

AudioEncoderBufferStream::~AudioEncoderBufferStream() {
  try {
    lock.reset();
  } catch (const std::exception& e) {
    writeStdoutLine("AudioEncoderBufferStream::delete[lock]: ", e);
  }
}

void AudioEncoderBufferStream::onAuxInfo(uint32_t infoId, void*, uint32_t) {
  if (infoId == kEndOfFrame) closeFrame();
}

void AudioEncoderBufferStream::addTimecode(uint64_t position) {
  try {
    ConcurrentLockGuard guard(lock);
    timecodes.push_back(position);
  } catch (const std::exception& e) {
    writeStdoutLine("AudioEncoderBufferStream::addTimecode: ", e);
  }
}

void AudioEncoderBufferStream::closeFrame() {
  try {
    if (bufferUsed == 0) return;
    auto* block = static_cast<uint8_t*>(std::malloc(bufferUsed));
    if (block == nullptr) {
      // The frame is lost; its position stays queued, as the library's
      // frame order is all there is to pair by.
      bufferUsed = 0;
      return;
    }
    std::memcpy(block, buffer, bufferUsed);
    uint64_t timecode = 0;
    {
      ConcurrentLockGuard guard(lock);
      if (!timecodes.empty()) {
        timecode = timecodes.front();
        timecodes.pop_front();
      }
    }
    frames.append(AudioFrameEncoded{block, bufferUsed, timecode, channels, sampleRate});
    bufferUsed = 0;
  } catch (const std::exception& e) {
    writeStdoutLine("AudioEncoderBufferStream::closeFrame: ", e);
  }
}

uint32_t AudioEncoderBufferStream::getEncodedFrameCount() { return frames.count(); }

int AudioEncoderBufferStream::getEncodedFrames(std::vector<AudioFrameEncoded>& out) { return frames.takeAll(out); }

std::size_t AudioEncoderBufferStream::getPendingTimecodeCount() {
  ConcurrentLockGuard guard(lock);
  return timecodes.size();
}

}  // namespace cvx
