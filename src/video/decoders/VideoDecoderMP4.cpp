#include "video/decoders/VideoDecoderMP4.h"

#include <string>

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
  codec = 10;
}

std::string VideoDecoderMP4::displaySize(const int32_t* seq, uint32_t& displayW, uint32_t& displayH) {
  displayW = static_cast<uint32_t>(seq[0]);
  displayH = static_cast<uint32_t>(seq[1]);
  if (seq[8] > 0 && seq[7] > 0) {
    displayW = static_cast<uint32_t>(static_cast<int32_t>(static_cast<int64_t>(seq[0]) * seq[7] / seq[8]));
  }
  return " PAR:" + std::to_string(seq[7]) + "x" + std::to_string(seq[8]);
}

}  // namespace cvx
