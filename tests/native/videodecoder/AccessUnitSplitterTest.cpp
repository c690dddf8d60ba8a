#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/videodecoder/AccessUnitSplitter.h"

namespace cvx::test {
namespace {

TEST(AccessUnitSplitterDetect, TellsTheMpeg4FamilyApart) {
  struct Case {
    const char* name;
    std::vector<uint8_t> bytes;
    BitstreamKind expected;
  };
  const Case cases[] = {
      {"visual object sequence", {0x00, 0x00, 0x01, 0xB0, 0x01}, BitstreamKind::Mpeg4},
      {"video object layer", {0x00, 0x00, 0x01, 0x20, 0x08}, BitstreamKind::Mpeg4},
      // PSC, TR 3, PTYPE 1 0, then CIF (011).
      {"H.263 CIF", {0x00, 0x00, 0x80, 0x0E, 0x0C, 0x00}, BitstreamKind::H263},
      {"Spark version 1", {0x00, 0x00, 0x84, 0x01, 0x12}, BitstreamKind::Spark},
      // Version 0, TR 3, then format 010: no PTYPE marker where H.263 has one.
      {"Spark version 0", {0x00, 0x00, 0x80, 0x0D, 0x00, 0x00}, BitstreamKind::Spark},
      {"too short to tell", {0x00, 0x00, 0x80, 0x0E}, BitstreamKind::Mpeg4Family},
      {"no code at all", {0x47, 0x11, 0x22, 0x33, 0x44}, BitstreamKind::Mpeg4},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(detectMpeg4Family(c.bytes.data(), c.bytes.size()), c.expected);
  }
}

// A unit is handed out only when the next picture starts; headers in front
// of a picture travel with it, and repeated parameter sets are marked to skip.
TEST(AccessUnitSplitterH264, CutsAtTheNextPictureAndSkipsRepeatedParameterSets) {
  const std::vector<uint8_t> sps = {0, 0, 0, 1, 0x67, 0x42, 0xC0, 0x1E, 0xDA, 0x05, 0x07, 0xC4};
  const std::vector<uint8_t> pps = {0, 0, 0, 1, 0x68, 0xCE, 0x3C, 0x80};
  const std::vector<uint8_t> aud = {0, 0, 0, 1, 0x09, 0x30};
  const std::vector<uint8_t> slice = {0, 0, 0, 1, 0x65, 0x88, 0x84, 0x21, 0xA0};
  AccessUnitSplitter splitter(BitstreamKind::H264);
  AccessUnitSplitter::Unit unit;
  std::vector<size_t> frameStarts;
  for (int frame = 0; frame < 3; ++frame) {
    frameStarts.push_back(static_cast<size_t>(splitter.streamPosition()));
    for (const auto* part : {&aud, &sps, &pps, &slice}) {
      splitter.append(part->data(), part->size());
    }
    if (frame == 0) {
      EXPECT_FALSE(splitter.next(false, unit)) << "the first picture is not known complete yet";
      EXPECT_TRUE(splitter.headers().valid);
      EXPECT_EQ(splitter.headers().width, 320);
      EXPECT_EQ(splitter.headers().height, 240);
      continue;
    }
    ASSERT_TRUE(splitter.next(false, unit));
    EXPECT_EQ(unit.streamOffset, frameStarts[frame - 1]);
    EXPECT_EQ(unit.size, aud.size() + sps.size() + pps.size() + slice.size());
    EXPECT_TRUE(unit.hasPicture);
    EXPECT_LT(unit.lastCodeOffset, frameStarts[frame]);
    EXPECT_EQ(unit.skipCount, frame == 1 ? 0u : 2u) << "the first sets go to the codec, repeats do not";
    EXPECT_FALSE(splitter.next(false, unit));
  }
  ASSERT_TRUE(splitter.next(true, unit));
  EXPECT_EQ(unit.streamOffset, frameStarts[2]);
  EXPECT_EQ(unit.skipCount, 2u);
  EXPECT_FALSE(splitter.next(true, unit));
}

}  // namespace
}  // namespace cvx::test
