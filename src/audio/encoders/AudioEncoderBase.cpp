#include "audio/encoders/AudioEncoderBase.h"

#include "logging/LogCollector.h"

namespace cvx {

void AudioEncoderBase::logInfo(const std::string& statement) {
  loggerOrDefault(logger)->logLevel2(kLogContextAudioEncoder, static_cast<int>(contextId), statement);
}

void AudioEncoderBase::logError(const std::string& statement) {
  loggerOrDefault(logger)->logLevel3(kLogContextAudioEncoder, static_cast<int>(contextId), statement);
}

bool AudioEncoderBase::refusedAfterEnd(const char* owner) {
  if (ended) logError(std::string(owner) + ".addSampleBuffer[{context}]: buffer refused: the stream has ended");
  return ended;
}

}  // namespace cvx
