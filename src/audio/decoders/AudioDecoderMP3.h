#pragma once

#include "audio/decoders/AudioDecoderMpegAudio.h"

namespace cvx {

// MPEG audio layer III, codec number 2 with implementation 3. Rate and
// channel count come from the library's stream record after the first frame.
class AudioDecoderMP3 : public AudioDecoderMpegAudio {
 public:
  AudioDecoderMP3();

  int setDecodeParameters(int32_t first, int32_t second, int32_t third) override;
  int setDecodeParameters(int32_t sampleFormat) override;
  int initialize() override;
  // Kept for the record; nothing reads the three values.
  int decodeCodecConfig(uint8_t* data, uint32_t offset, uint32_t length) override;
  int decodeFirstFrame(uint8_t* data, uint32_t offset, uint32_t length) override;

  uint32_t getObjectType() const { return objectType; }
  uint32_t getSampleRateIndex() const { return sampleRateIndex; }
  uint32_t getChannelConfig() const { return channelConfig; }

 protected:
  bufstream_tt* openLibrary() override;

 private:
  const MpegAudioStreamRecord* streamInfo = nullptr;
  alignas(void*) uint8_t settings[kMp3SettingsBytes] = {};
  alignas(void*) uint8_t workArea[kMp3WorkAreaBytes] = {};
  uint32_t objectType = 0;
  uint32_t sampleRateIndex = 0;
  uint32_t channelConfig = 0;
};

}  // namespace cvx
