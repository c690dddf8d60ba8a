#pragma once

#include <cstdint>
#include <string>

#include "audio/decoders/IAudioDecoder.h"
#include "parameters/ParameterTargetDefaults.h"

namespace cvx {

// Fields and defaults shared by the audio decoders, and the frame accounting
// that turns host milliseconds into a steady sample position.
class AudioDecoderBase : public ParameterTargetDefaults<IAudioDecoder> {
 public:
  AudioDecoderBase() = default;
  ~AudioDecoderBase() noexcept(false) override = default;

  uint32_t getCodec() override { return codec; }
  uint32_t getOutputChannels() override { return channels; }
  uint32_t getOutputSampleRate() override { return sampleRate; }
  uint32_t getOutputSampleCount() override { return sampleCount; }
  uint32_t getOutputSize() override { return outputBytes; }
  uint64_t getOutputTimecode() override { return timecode; }
  uint32_t getFrameHeaderSize() override { return 0; }
  void setLogger(ILogger* value) override { logger = value; }

  // Clears the description of the last frame; first-frame state, frame count
  // and the running position stay.
  void resetDecodedFrameState() override;
  uint32_t getDecodedFrameCount() override { return decodedFrameCount; }
  bool isFirstFrameDecoded() override { return firstFrameDecoded; }

 protected:
  // Records one block of n samples (n > 0) that a packet yielded for host
  // time t (milliseconds) and stamps it on `buffer`. Positions run gaplessly
  // while host times stay within a millisecond of the sample clock, and
  // re-anchor on any larger jump. Returns false, delivering nothing, while no
  // sample rate is known: a position needs one.
  bool accountFrame(uint32_t n, uint64_t t, AudioSampleBuffer& buffer);

  // Level 2/3 lines at context kind 3, index 0.
  void logInfo(const std::string& statement);
  void logError(const std::string& statement);

  uint32_t codec = 0xFFFFFFFFu;
  uint32_t sampleRate = 0;
  uint32_t channels = 0;
  uint32_t sampleCount = 0;
  uint32_t outputBytes = 0;
  uint64_t timecode = 0;
  ILogger* logger = nullptr;

  uint32_t decodedFrameCount = 0;
  bool firstFrameDecoded = false;
  uint64_t lastPosition = UINT64_MAX;
};

}  // namespace cvx
