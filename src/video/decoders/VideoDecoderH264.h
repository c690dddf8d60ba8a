#pragma once

#include "video/decoders/VideoDecoderStreamBase.h"

namespace cvx {

// H.264 from length-prefixed frames (four-byte lengths, whatever the
// configuration record says). Each frame is rewritten into start-code form
// without copying its payload: spans for the start codes, and an access unit
// delimiter and the parameter sets put back in front of every frame that does
// not bring its own. Codec number 7.
class VideoDecoderH264 : public VideoDecoderStreamBase {
 public:
  VideoDecoderH264();
  // A decoder over another stream, for tests of what is passed to it.
  explicit VideoDecoderH264(StreamOpener opener);
  ~VideoDecoderH264() noexcept(false) override = default;

  int decodeCodecConfig(uint8_t* data, uint32_t offset, uint32_t length) override;
  int addFrame(uint8_t* data, uint32_t offset, uint32_t length, int64_t timecode, uint32_t frameType) override;

 protected:
  std::string displaySize(const int32_t* seq, uint32_t& displayW, uint32_t& displayH) override;
};

}  // namespace cvx
