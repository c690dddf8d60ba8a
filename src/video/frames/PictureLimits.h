#pragma once

#include <cstdint>

namespace cvx {

// The limits a host meets on the picture path (the README's safety section
// lists them). Sizes past them, or counts that would go past them, are
// refused where they enter; within them no call can exhaust the process.

// Width and height of any picture: renditions, decoder frames, reads, and
// where an overlay lands. Keeps every offset of the scaler inside 32 bits.
constexpr uint32_t kMaxPictureSide = 16384;
// Pixels of one picture: 8192 x 8192, or 16384 x 4096.
constexpr uint64_t kMaxPicturePixels = uint64_t{8192} * 8192;
// Width and height of an overlay's own picture.
constexpr uint32_t kMaxOverlaySide = 4096;
// Bytes of an overlay's array that are copied: the largest overlay in the
// widest code (XYZ12, 96 MiB) with room for padded rows. A longer array is
// not copied, and the overlay has no pixels.
constexpr uint32_t kMaxOverlayBytes = 128u << 20;
// Overlays held at once by one provider (the decoder's, or one rendition's).
constexpr uint32_t kMaxOverlays = 256;

// Counts of one session.
constexpr uint32_t kMaxDecoderFrames = 1024;
constexpr uint32_t kMaxBufferSets = 1024;
constexpr uint32_t kMaxRenditions = 64;
// Bytes of picture blocks one session holds, decoder frames and renditions
// of every set together.
constexpr uint64_t kMaxSessionPictureBytes = uint64_t{4} << 30;

// True for a size no picture may have: a zero side, a side or a pixel
// count past the limits.
constexpr bool isPictureSizeRefused(uint64_t width, uint64_t height) {
  return width == 0 || height == 0 || width > kMaxPictureSide || height > kMaxPictureSide ||
         width * height > kMaxPicturePixels;
}

}  // namespace cvx
