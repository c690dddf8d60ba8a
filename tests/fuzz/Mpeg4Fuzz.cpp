// MPEG-4 part 2 through VideoDecoderMP4 as the session makes it: the stream
// detects which of MPEG-4, H.263 and Spark it carries (and may detect again
// until a picture decodes).
#include "support/VideoDecoderFuzzInput.h"
#include "video/decoders/VideoDecoderMP4.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  cvx::VideoDecoderMP4 decoder(
      &cvx::fuzz::openForFuzzing<&cvx::fuzz::openMpeg4FamilyAs<cvx::Mpeg4FamilyHint::Detect>>);
  cvx::fuzz::runVideoDecoderFuzzInput(decoder, data, size);
  return 0;
}
