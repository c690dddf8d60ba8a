// scaleImage with what a hostile caller could hand it: any two codes, sizes
// from one pixel to past the limits, strides too short, too long or
// negative, rectangles of raw 32-bit values or near the pictures' edges, and
// every flag. Each picture lies in a block of exactly its extent, so
// AddressSanitizer sees our own reads and writes past it; guard bytes after
// the destination catch the libraries' writes, which it cannot see.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "platform/imagescaler/ScaleImage.h"
#include "support/FramesFuzzInput.h"

namespace {

using cvx::fuzz::FramesFuzzInput;

// Pixels per picture: enough for every path, few enough to stay fast.
constexpr uint64_t kMaxFuzzPixels = 1 << 16;
constexpr uint64_t kMaxFuzzBlock = 4 << 20;
constexpr size_t kGuard = 128;
constexpr uint8_t kGuardByte = 0xA5;

struct Picture {
  uint32_t code = 0;
  uint32_t width = 0;
  uint32_t height = 0;
  int32_t stride = 0;
  std::vector<uint8_t> block;
  uint8_t* plane0 = nullptr;
};

// A picture as a caller might describe it, in a block of its extent (one
// byte when the description has none), with guard bytes after it.
Picture makePicture(FramesFuzzInput& in, uint32_t maxSide) {
  Picture p;
  p.code = in.fourcc();
  p.width = in.side(maxSide);
  p.height = in.side(maxSide);
  // Long thin pictures reach the extreme ratios cheaply.
  if (uint64_t{p.width} * p.height > kMaxFuzzPixels) p.height = 1 + p.height % 4;
  if (uint64_t{p.width} * p.height > kMaxFuzzPixels) p.width = 1 + p.width % 4096;
  const uint64_t row = FramesFuzzInput::rowBytes(p.code, p.width);
  switch (in.byte() % 6) {
    case 0: p.stride = static_cast<int32_t>(row + in.byte() % 64); break;
    case 1: p.stride = -static_cast<int32_t>(row); break;  // bottom-up
    case 2: p.stride = in.i32(); break;
    case 3: p.stride = static_cast<int32_t>(row) - 1; break;
    default: p.stride = static_cast<int32_t>(row); break;
  }
  uint32_t magnitude = p.stride < 0 ? 0u - static_cast<uint32_t>(p.stride) : static_cast<uint32_t>(p.stride);
  uint64_t extent = magnitude > INT32_MAX ? 0 : cvx::scaleImageExtent(p.code, static_cast<int32_t>(magnitude),
                                                                      p.width, p.height);
  // A stride that spans more than the block we are willing to make becomes
  // the row itself: the picture stays what it claims to be.
  if (extent > kMaxFuzzBlock) {
    p.stride = p.stride < 0 ? -static_cast<int32_t>(row) : static_cast<int32_t>(row);
    magnitude = static_cast<uint32_t>(row);
    extent = cvx::scaleImageExtent(p.code, static_cast<int32_t>(magnitude), p.width, p.height);
  }
  p.block.assign((extent != 0 ? extent : 1) + kGuard, kGuardByte);
  in.fill(p.block.data(), p.block.size() - kGuard);
  p.plane0 = p.block.data();
  if (p.stride < 0 && extent != 0) p.plane0 += uint64_t{magnitude} * (p.height - 1);
  return p;
}

bool guardIntact(const Picture& p) {
  for (size_t i = p.block.size() - kGuard; i < p.block.size(); ++i) {
    if (p.block[i] != kGuardByte) return false;
  }
  return true;
}

int32_t coordinate(FramesFuzzInput& in, uint32_t side, bool fractional) {
  const int32_t shift = fractional ? 8 : 0;
  switch (in.byte() % 4) {
    case 0: return in.i32();
    case 1: return static_cast<int32_t>(in.below(side + 2)) * (1 << shift) - (1 << shift);
    default: return static_cast<int32_t>(in.below(side)) * (1 << shift) + (fractional ? in.byte() : 0);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FramesFuzzInput in(data, size);
  const uint32_t flagChoices[] = {0, 0x1, 0x10000, 0x10001, 0x10101, 0x10100, 0x100};
  const uint8_t flagPick = in.byte();
  const uint32_t flags = flagPick < 224 ? flagChoices[flagPick % 7] : in.u32();
  Picture src = makePicture(in, 2048);
  Picture dst = makePicture(in, 512);
  cvx::ScaleRectangles rectangles{};
  const bool withRectangles = in.byte() % 4 != 0;
  rectangles.srcLeft = coordinate(in, src.width, true);
  rectangles.srcTop = coordinate(in, src.height, true);
  rectangles.srcRight = coordinate(in, src.width, true);
  rectangles.srcBottom = coordinate(in, src.height, true);
  rectangles.dstLeft = coordinate(in, dst.width, false);
  rectangles.dstTop = coordinate(in, dst.height, false);
  rectangles.dstRight = coordinate(in, dst.width, false);
  rectangles.dstBottom = coordinate(in, dst.height, false);
  const int status = cvx::scaleImage(flags, src.code, src.plane0, src.stride, src.width, src.height, dst.code,
                                     dst.plane0, dst.stride, dst.width, dst.height, nullptr, 1,
                                     withRectangles ? &rectangles : nullptr, nullptr);
  if (status > cvx::kScaleOk || status < cvx::kScaleNoMemory || !guardIntact(src) || !guardIntact(dst)) {
    std::abort();
  }
  return 0;
}
