#pragma once

#include "video/decoders/VideoDecoderMpegBase.h"

namespace cvx {

// MPEG-4 part 2, H.263 and Sorenson Spark (codec numbers 10, 9 and 2): one
// class, and the number changes no behaviour. The aspect is the shape of a
// pixel, applied to the coded width.
class VideoDecoderMP4 : public VideoDecoderMpegBase {
 public:
  VideoDecoderMP4();
  explicit VideoDecoderMP4(StreamOpener opener);

 protected:
  std::string displaySize(const int32_t* seq, uint32_t& displayW, uint32_t& displayH) override;
};

}  // namespace cvx
