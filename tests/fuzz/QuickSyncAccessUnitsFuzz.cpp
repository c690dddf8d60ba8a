// The Media SDK encoder's output as the rebuild reads it: any bytes a runtime
// may leave in the bitstream. Every frame it makes must be walked exactly by
// its own length prefixes.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "video/encoders/QuickSyncAccessUnits.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size > 1 << 16) return 0;
  std::vector<cvx::VideoFrameEncoded> frames;
  cvx::QuickSyncAccessUnits::rebuild(data, static_cast<uint32_t>(size), 0, frames);
  for (cvx::VideoFrameEncoded& f : frames) {
    uint64_t at = 0;
    const uint8_t* bytes = f.block.data();
    while (at + 4 <= f.block.size()) {
      at += 4 + (uint64_t{bytes[at]} << 24 | uint64_t{bytes[at + 1]} << 16 | uint64_t{bytes[at + 2]} << 8 | bytes[at + 3]);
    }
    if (at != f.block.size() || (f.frameType != 1 && f.frameType != 2)) __builtin_trap();
  }
  return 0;
}
