#pragma once

#include <cstddef>
#include <cstdint>

namespace cvx {

// Picture types as the access unit delimiter tells them: 1 I, 2 P, 3 B.
enum FramedPictureType : int { kFramedI = 1, kFramedP = 2, kFramedB = 3 };

// Rewrites one access unit from the hardware encoder (Annex B, three- or
// four-byte start codes) into dst: a delimiter carrying pictureType first
// (the encoder's own, if any, is replaced), then every other unit in order,
// each behind a four-byte start code (framing 0) or a four-byte big-endian
// length (framing 4). Trailing zero bytes of a unit are dropped. Writes at
// most capacity bytes: a unit that does not fit whole ends the output.
// Returns the bytes written.
size_t frameAccessUnit(const uint8_t* data, size_t size, int pictureType, int framing, uint8_t* dst,
                       size_t capacity);

}  // namespace cvx
