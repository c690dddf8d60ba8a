// The picture path as a session drives it, in any order a host could cause:
// a decoder frame and renditions of any size and code (past the limits
// too), every scale mode with crops and source rectangles of raw 32-bit
// values, overlays of every code with and without alpha whose fields may
// lie about their bytes, transfers, BGRA reads at any size, resizes under a
// small memory budget, and the NV12 copies.
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "support/FramesFuzzInput.h"
#include "video/frames/PictureMemoryBudget.h"
#include "video/frames/VideoFrameBuffer.h"
#include "video/frames/VideoFrameBufferSet.h"
#include "video/frames/VideoOverlayFrame.h"
#include "video/frames/VideoOverlayFrames.h"

namespace {

using namespace cvx;
using cvx::fuzz::FramesFuzzInput;

constexpr uint32_t kMaxFuzzSide = 384;
constexpr uint32_t kMaxOperations = 48;
constexpr uint32_t kMaxFuzzRenditions = 4;
constexpr uint32_t kMaxOverlayArray = 1 << 16;

struct Session {
  // A budget far below the session's, so refusals happen often.
  PictureMemoryBudget budget{8u << 20};
  VideoFrameBuffer decoderFrame;
  VideoOverlayFrames decoderOverlays;
  VideoFrameBufferSet set{nullptr, &budget};
  std::vector<std::unique_ptr<VideoOverlayFrames>> renditionOverlays;

  Session() { decoderFrame.setMemoryBudget(&budget); }

