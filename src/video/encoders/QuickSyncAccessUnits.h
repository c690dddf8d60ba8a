#pragma once

#include <cstdint>
#include <vector>

#include "video/encoders/VideoFrameEncoded.h"

namespace cvx {

// Rebuilds the Media SDK encoder's output into what the host takes: length-
// prefixed access units. The SDK writes Annex B with four-byte start codes
// (S4, 00 00 00 01) in front of its delimiter, parameter sets and SEI, and
// three-byte ones (S3, 00 00 01) in front of slices. Two shapes are delivered:
// a predicted frame, SEI then slice; and a key frame, SPS, PPS, SEI and slice.
// The delimiter is dropped, each S3 grows to four bytes, and every start code
// is overwritten with its unit's big-endian length. Anything else, a frame
// without an SEI among them, is dropped without a message.
class QuickSyncAccessUnits {
 public:
  // Appends the frames found in data[0, length) to `out`, each with
  // `timecode`: type 1 for key frames, 2 for the others. Returns how many.
  // Each frame owns its bytes; a frame whose block cannot be had is lost.
  static uint32_t rebuild(const uint8_t* data, uint32_t length, int64_t timecode, std::vector<VideoFrameEncoded>& out);
};

}  // namespace cvx
