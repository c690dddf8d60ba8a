// H.263 through VideoDecoderMP4 over a stream held to that syntax.
#include "support/VideoDecoderFuzzInput.h"
#include "video/decoders/VideoDecoderMP4.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  cvx::VideoDecoderMP4 decoder(
      &cvx::fuzz::openForFuzzing<&cvx::fuzz::openMpeg4FamilyAs<cvx::Mpeg4FamilyHint::H263>>);
  cvx::fuzz::runVideoDecoderFuzzInput(decoder, data, size);
  return 0;
}
