// Sorenson Spark through VideoDecoderMP4 over a stream held to the Spark syntax, so
// that every input reaches that splitter and decoder.
#include "platform/videodecoder/VideoDecoderOpen.h"
#include "support/VideoDecoderFuzzInput.h"
#include "video/decoders/VideoDecoderMP4.h"

namespace {
cvx::bufstream_tt* openSpark(void* callbacks, void* settings, void* reserved) {
  return cvx::openVideoDecoderStreamMpeg4(callbacks, settings, reserved, cvx::Mpeg4FamilyHint::Spark);
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  cvx::VideoDecoderMP4 decoder(&openSpark);
  cvx::fuzz::runVideoDecoderFuzzInput(decoder, data, size);
  return 0;
}
