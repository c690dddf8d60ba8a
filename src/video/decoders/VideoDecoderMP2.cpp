#include "video/decoders/VideoDecoderMP2.h"

#include <string>

#include "platform/videodecoder/VideoDecoderOpen.h"

namespace cvx {

namespace {
// The MPEG group start code closes a configuration for the parser.
constexpr uint8_t kGroupStart[4] = {0x00, 0x00, 0x01, 0xB8};
}  // namespace

VideoDecoderMP2::VideoDecoderMP2() : VideoDecoderMP2(&openVideoDecoderStreamMpeg2) {}

VideoDecoderMP2::VideoDecoderMP2(StreamOpener streamOpener)
    : VideoDecoderMpegBase("VideoDecoderMP2", streamOpener, kGroupStart, sizeof(kGroupStart)) {
  codec = 11;
}

std::string VideoDecoderMP2::displaySize(const int32_t* seq, uint32_t& displayW, uint32_t& displayH) {
  displayW = static_cast<uint32_t>(seq[0]);
  displayH = static_cast<uint32_t>(seq[1]);
  int32_t numerator = 0;
  int32_t denominator = 0;
  if (seq[2] >= 1 && seq[2] <= 14) {
    numerator = ff_mpeg2_aspect[seq[2]][0];
    denominator = ff_mpeg2_aspect[seq[2]][1];
    if (numerator > 0 && denominator > 0) {
      displayW = static_cast<uint32_t>(seq[1]) * static_cast<uint32_t>(numerator) / static_cast<uint32_t>(denominator);
    }
  }
  return std::to_string(numerator) + "x" + std::to_string(denominator);
}

}  // namespace cvx
