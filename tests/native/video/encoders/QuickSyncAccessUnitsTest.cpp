#include "video/encoders/QuickSyncAccessUnits.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "support/H264Clip.h"

namespace cvx {
namespace {

using Bytes = std::vector<uint8_t>;

const Bytes S4 = {0, 0, 0, 1};
const Bytes S3 = {0, 0, 1};
const Bytes kAud = {9, 0x10};
const Bytes kSps = {0x67, 0x42, 0xC0, 0x1E, 0x8C};
const Bytes kPps = {0x68, 0xCE, 0x3C, 0x80};
const Bytes kSei = {0x06, 0x05, 0x01, 0x42, 0x80};
const Bytes kIdr = {0x65, 0x88, 0x84, 0x21, 0xA0, 0x55, 0x66};
const Bytes kSlice = {0x41, 0x9A, 0x11, 0x22, 0x33, 0x44};

Bytes join(std::initializer_list<Bytes> parts) {
  Bytes out;
  for (const Bytes& p : parts) out.insert(out.end(), p.begin(), p.end());
  return out;
}

struct Output {
  Bytes bytes;
  uint32_t type;
};

std::vector<Output> rebuild(const Bytes& in, int64_t timecode = 480) {
  std::vector<VideoFrameEncoded> frames;
  const uint32_t count =
      QuickSyncAccessUnits::rebuild(in.data(), static_cast<uint32_t>(in.size()), timecode, frames);
  EXPECT_EQ(count, frames.size());
  std::vector<Output> out;
  for (VideoFrameEncoded& f : frames) {
    EXPECT_EQ(f.timecode, timecode);
    out.push_back({Bytes(f.block.data(), f.block.data() + f.block.size()), f.frameType});
  }
  return out;
}

TEST(QuickSyncAccessUnits, RebuildsTheTwoShapesAndDropsTheRest) {
  struct Case { const char* what; Bytes in; std::vector<Output> out; };
  const Case cases[] = {
      {"a predicted frame: delimiter, SEI, slice",
       join({S4, kAud, S4, kSei, S3, kSlice}),
       {{test::lengthPrefixed({kSei, kSlice}), 2}}},
      {"a key frame: delimiter, SPS, PPS, SEI and slice",
       join({S4, kAud, S4, kSps, S4, kPps, S3, kSei, S3, kIdr}),
       {{test::lengthPrefixed({kSps, kPps, kSei, kIdr}), 1}}},
      {"a key frame without a delimiter",
       join({S4, kSps, S4, kPps, S3, kSei, S3, kIdr}),
       {{test::lengthPrefixed({kSps, kPps, kSei, kIdr}), 1}}},
      {"two predicted frames in one bitstream",
       join({S4, kSei, S3, kSlice, S4, kSei, S3, kSlice}),
       {{test::lengthPrefixed({kSei, kSlice}), 2}, {test::lengthPrefixed({kSei, kSlice}), 2}}},
      // The scan after the PPS takes the next frame's four-byte SEI as the key
      // frame's, which would put the SEI behind the slice: nothing is made.
      {"a key frame then a predicted one", join({S4, kSps, S4, kPps, S3, kSei, S3, kIdr, S4, kSei, S3, kSlice}), {}},
      {"a frame without an SEI", join({S4, kAud, S4, kSps, S4, kPps, S3, kIdr}), {}},
      {"a predicted frame without an SEI", join({S4, kAud, S3, kSlice, S3, kSlice}), {}},
      {"slices behind four-byte start codes", join({S4, kAud, S4, kSei, S4, kSlice}), {}},
      {"twelve bytes", Bytes{0, 0, 0, 1, 6, 5, 0, 0, 1, 0x41, 0x9A, 0x11}, {}},
      {"nothing", Bytes{}, {}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    const std::vector<Output> out = rebuild(c.in);
    ASSERT_EQ(out.size(), c.out.size());
    for (size_t i = 0; i < out.size(); ++i) {
      EXPECT_EQ(out[i].bytes, c.out[i].bytes) << "frame " << i;
      EXPECT_EQ(out[i].type, c.out[i].type) << "frame " << i;
    }
  }
}

TEST(QuickSyncAccessUnits, AKeyFramesSeiBehindFourBytesKeepsTheLayoutOfTheEmitStep) {
  // Five start bytes for the SEI: the length is written over the first four,
  // and the fifth stays in front of the unit.
  const std::vector<Output> out = rebuild(join({S4, kAud, S4, kSps, S4, kPps, S4, kSei, S3, kIdr}));
  ASSERT_EQ(out.size(), 1u);
  EXPECT_EQ(out[0].type, 1u);
  Bytes seiUnit = {1};
  seiUnit.insert(seiUnit.end(), kSei.begin(), kSei.end());
  EXPECT_EQ(out[0].bytes, test::lengthPrefixed({kSps, kPps, seiUnit, kIdr}));
}

}  // namespace
}  // namespace cvx
