#pragma once

#include <cstdint>

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

  // Audio sample buffer set.
  uint32_t audioDecoderBuffersCreate(uint32_t count);
  uint32_t audioDecoderBuffersAllocate(uint32_t sampleCount, uint32_t channels, uint32_t sampleRate);

 private:
  uint32_t fourcc = kDefaultFourCC;
  uint32_t audioSampleFormat = 2;
  uint8_t* currVideoDecodeBuffer = nullptr;
  uint32_t audioFrameHeaderSize = 0;
  uint32_t isCUDAAvailable = 0;
  uint32_t isQuickSyncAvailable = 0;
};

}  // namespace cvx
