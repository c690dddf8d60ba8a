#pragma once

#include "video/decoders/VideoDecoderMpegBase.h"

namespace cvx {

// MPEG-2 video, codec number 11. The display shape comes from the sequence's
// aspect ratio code, applied to the coded height.
class VideoDecoderMP2 : public VideoDecoderMpegBase {
 public:
  // Numerator and denominator by aspect ratio code; codes without a shape are 0:1.
  static constexpr int32_t ff_mpeg2_aspect[16][2] = {{0, 1}, {1, 1}, {4, 3}, {16, 9}, {221, 100}, {0, 1},
                                                      {0, 1}, {0, 1}, {0, 1}, {0, 1}, {0, 1},     {0, 1},
                                                      {0, 1}, {0, 1}, {0, 1}, {0, 1}};

  VideoDecoderMP2();
  explicit VideoDecoderMP2(StreamOpener opener);

 protected:
  std::string displaySize(const int32_t* seq, uint32_t& displayW, uint32_t& displayH) override;
};

}  // namespace cvx
