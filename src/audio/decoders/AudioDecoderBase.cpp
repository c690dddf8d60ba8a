#include "audio/decoders/AudioDecoderBase.h"

#include "audio/samples/AudioSampleBuffer.h"
#include "audio/samples/AudioTimecode.h"
#include "logging/LogCollector.h"

namespace cvx {

void AudioDecoderBase::resetDecodedFrameState() {
  sampleRate = 0;
  channels = 0;
  sampleCount = 0;
  outputBytes = 0;
  timecode = 0;
}

bool AudioDecoderBase::accountFrame(uint32_t n, uint64_t t, AudioSampleBuffer& buffer) {
  const uint32_t r = sampleRate;
  if (r == 0) return false;
  uint64_t position = millisecondsToSamplePosition(t, r);
  if (lastPosition != UINT64_MAX) {
    // This block's own n is added before its position is taken, so the first
    // block sits at t and each later one n samples on.
    lastPosition += n;
    const uint64_t check = samplePositionToMilliseconds(lastPosition, r);
    if (!(check < t - 1) && !(check > t + 1)) position = lastPosition;
  }
  lastPosition = position;
  ++decodedFrameCount;
  sampleCount = n;
  outputBytes = n * channels * 2u;
  timecode = position;
  buffer.setSampleCount(n);
  buffer.setTimecode(position);
  return true;
}

void AudioDecoderBase::logInfo(const std::string& statement) {
  loggerOrDefault(logger)->logLevel2(kLogContextAudioDecoder, 0, statement);
}

void AudioDecoderBase::logError(const std::string& statement) {
  loggerOrDefault(logger)->logLevel3(kLogContextAudioDecoder, 0, statement);
}

}  // namespace cvx
