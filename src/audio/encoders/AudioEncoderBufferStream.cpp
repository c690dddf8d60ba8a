#include "audio/encoders/AudioEncoderBufferStream.h"

#include <utility>

#include "logging/Guarded.h"

namespace cvx {

AudioEncoderBufferStream::AudioEncoderBufferStream()
    : BufStreamSink(kBufferSize, "AudioEncoderBufferStream::constructor: "), lock(createConcurrentLock()) {}

AudioEncoderBufferStream::~AudioEncoderBufferStream() = default;

void AudioEncoderBufferStream::onAuxInfo(uint32_t infoId, void*, uint32_t) {
  if (infoId == bufstream_info::kAudioFrameEnd) closeFrame();
}

void AudioEncoderBufferStream::addTimecode(uint64_t position) {
  guarded("AudioEncoderBufferStream::addTimecode: ", [&] {
    ConcurrentLockGuard guard(lock.get());
    timecodes.push_back(position);
  });
}

void AudioEncoderBufferStream::continuePositions(uint64_t step) {
  ConcurrentLockGuard guard(lock.get());
  continuationStep = step;
}

void AudioEncoderBufferStream::closeFrame() {
  guarded("AudioEncoderBufferStream::closeFrame: ", [&] {
    if (bufferUsed == 0) return;
    EncodedBlock block = EncodedBlock::copyOf(buffer.get(), bufferUsed);
    bufferUsed = 0;
    // Without memory the frame is lost; its position stays queued, as the
    // library's frame order is all there is to pair by.
    if (!block) return;
    uint64_t timecode = 0;
    {
      ConcurrentLockGuard guard(lock.get());
      if (!timecodes.empty()) {
        timecode = timecodes.front();
        timecodes.pop_front();
      } else if (continuationStep > 0 && framesClosed) {
        timecode = lastTimecode + continuationStep;
      }
      lastTimecode = timecode;
      framesClosed = true;
    }
    frames.append(AudioFrameEncoded{std::move(block), timecode, channels, sampleRate});
  });
}

uint32_t AudioEncoderBufferStream::getEncodedFrameCount() { return frames.count(); }

int AudioEncoderBufferStream::getEncodedFrames(std::vector<AudioFrameEncoded>& out) { return frames.takeAll(out); }

std::size_t AudioEncoderBufferStream::getPendingTimecodeCount() {
  ConcurrentLockGuard guard(lock.get());
  return timecodes.size();
}

}  // namespace cvx
