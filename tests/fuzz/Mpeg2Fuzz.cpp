// MPEG-2 video: a sequence header as configuration, then one frame per
// record, through VideoDecoderMP2 and the decoder stream.
#include "support/VideoDecoderFuzzInput.h"
#include "video/decoders/VideoDecoderMP2.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  cvx::VideoDecoderMP2 decoder(&cvx::fuzz::openForFuzzing<&cvx::openVideoDecoderStreamMpeg2>);
  cvx::fuzz::runVideoDecoderFuzzInput(decoder, data, size);
  return 0;
}
