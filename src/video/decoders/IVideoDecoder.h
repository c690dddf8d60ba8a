#pragma once

#include <cstdint>

#include "parameters/IParameterTarget.h"
#include "platform/bufstream/FrameRecord.h"

namespace cvx {

class ILogger;
class VideoFrameBuffer;

// Flags that decode() reports.
enum VideoDecodeFlags : uint32_t {
  kDecodeInputEmpty = 1,
  kDecodeParserStopped = 2,
  kDecodePictureReady = 4,
  kDecodePictureSkipped = 8,
  kDecodeStateBit24 = 16,
  kDecodeSequenceChanged = 32,
};

// The session's one video decoder. Calls come from one host thread:
// setLogger, settings, initialize, decodeCodecConfig, then for each frame
// addFrame followed by decode until the input-empty flag. The bytes given to
// addFrame stay valid until the decoder's input has run empty (isInputEmpty),
// also when frames are added without decoding in between; the codec
// configuration's bytes only for the call. When the host's input ends,
// endOfStream, then decode until the input-empty flag once more.
class IVideoDecoder : public IParameterTarget {
 public:
  ~IVideoDecoder() noexcept(false) override = default;
  virtual uint32_t getWidth() = 0;
  virtual void setWidth(uint32_t value) = 0;
  virtual uint32_t getHeight() = 0;
  virtual void setHeight(uint32_t value) = 0;
  virtual uint32_t getDisplayWidth() = 0;
  virtual void setDisplayWidth(uint32_t value) = 0;
  virtual uint32_t getDisplayHeight() = 0;
  virtual void setDisplayHeight(uint32_t value) = 0;
  virtual double getFrameRate() = 0;
  virtual void setFrameRate(double value) = 0;
  virtual FrameRecord* getOutputFrame() = 0;
  virtual void setOutputFrame(FrameRecord* frame) = 0;
  virtual uint32_t getFrameType() = 0;
  virtual int64_t getTimecode() = 0;
  virtual int initialize() = 0;
  virtual int setGPUID(int gpuId) = 0;
  virtual int close() = 0;
  virtual int decodeCodecConfig(uint8_t* data, uint32_t offset, uint32_t length) = 0;
  virtual int getDecodedFrame(VideoFrameBuffer& frame) = 0;
  virtual int addFrame(uint8_t* data, uint32_t offset, uint32_t length, int64_t timecode, uint32_t frameType) = 0;
  virtual int decode(uint32_t& flags) = 0;
  virtual bool isInputEmpty() = 0;
  // The host's input has ended. decode then gives out every picture the
  // decoder still holds, as it gives any picture, and reports its input empty
  // only once none is left; frames and configurations after it are refused
  // (-1 and a level-3 line). Called once; a second call does nothing.
  virtual int endOfStream() = 0;
  // The logger is borrowed and outlives the decoder.
  virtual void setLogger(ILogger* logger) = 0;
};

}  // namespace cvx
