#pragma once

#include <cstdint>
#include <string>

#include "video/encoders/IVideoEncoder.h"
#include "parameters/ParameterTargetDefaults.h"

namespace cvx {

// What every video encoder shares: its number, its index in the session (the
// context it logs under), its logger, and settings-free defaults.
class VideoEncoderBase : public ParameterTargetDefaults<IVideoEncoder> {
 public:
  VideoEncoderBase() = default;
  ~VideoEncoderBase() noexcept(false) override = default;

  uint32_t getCodec() override { return codec; }
  int addFrame(VideoFrameBuffer& frame) override { return addFrame(frame, 0); }
  using IVideoEncoder::addFrame;
  void setLogger(ILogger* value) override { logger = value; }
  uint32_t getContextId() override { return contextId; }
  void setContextId(uint32_t value) override { contextId = value; }
  // An encoder that holds no frames has nothing to finish.
  int endOfStream() override {
    markEnded();
    return 0;
  }

 protected:
  // Level 2/3 lines at context kind 2 and this encoder's index.
  void logInfo(const std::string& statement);
  void logError(const std::string& statement);
  // Marks the end of the input; false when it was marked before, so that a
  // drain runs once.
  bool markEnded() {
    const bool first = !ended;
    ended = true;
    return first;
  }
  // True, with one level-3 line, for a frame after the end; `owner` names the
  // class in the line.
  bool refusedAfterEnd(const char* owner);

  uint32_t codec = 0xFFFFFFFFu;
  uint32_t contextId = 0;
  ILogger* logger = nullptr;
  bool ended = false;
};

}  // namespace cvx