  // The decoder frame for 0, else a rendition; null when there is none.
  VideoFrameBuffer* buffer(uint32_t pick) {
    if (pick % (set.getCount() + 1) == 0) return &decoderFrame;
    return set.get(pick % (set.getCount() + 1) - 1)->getBuffer();
  }
};

void alloc(FramesFuzzInput& in, VideoFrameBuffer& buffer) {
  buffer.allocBuffer(in.side(kMaxFuzzSide), in.side(kMaxFuzzSide), in.fourcc());
  if (buffer.getBytes() != nullptr) in.fill(buffer.getBytes(), buffer.getByteCount());
}

std::unique_ptr<VideoOverlayFrame> makeOverlay(FramesFuzzInput& in) {
  const uint32_t fourcc = in.fourcc();
  const uint32_t width = in.side(64);
  const uint32_t height = in.side(64);
  const uint64_t row = FramesFuzzInput::rowBytes(fourcc, width);
  int32_t stride = static_cast<int32_t>(row);
  uint64_t bytes = row * height * 3 / 2;
  switch (in.byte() % 5) {
    case 0: stride = in.i32(); break;
    case 1: bytes = in.below(kMaxOverlayArray); break;
    default: break;
  }
  if (bytes > kMaxOverlayArray) bytes = kMaxOverlayArray;
  std::unique_ptr<uint8_t[]> pixels;
  if (bytes > 0) {
    pixels.reset(new uint8_t[bytes]);
    in.fill(pixels.get(), bytes);
    // Transparent, opaque or mixed alpha: BGRA with any alpha below 255 turns VUYA.
    const uint8_t alpha = in.byte();
    for (uint64_t i = 3; i < bytes && alpha != 0; i += 4) pixels[i] = alpha == 1 ? pixels[i] : alpha;
  }
  auto overlay = std::make_unique<VideoOverlayFrame>();
  const int32_t x = in.byte() % 2 == 0 ? in.i32() : static_cast<int32_t>(in.below(kMaxFuzzSide)) - 32;
  const int32_t y = in.byte() % 2 == 0 ? in.i32() : static_cast<int32_t>(in.below(kMaxFuzzSide)) - 32;
  overlay->setPlacement(x, y, in.side(kMaxFuzzSide), in.side(kMaxFuzzSide), in.byte() % 2 == 0 ? 17 : in.i32());
  const int32_t frameStartOffset = in.byte() % 4 == 0 ? in.i32() : 0;
  overlay->setFrame(fourcc, std::move(pixels), static_cast<uint32_t>(bytes), stride, frameStartOffset, width, height);
  return overlay;
}

void readBgra(FramesFuzzInput& in, const VideoFrameBuffer& buffer) {
  uint32_t width = in.byte() % 3 == 0 ? 0 : in.side(kMaxFuzzSide);
  uint32_t height = in.side(kMaxFuzzSide);
  uint64_t size = 0;
  int64_t timecode = 0;
  buffer.getFrameBGRA(nullptr, 0, &size, &width, &height, &timecode);
  if (size == 0 || size > (uint64_t{4} << 20)) return;
  // Exactly the size the frame asked for: a write past it is a finding.
  std::vector<uint8_t> bgra(size);
  buffer.getFrameBGRA(bgra.data(), bgra.size(), &size, &width, &height, &timecode);
}

void setRectangle(FramesFuzzInput& in, VideoFrameBuffer& buffer, bool crop) {
  uint32_t values[4];
  for (uint32_t& v : values) v = in.byte() % 2 == 0 ? in.u32() : in.below(kMaxFuzzSide);
  const size_t count = in.byte() % 6;
  if (crop) {
    buffer.setCrop(count == 0 ? nullptr : values, count);
  } else {
    buffer.setSrcRect(values, count);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FramesFuzzInput in(data, size);
  Session s;
  alloc(in, s.decoderFrame);
  for (uint32_t op = 0; op < kMaxOperations && !in.empty(); ++op) {
    switch (in.byte() % 12) {
      case 0:
        alloc(in, s.decoderFrame);
        break;
      case 1:
        if (s.set.getCount() < kMaxFuzzRenditions && s.set.add() >= 0) {
          VideoFrameBuffer* added = s.set.get(s.set.getCount() - 1)->getBuffer();
          added->setScaleMode(static_cast<int32_t>(in.byte() % 6));
          alloc(in, *added);
          s.renditionOverlays.push_back(std::make_unique<VideoOverlayFrames>());
        }
        break;
      case 2:
        setRectangle(in, *s.buffer(in.byte()), true);
        break;
      case 3:
        setRectangle(in, *s.buffer(in.byte()), false);
        break;
      case 4: {
        const uint32_t key = in.byte() % 8;
        const uint32_t pick = in.byte();
        VideoOverlayFrames& overlays = s.renditionOverlays.empty() || pick % 2 == 0
                                           ? s.decoderOverlays
                                           : *s.renditionOverlays[pick % s.renditionOverlays.size()];
        overlays.setOverlay(key, makeOverlay(in));
        break;
      }
      case 5:
        s.decoderOverlays.removeOverlay(in.byte() % 8);
        break;
      case 6:
        // The transfer, as the session makes it.
        s.set.applyOverlays2(s.decoderFrame, s.decoderOverlays);
        for (uint32_t i = 0; i < s.set.getCount(); ++i) {
          s.set.transferFrame(s.decoderFrame, *s.set.get(i)->getBuffer(), *s.renditionOverlays[i]);
        }
        break;
      case 7:
        readBgra(in, *s.buffer(in.byte()));
        break;
      case 8:
        s.buffer(in.byte())->blackFill();
        break;
      case 9: {
        // A buffer is never scaled into itself on the session's path.
        VideoFrameBuffer* target = s.buffer(in.byte());
        VideoFrameBuffer* source = s.buffer(in.byte());
        if (target != source) target->scaleFrom(*source, in.byte() % 2 == 0);
        break;
      }
      case 10:
        alloc(in, *s.buffer(in.byte()));
        break;
      case 11: {
        VideoFrameBuffer* target = s.buffer(in.byte());
        VideoFrameBuffer* source = s.buffer(in.byte());
        if (target == source) break;
        if (in.byte() % 2 == 0) {
          VideoFrameBuffer::copyYV12ToNV12(*target, *source);
        } else {
          VideoFrameBuffer::copyNV12ToYV12(*target, *source);
        }
        break;
      }
    }
  }
  return 0;
}
