#include "video/encoders/VideoEncoderBase.h"

#include "logging/LogCollector.h"

namespace cvx {

void VideoEncoderBase::logInfo(const std::string& statement) {
  loggerOrDefault(logger)->logLevel2(kLogContextVideoEncoder, static_cast<int>(contextId), statement);
}

void VideoEncoderBase::logError(const std::string& statement) {
  loggerOrDefault(logger)->logLevel3(kLogContextVideoEncoder, static_cast<int>(contextId), statement);
}

bool VideoEncoderBase::refusedAfterEnd(const char* owner) {
  if (ended) logError(std::string(owner) + ".addFrame[{context}]: frame refused: the stream has ended");
  return ended;
}

}  // namespace cvx
