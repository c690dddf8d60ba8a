#pragma once

#include <cstddef>
#include <cstdint>

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
// without 8. Traps when the decoder stops making progress.
void runVideoDecoderFuzzInput(IVideoDecoder& decoder, const uint8_t* data, size_t size);

}  // namespace fuzz
}  // namespace cvx
