#include "platform/libav/AvStatus.h"

#include <cerrno>
#include <cstdio>
#include <string>

extern "C" {
#include <libavutil/error.h>
}

#include "logging/ILogger.h"

namespace cvx {

AvOutcome AvStatus::check(int result, const char* call) {
  if (result >= 0) {
    return AvOutcome::Ok;
  }
  if (result == AVERROR(EAGAIN)) {
    return AvOutcome::Again;
  }
  if (result == AVERROR_EOF) {
    return AvOutcome::End;
  }
  char text[AV_ERROR_MAX_STRING_SIZE] = {};
  if (av_strerror(result, text, sizeof(text)) < 0) {
    std::snprintf(text, sizeof(text), "error %d", result);
  }
  record(call, text);
  return result == AVERROR_INVALIDDATA ? AvOutcome::InvalidData : AvOutcome::Failed;
}

void AvStatus::fail(const char* call, const char* text) { record(call, text); }

void AvStatus::setLogger(ILogger* logger, int contextType, int contextIndex, const char* label) {
  logger_ = logger;
  contextType_ = contextType;
  contextIndex_ = contextIndex;
  label_ = label != nullptr ? label : "";
}

void AvStatus::record(const char* call, const char* text) {
  std::snprintf(text_, sizeof(text_), "%s: %s", call, text);
  ++failures_;
  if (logger_ != nullptr) {
    logger_->logLevel3(contextType_, contextIndex_, std::string(label_) + text_);
  }
}

}  // namespace cvx
