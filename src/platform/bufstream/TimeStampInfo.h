#pragma once

#include <cstdint>

namespace cvx {

// The time stamp that travels with a picture through an encoder library: the
// caller hands it in with the picture, the library gives it back through the
// output stream's auxinfo (code 0xf000000) right before that picture's bytes,
// whatever reordering happened in between. Times are in tenths of a
// millisecond.
struct time_stamp_info {
  int64_t start;
  int64_t stop;
  uint32_t hint;
  uint32_t reserved;
};

static_assert(sizeof(time_stamp_info) == 24, "the record crosses the stream as 24 bytes");

}  // namespace cvx
