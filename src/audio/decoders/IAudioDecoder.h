#pragma once

#include <cstdint>

#include "parameters/IParameterTarget.h"

namespace cvx {

class AudioSampleBuffer;
class ILogger;

// An audio decoder of the session. Calls come from one host thread at a time,
// in this order: setLogger, setDecodeParameters, initialize, decodeCodecConfig
// (where the stream has one), decodeFirstFrame until isFirstFrameDecoded, then
// decodeFrame per packet. Frame data is borrowed for the call only; the block
// handed to decodeFirstFrame/decodeFrame starts with getFrameHeaderSize()
// bytes of room that the decoder may write into.
class IAudioDecoder : public IParameterTarget {
 public:
  ~IAudioDecoder() noexcept(false) override = default;
  virtual uint32_t getCodec() = 0;
  virtual uint32_t getOutputChannels() = 0;
  virtual uint32_t getOutputSampleRate() = 0;
  virtual uint32_t getOutputSampleCount() = 0;
  virtual uint32_t getOutputSize() = 0;
  virtual uint64_t getOutputTimecode() = 0;
  virtual int setDecodeParameters(int32_t first, int32_t second, int32_t third) = 0;
  virtual int setDecodeParameters(int32_t sampleFormat) = 0;
  virtual int initialize() = 0;
  virtual int decodeCodecConfig(uint8_t* data, uint32_t offset, uint32_t length) = 0;
  virtual int decodeFirstFrame(uint8_t* data, uint32_t offset, uint32_t length) = 0;
  // Decodes one packet into `buffer`; `timecode` is in host milliseconds, the
  // buffer receives a sample position.
  virtual int decodeFrame(uint8_t* data, uint32_t offset, uint32_t length, uint64_t timecode,
                          AudioSampleBuffer& buffer) = 0;
  virtual void resetDecodedFrameState() = 0;
  virtual int close() = 0;
  virtual uint32_t getFrameHeaderSize() = 0;
  virtual uint32_t getChannels() = 0;
  virtual uint32_t getSampleRate() = 0;
  virtual uint32_t getMaxFrameSamples() = 0;
  virtual uint32_t getDecodedFrameCount() = 0;
  virtual bool isFirstFrameDecoded() = 0;
  // The logger is borrowed and outlives the decoder.
  virtual void setLogger(ILogger* logger) = 0;
};

}  // namespace cvx
