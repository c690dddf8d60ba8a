#pragma once

#include <cstdint>
#include <string>

#include "audio/decoders/AudioDecoderStreamBase.h"

namespace cvx {

// What the MPEG audio decoders share: the library stream, the output
// descriptor, and the per-packet feeding, which is the same for every layer.
// Rate and channel count are those the first frame told; the call's time
// serves every block the packet yields.
class AudioDecoderMpegAudio : public AudioDecoderStreamBase {
 public:
  ~AudioDecoderMpegAudio() noexcept(false) override;
  AudioDecoderMpegAudio(const AudioDecoderMpegAudio&) = delete;
  AudioDecoderMpegAudio& operator=(const AudioDecoderMpegAudio&) = delete;

  int decodeFrame(uint8_t* data, uint32_t offset, uint32_t length, uint64_t timecode,
                  AudioSampleBuffer& buffer) override;
  int close() override;
  uint32_t getChannels() override { return channels; }
  uint32_t getSampleRate() override { return sampleRate; }
  uint32_t getMaxFrameSamples() override { return 2048; }

 protected:
  // `className` labels the stdout lines.
  explicit AudioDecoderMpegAudio(const char* className);
  // The library's open entry; a test may put another stream in its place.
  virtual bufstream_tt* openLibrary() = 0;

  const char* className;
  const std::string decodeFrameLabel;
  const std::string closeLabel;
};

}  // namespace cvx
