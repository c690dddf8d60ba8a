#pragma once

#include <cstdint>
#include <vector>

#include "audio/samples/AudioFrameEncoded.h"
#include "session/TranscoderSessionBase.h"

namespace cvx {

// One transcoded stream: the settings and every method the boundary calls.
// Calls on one session are serialised by the host, but for the log drain and
// the overlay setters, whose objects lock themselves.
class TranscoderSession : public TranscoderSessionBase {
 public:
  static constexpr uint32_t kDefaultFourCC = 0x32315659;  // 'YV12'

  TranscoderSession();
  ~TranscoderSession() override;

  uint32_t getFrameHeaderSize() const { return audioFrameHeaderSize; }
  uint32_t getFourCC() const { return fourcc; }
  uint32_t getAudioSampleFormat() const { return audioSampleFormat; }
  bool getCUDAAvailable() const { return isCUDAAvailable != 0; }
  bool getQuickSyncAvailable() const { return isQuickSyncAvailable != 0; }

  // Stores the compressed frame the video decoder may still read and returns
  // the one held before, which the caller frees.
  uint8_t* swapCurrVideoDecodeBuffer(uint8_t* buffer);

  // Codec selection by number. Each returns 0 when an object was made, -1
  // otherwise; an unknown number logs nothing and leaves `index` alone.
  uint32_t videoDecoderCreate(uint32_t codec, uint32_t implementation, uint32_t fourcc);
  uint32_t videoDecoderCreate(uint32_t codec, uint32_t implementation);
  uint32_t videoEncoderAdd(uint32_t codec, uint32_t implementation, uint32_t& index);
  uint32_t audioDecoderCreate(uint32_t codec, uint32_t implementation, uint32_t sampleFormat);
  uint32_t audioDecoderCreate(uint32_t codec, uint32_t implementation);
  uint32_t audioEncoderAdd(uint32_t codec, uint32_t implementation, uint32_t& index);

  // Audio decoder.
  uint32_t audioDecoderInitialize();
  uint32_t audioDecoderDecodeCodecConfig(uint8_t* data, uint32_t offset, uint32_t length);
  uint32_t audioDecoderIsFirstFrameDecoded();
  uint32_t audioDecoderDecodeFirstFrame(uint8_t* data, uint32_t offset, uint32_t length);
  uint32_t audioDecoderDecodeFrame(uint8_t* data, uint32_t offset, uint32_t length, uint64_t timecode,
                                   uint32_t bufferIndex);
  uint32_t audioDecoderResetDecodedFrameState();
  uint32_t audioDecoderGetSampleRate(uint32_t& value);
  uint32_t audioDecoderGetChannels(uint32_t& value);

  // Audio sample buffer set.
  uint32_t audioDecoderBuffersCreate(uint32_t count);
  uint32_t audioDecoderBuffersAllocate(uint32_t sampleCount, uint32_t channels, uint32_t sampleRate);

  // Audio encoders, by index.
  uint32_t audioEncoderSetSampleRate(uint32_t encoderIndex, uint32_t sampleRate);
  uint32_t audioEncoderSetChannels(uint32_t encoderIndex, uint32_t channels);
  uint32_t audioEncoderSetQuality(uint32_t encoderIndex, double quality);
  uint32_t audioEncoderSetBitrate(uint32_t encoderIndex, uint32_t bitrate);
  uint32_t audioEncoderInitialize(uint32_t encoderIndex);
  // Header frames stay the encoder's; frames from addSampleBuffer pass to the caller.
  uint32_t audioEncoderGetHeaders(uint32_t encoderIndex, std::vector<AudioFrameEncoded>& frames);
  uint32_t audioEncoderAddSampleBuffer(uint32_t encoderIndex, uint32_t bufferIndex,
                                       std::vector<AudioFrameEncoded>& frames);

 private:
  uint32_t fourcc = kDefaultFourCC;
  uint32_t audioSampleFormat = 2;
  uint8_t* currVideoDecodeBuffer = nullptr;
  uint32_t audioFrameHeaderSize = 0;
  uint32_t isCUDAAvailable = 0;
  uint32_t isQuickSyncAvailable = 0;
};

}  // namespace cvx
