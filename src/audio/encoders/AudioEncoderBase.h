#pragma once

#include <cstdint>
#include <string>

#include "audio/encoders/IAudioEncoder.h"
#include "parameters/ParameterTargetDefaults.h"

namespace cvx {

// What every audio encoder shares: codec number, context id, logger, and the
// plain settings that only initialize reads.
class AudioEncoderBase : public ParameterTargetDefaults<IAudioEncoder> {
 public:
  AudioEncoderBase() = default;
  ~AudioEncoderBase() noexcept(false) override = default;

  uint32_t getCodec() override { return codec; }
  double getQuality() override { return quality; }
  void setQuality(double value) override { quality = value; }
  uint32_t getBitrate() override { return bitrate; }
  void setBitrate(uint32_t value) override { bitrate = value; }
  uint32_t getChannels() override { return channels; }
  void setChannels(uint32_t value) override { channels = value; }
  uint32_t getSampleRate() override { return sampleRate; }
  void setSampleRate(uint32_t value) override { sampleRate = value; }
  void setLogger(ILogger* value) override { logger = value; }
  uint32_t getContextId() override { return contextId; }
  void setContextId(uint32_t value) override { contextId = value; }
  // An encoder that holds no samples has nothing to finish.
  int endOfStream(std::vector<AudioFrameEncoded>&) override {
    markEnded();
    return 0;
  }

 protected:
  // Level 2/3 lines at context kind 4 and this encoder's index.
  void logInfo(const std::string& statement);
  void logError(const std::string& statement);
  // Marks the end of the input; false when it was marked before, so that a
  // drain runs once.
  bool markEnded() {
    const bool first = !ended;
    ended = true;
    return first;
  }
  // True, with one level-3 line, for a buffer after the end; `owner` names
  // the class in the line.
  bool refusedAfterEnd(const char* owner);

  uint32_t codec = 0xFFFFFFFFu;
  uint32_t contextId = 0;
  ILogger* logger = nullptr;
  double quality = 0.0;
  uint32_t bitrate = 0;
  uint32_t channels = 0;
  uint32_t sampleRate = 0;
  bool ended = false;
};

}  // namespace cvx
