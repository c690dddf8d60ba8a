#pragma once

#include <cstdint>
#include <vector>

#include "audio/samples/AudioFrameEncoded.h"
#include "parameters/IParameterTarget.h"

namespace cvx {

class AudioSampleBuffer;
class ILogger;

// An audio encoder of the session, one per output. The setters come in any
// order before initialize; then getHeaders, then addSampleBuffer per decoded
// block, each of which appends whatever frames it finished to `out` at once,
// and endOfStream when the host's input ends.
// Frames appended to `out`, headers included, pass to the caller with the
// blocks they own.
class IAudioEncoder : public IParameterTarget {
 public:
  ~IAudioEncoder() noexcept(false) override = default;
  virtual uint32_t getCodec() = 0;
  virtual double getQuality() = 0;
  virtual void setQuality(double quality) = 0;
  virtual uint32_t getBitrate() = 0;
  virtual void setBitrate(uint32_t bitsPerSecond) = 0;
  virtual uint32_t getChannels() = 0;
  virtual void setChannels(uint32_t channels) = 0;
  virtual uint32_t getSampleRate() = 0;
  virtual void setSampleRate(uint32_t hertz) = 0;
  virtual int initialize() = 0;
  virtual int getHeaders(std::vector<AudioFrameEncoded>& out) = 0;
  // The buffer is borrowed for the call; an encoder that needs samples longer
  // keeps its own copy.
  virtual int addSampleBuffer(AudioSampleBuffer& buffer, std::vector<AudioFrameEncoded>& out) = 0;
  // The host's input has ended: the samples the encoder still holds (a
  // partial frame, its lookahead) are encoded and the last frames appended to
  // `out`. Buffers after it are refused (-1 and a level-3 line). A second
  // call does nothing.
  virtual int endOfStream(std::vector<AudioFrameEncoded>& out) = 0;
  virtual int close() = 0;
  // The logger is borrowed and outlives the encoder.
  virtual void setLogger(ILogger* logger) = 0;
  virtual uint32_t getContextId() = 0;
  virtual void setContextId(uint32_t contextId) = 0;
};

}  // namespace cvx
