#pragma once

#include <cstdint>

#include "audio/decoders/AudioDecoderBase.h"
#include "platform/speex/SpeexLibrary.h"

namespace cvx {

// Speex wideband voice, codec number 11: always 16000 Hz mono. Every frame of
// a packet is decoded into one block with the packet's time.
class AudioDecoderSpeex : public AudioDecoderBase {
 public:
  AudioDecoderSpeex();
  ~AudioDecoderSpeex() noexcept(false) override;
  AudioDecoderSpeex(const AudioDecoderSpeex&) = delete;
  AudioDecoderSpeex& operator=(const AudioDecoderSpeex&) = delete;

  int setDecodeParameters(int32_t first, int32_t second, int32_t third) override;
  int setDecodeParameters(int32_t sampleFormat) override;
  int initialize() override;
  int decodeCodecConfig(uint8_t* data, uint32_t offset, uint32_t length) override;
  int decodeFirstFrame(uint8_t* data, uint32_t offset, uint32_t length) override;
  // A packet with more frames than the block holds is cut at its capacity.
  int decodeFrame(uint8_t* data, uint32_t offset, uint32_t length, uint64_t timecode,
                  AudioSampleBuffer& buffer) override;
  // The library state lives until the destructor.
  int close() override;
  uint32_t getChannels() override { return channels; }
  uint32_t getSampleRate() override { return sampleRate; }
  uint32_t getMaxFrameSamples() override { return 2048; }

  int32_t getFrameSize() const { return frameSize; }

 private:
  SpeexDecoderPtr decoder;
  int32_t frameSize = 0;
};

}  // namespace cvx
