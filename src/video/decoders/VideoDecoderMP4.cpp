#include "video/decoders/VideoDecoderMP4.h"

#include <string>

#include "media/CodecNumbers.h"
#include "platform/videodecoder/VideoDecoderOpen.h"

namespace cvx {

namespace {
// A start code prefix closes a configuration for the parser.
constexpr uint8_t kStartPrefix[3] = {0x00, 0x00, 0x01};

// The family's stream picks its syntax from the first bytes it sees.
bufstream_tt* openMpeg4Family(void* callbacks, void* settings, void* reserved) {
  return openVideoDecoderStreamMpeg4(callbacks, settings, reserved);
}
}  // namespace

VideoDecoderMP4::VideoDecoderMP4() : VideoDecoderMP4(&openMpeg4Family) {}

VideoDecoderMP4::VideoDecoderMP4(StreamOpener streamOpener)
    : VideoDecoderMpegBase("VideoDecoderMP4", streamOpener, kStartPrefix, sizeof(kStartPrefix)) {
  codec = kVideoCodecMPEG4Part2;
}

std::string VideoDecoderMP4::displaySize(const int32_t* seq, uint32_t& displayW, uint32_t& displayH) {
  const int32_t codedWidth = seq[seq_par_set::kWidth];
  const int32_t pixelNum = seq[seq_par_set::kAspectNum];
  const int32_t pixelDen = seq[seq_par_set::kAspectDen];
  displayW = static_cast<uint32_t>(codedWidth);
  displayH = static_cast<uint32_t>(seq[seq_par_set::kHeight]);
  if (pixelDen > 0 && pixelNum > 0) {
    displayW = static_cast<uint32_t>(static_cast<int32_t>(static_cast<int64_t>(codedWidth) * pixelNum / pixelDen));
  }
  return " PAR:" + std::to_string(pixelNum) + "x" + std::to_string(pixelDen);
}

}  // namespace cvx
