#pragma once

#include <cstddef>
#include <cstdint>

namespace cvx {

// The picture record that decoders fill: size, four-character code and up to
// four planes with their strides. It heads every VideoFrameBuffer, so a
// decoder writes pixels straight into the buffer's block.
struct FrameRecord {
  uint32_t width;
  uint32_t height;
  uint32_t fourcc;
  uint8_t* plane[4];
  int32_t planeStride[4];
  uint8_t reserved[24];
};

// Decoders are told this size; it must not drift.
static_assert(sizeof(FrameRecord) == 88, "the frame record is 88 bytes");
static_assert(offsetof(FrameRecord, plane) == 16, "planes follow the header words");

}  // namespace cvx
