#pragma once

#include "audio/decoders/AudioDecoderMpegAudio.h"

namespace cvx {

// MPEG-1/2 audio layers I and II, codec number 2. The first frame's header is
// read here for the rate and channel count.
class AudioDecoderMP2 : public AudioDecoderMpegAudio {
 public:
  AudioDecoderMP2();

  int setDecodeParameters(int32_t first, int32_t second, int32_t third) override;
  int setDecodeParameters(int32_t sampleFormat) override;
  int initialize() override;
  int decodeCodecConfig(uint8_t* data, uint32_t offset, uint32_t length) override;
  int decodeFirstFrame(uint8_t* data, uint32_t offset, uint32_t length) override;

 protected:
  bufstream_tt* openLibrary() override;
};

}  // namespace cvx
