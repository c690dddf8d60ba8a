#pragma once

#include <cstddef>
#include <cstdint>
#include <list>

#include "audio/decoders/AudioDecoderStreamBase.h"

namespace cvx {

// Raw AAC access units, codec number 10. The decoder library takes ADTS
// frames, so each unit gets a seven-byte header built from the two bytes of
// the AudioSpecificConfig, in the room the marshalling reserves in front of
// it. The library may give a unit's samples on a later call than the one that
// took it: host times wait in a queue and each block of samples takes the
// oldest.
class AudioDecoderAAC : public AudioDecoderStreamBase {
 public:
  static constexpr uint32_t kHeaderSize = 7;
  // The largest frame an ADTS header can describe, header included.
  static constexpr uint32_t kMaxFrameBytes = 8191;
  // Host times waiting for samples; real decoders hold one or two.
  static constexpr std::size_t kMaxQueuedTimecodes = 64;

  AudioDecoderAAC();
  ~AudioDecoderAAC() noexcept(false) override;
  AudioDecoderAAC(const AudioDecoderAAC&) = delete;
  AudioDecoderAAC& operator=(const AudioDecoderAAC&) = delete;

  int setDecodeParameters(int32_t first, int32_t second, int32_t third) override;
  int setDecodeParameters(int32_t sampleFormat) override;
  int initialize() override;
  int decodeCodecConfig(uint8_t* data, uint32_t offset, uint32_t length) override;
  int decodeFirstFrame(uint8_t* data, uint32_t offset, uint32_t length) override;
  int decodeFrame(uint8_t* data, uint32_t offset, uint32_t length, uint64_t timecode,
                  AudioSampleBuffer& buffer) override;
  int close() override;
  uint32_t getFrameHeaderSize() override { return kHeaderSize; }
  // From the codec configuration, not from decoded frames.
  uint32_t getChannels() override;
  uint32_t getSampleRate() override;
  uint32_t getMaxFrameSamples() override { return 1024; }

  uint32_t getObjectType() const { return objectType; }
  uint32_t getSampleRateIndex() const { return sampleRateIndex; }
  uint32_t getChannelConfig() const { return channelConfig; }
  std::size_t getTimecodeQueueLength() const { return timecodeQueue.size(); }
  static const char* objectTypeName(uint32_t objectType);
  // Writes the seven header bytes at `out` for a frame of `frameLength` bytes, header included.
  static void writeAdtsHeader(uint8_t* out, uint32_t objectType, uint32_t sampleRateIndex, uint32_t channelConfig,
                              bool protectionAbsent, uint32_t frameLength);

 protected:
  // The library's open entry; a test may put another stream in its place.
  virtual bufstream_tt* openLibrary();

 private:
  // False, with a level-3 line, when the block cannot take the header or
  // its length cannot be written into one.
  bool fitsAdtsFrame(const uint8_t* data, uint32_t length, const char* prefix);

  uint8_t audioSettings[kAacDecoderSettingsBytes];
  uint32_t objectType = 0;
  uint32_t sampleRateIndex = 0;
  uint32_t channelConfig = 0;
  std::list<uint64_t> timecodeQueue;
  uint64_t timecodeQueueHighWater = 3;
};

}  // namespace cvx
