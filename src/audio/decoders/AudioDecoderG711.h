#pragma once

#include <cstdint>
#include <string>

#include "audio/decoders/AudioDecoderBase.h"

namespace cvx {

// G.711 by table-free arithmetic: one byte in, one 16-bit value out. The two
// laws differ only in the expansion; everything else lives here. The first
// packet of a stream is a description (rate and channel count), not audio.
class AudioDecoderG711 : public AudioDecoderBase {
 public:
  ~AudioDecoderG711() noexcept(false) override = default;

  int setDecodeParameters(int32_t first, int32_t second, int32_t third) override;
  int setDecodeParameters(int32_t sampleFormat) override;
  int initialize() override;
  int decodeCodecConfig(uint8_t* data, uint32_t offset, uint32_t length) override;
  int decodeFirstFrame(uint8_t* data, uint32_t offset, uint32_t length) override;
  int decodeFrame(uint8_t* data, uint32_t offset, uint32_t length, uint64_t timecode,
                  AudioSampleBuffer& buffer) override;
  int close() override;
  uint32_t getChannels() override { return channels; }
  uint32_t getSampleRate() override { return sampleRate; }
  uint32_t getMaxFrameSamples() override { return 2048; }

 protected:
  // `className` labels the stdout lines; `expand` is the law.
  AudioDecoderG711(uint32_t codecNumber, const char* className, int16_t (*expand)(uint8_t));

 private:
  const char* className;
  const std::string decodeFirstFrameLabel;
  const std::string decodeFrameLabel;
  // The law evaluated once per byte value: the arithmetic stays the
  // definition, the table only spares the per-sample work.
  int16_t expansion[256];
};

}  // namespace cvx
