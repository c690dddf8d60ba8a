// H.263 through VideoDecoderMP4 over a stream held to the H.263 syntax, so
// that every input reaches that splitter and decoder.
#include "platform/videodecoder/VideoDecoderOpen.h"
#include "support/VideoDecoderFuzzInput.h"
#include "video/decoders/VideoDecoderMP4.h"

namespace {
cvx::bufstream_tt* openH263(void* callbacks, void* settings, void* reserved) {
  return cvx::openVideoDecoderStreamMpeg4(callbacks, settings, reserved, cvx::Mpeg4FamilyHint::H263);
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  cvx::VideoDecoderMP4 decoder(&openH263);
  cvx::fuzz::runVideoDecoderFuzzInput(decoder, data, size);
  return 0;
}
