#include "video/decoders/VideoDecoderBase.h"

#include "logging/LogCollector.h"

namespace cvx {

void VideoDecoderBase::logInfo(const std::string& statement) {
  loggerOrDefault(logger)->logLevel2(kLogContextVideoDecoder, 0, statement);
}

void VideoDecoderBase::logError(const std::string& statement) {
  loggerOrDefault(logger)->logLevel3(kLogContextVideoDecoder, 0, statement);
}

}  // namespace cvx
