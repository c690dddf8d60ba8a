#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/videodecoder/VideoDecoderOpen.h"

namespace cvx {

class IVideoDecoder;

namespace fuzz {

// A fuzz input for a video decoder is what a host does to it, as a run of
// records: a kind byte, a 16-bit big-endian length, then that many bytes (a
// record running past the end takes what is left).
//   kind & 3    0: a codec configuration; 1, 2, 3: a frame with that host
//               frame type (key, inter, disposable)
//   kind & 4    after adding the frame, decode only once, as a host whose
//               decode call failed midway and that moves on to the next frame
// The seed scripts write the same records (tests/fuzz/seeds/*.sh).
constexpr size_t kVideoDecoderRecordHeader = 3;

// Initializes `decoder` and drives it with the records of `data` the way the
// session does: decodeCodecConfig; addFrame, then decode until its input is
// empty, reallocating the picture at flag 32 and fetching it at flag 4
// without 8; at the end endOfStream, and decode until it has given out every
// picture it held. Traps when the decoder stops making progress.
void runVideoDecoderFuzzInput(IVideoDecoder& decoder, const uint8_t* data, size_t size);

// The largest picture the fuzzed streams decode, so that a run explores
// logic rather than filling large pictures.
constexpr uint32_t kFuzzMaxPixels = 512 * 512;

// Opens a decoder stream by `Open`, its pictures held to kFuzzMaxPixels.
template <bufstream_tt* (*Open)(void*, void*, void*)>
bufstream_tt* openForFuzzing(void* callbacks, void* settings, void* reserved) {
  bufstream_tt* stream = Open(callbacks, settings, reserved);
  if (stream != nullptr) {
    stream->auxinfo(stream, kFuzzMaxPixels, decoder_info::kSetMaxPixels, nullptr, 0);
  }
  return stream;
}

// The MPEG-4 family's stream detecting its syntax, or held to one so that
// every input reaches that syntax's splitter and decoder.
template <Mpeg4FamilyHint kSyntax>
bufstream_tt* openMpeg4FamilyAs(void* callbacks, void* settings, void* reserved) {
  return openVideoDecoderStreamMpeg4(callbacks, settings, reserved, kSyntax);
}

}  // namespace fuzz
}  // namespace cvx
