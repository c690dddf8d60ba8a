#include "video/decoders/VideoDecoderMP2.h"

#include <string>

#include "media/CodecNumbers.h"
#include "platform/videodecoder/VideoDecoderOpen.h"

namespace cvx {

namespace {
// The MPEG group start code closes a configuration for the parser.
constexpr uint8_t kGroupStart[4] = {0x00, 0x00, 0x01, 0xB8};
}  // namespace

VideoDecoderMP2::VideoDecoderMP2() : VideoDecoderMP2(&openVideoDecoderStreamMpeg2) {}

VideoDecoderMP2::VideoDecoderMP2(StreamOpener streamOpener)
    : VideoDecoderMpegBase("VideoDecoderMP2", streamOpener, kGroupStart, sizeof(kGroupStart)) {
  codec = kVideoCodecMPEG2;
}

std::string VideoDecoderMP2::displaySize(const int32_t* seq, uint32_t& displayW, uint32_t& displayH) {
  const int32_t codedHeight = seq[seq_par_set::kHeight];
  const int32_t aspectCode = seq[seq_par_set::kAspectCode];
  displayW = static_cast<uint32_t>(seq[seq_par_set::kWidth]);
  displayH = static_cast<uint32_t>(codedHeight);
  int32_t numerator = 0;
  int32_t denominator = 0;
  if (aspectCode >= 1 && aspectCode <= 14) {
    numerator = ff_mpeg2_aspect[aspectCode][0];
    denominator = ff_mpeg2_aspect[aspectCode][1];
    if (numerator > 0 && denominator > 0) {
      displayW = static_cast<uint32_t>(codedHeight) * static_cast<uint32_t>(numerator) /
                 static_cast<uint32_t>(denominator);
    }
  }
  return std::to_string(numerator) + "x" + std::to_string(denominator);
}

}  // namespace cvx
