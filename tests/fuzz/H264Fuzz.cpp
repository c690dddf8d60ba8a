// H.264 as a host hands it over: a decoder configuration record, then frames
// of length-prefixed NAL units, through VideoDecoderH264 and the decoder stream.
#include "support/VideoDecoderFuzzInput.h"
#include "video/decoders/VideoDecoderH264.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  cvx::VideoDecoderH264 decoder(&cvx::fuzz::openForFuzzing<&cvx::openVideoDecoderStreamH264>);
  cvx::fuzz::runVideoDecoderFuzzInput(decoder, data, size);
  return 0;
}
