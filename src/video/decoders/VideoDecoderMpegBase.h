#pragma once

#include "video/decoders/VideoDecoderStreamBase.h"

namespace cvx {

// What the MPEG-2 and MPEG-4 family decoders share: a frame is queued as one
// span with its label, and a configuration reaches the parser once, with an
// end marker behind it so the parser knows the header is complete.
class VideoDecoderMpegBase : public VideoDecoderStreamBase {
 public:
  ~VideoDecoderMpegBase() noexcept(false) override = default;

  int decodeCodecConfig(uint8_t* data, uint32_t offset, uint32_t length) override;
  int addFrame(uint8_t* data, uint32_t offset, uint32_t length, int64_t timecode, uint32_t frameType) override;

 protected:
  VideoDecoderMpegBase(const char* name, StreamOpener opener, const uint8_t* endMarker, uint32_t endMarkerLength);

 private:
  const uint8_t* endMarker;
  uint32_t endMarkerLength;
  std::vector<uint8_t> configuration;
};

}  // namespace cvx
