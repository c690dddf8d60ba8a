#include <gtest/gtest.h>

#include <iterator>
#include <string>
#include <vector>

#include "platform/videodecoder/AccessUnitSplitter.h"

namespace cvx::test {
namespace {

TEST(AccessUnitSplitterDetect, TellsTheMpeg4FamilyApart) {
  struct Case { const char* name; std::vector<uint8_t> bytes; BitstreamKind expected; };
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

// Until a picture decodes, a block that opens with another member's picture
// code switches the syntax and drops what came before; afterwards nothing does.
TEST(AccessUnitSplitterDetect, StaysProvisionalUntilConfirmed) {
  const std::vector<uint8_t> garbage = {0x47, 0x11, 0x22, 0x33, 0x44, 0x00, 0x00, 0x01, 0x99, 0x55};
  const std::vector<uint8_t> h263 = {0x00, 0x00, 0x80, 0x0E, 0x0C, 0x00, 0x5A};
  const std::vector<uint8_t> sparkV0 = {0x00, 0x00, 0x80, 0x0D, 0x00, 0x00, 0x5A};
  const std::vector<uint8_t> sparkV1 = {0x00, 0x00, 0x84, 0x01, 0x12, 0x5A};
  const std::vector<uint8_t> vol = {0x00, 0x00, 0x01, 0x20, 0x08, 0x5A};
  struct Step { const char* name; const std::vector<uint8_t>* block; BitstreamKind expected; bool confirmAfter; };
  const Step steps[] = {
      {"garbage falls back to MPEG-4", &garbage, BitstreamKind::Mpeg4, false},
      {"an H.263 picture takes over", &h263, BitstreamKind::H263, false},
      {"a Spark version 0 picture cannot tell itself from H.263", &sparkV0, BitstreamKind::H263, false},
      {"garbage is no evidence", &garbage, BitstreamKind::H263, false},
      {"a Spark version 1 picture is", &sparkV1, BitstreamKind::Spark, false},
      {"a video object layer switches to MPEG-4", &vol, BitstreamKind::Mpeg4, true},
      {"after a decoded picture nothing switches", &sparkV1, BitstreamKind::Mpeg4, false},
  };
  AccessUnitSplitter splitter(BitstreamKind::Mpeg4Family);
  AccessUnitSplitter::Unit unit;
  for (const Step& step : steps) {
    SCOPED_TRACE(step.name);
    const BitstreamKind before = splitter.kind();
    const uint64_t position = splitter.streamPosition();
    splitter.append(step.block->data(), step.block->size());
    splitter.next(false, unit);
    EXPECT_EQ(splitter.kind(), step.expected);
    EXPECT_EQ(splitter.streamPosition(), position + step.block->size()) << "positions run on across a switch";
    if (before != BitstreamKind::Mpeg4Family && before != step.expected) {
      EXPECT_EQ(splitter.bufferedBytes(), step.block->size()) << "what was read with the old syntax is gone";
    }
    if (step.confirmAfter) splitter.confirmKind();
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

// New sets in band take effect with their IDR; the old ones the feeder still prepends must not reach the codec.
TEST(AccessUnitSplitterH264, ChangedParameterSetsTakeEffectOnlyWithAnIdrPicture) {
  using Bytes = std::vector<uint8_t>;
  const Bytes spsA = {0, 0, 0, 1, 0x67, 0x42, 0xC0, 0x1E, 0xDA, 0x05, 0x07, 0xC4};  // 320x240
  const Bytes ppsA = {0, 0, 0, 1, 0x68, 0xCE, 0x3C, 0x80};
  const Bytes spsB = {0, 0, 0, 1, 0x67, 0x42, 0xC0, 0x1E, 0xDA, 0x0B, 0x13, 0x90};  // 176x144
  const Bytes ppsB = {0, 0, 0, 1, 0x68, 0xEE, 0x3C, 0x80};
  const Bytes aud = {0, 0, 0, 1, 0x09, 0x30};
  const Bytes idr = {0, 0, 0, 1, 0x65, 0x88, 0x84, 0x21, 0xA0};
  const Bytes inter = {0, 0, 0, 1, 0x41, 0x9A, 0x02, 0x04};
  struct Frame {
    const char* name;
    std::vector<const Bytes*> parts;
    std::vector<const Bytes*> reachTheCodec;
    int width;  // what the headers say once the frame is through
  };
  const Frame frames[] = {
      {"first IDR with the configuration's sets", {&aud, &spsA, &ppsA, &idr}, {&aud, &spsA, &ppsA, &idr}, 320},
      {"repeats are left out", {&aud, &spsA, &ppsA, &inter}, {&aud, &inter}, 320},
      {"new sets with an IDR take effect", {&aud, &spsB, &ppsB, &idr}, {&aud, &spsB, &ppsB, &idr}, 176},
      {"the old sets without an IDR are not applied", {&aud, &spsA, &ppsA, &inter}, {&aud, &inter}, 176},
      {"nor are they later", {&aud, &spsA, &ppsA, &inter}, {&aud, &inter}, 176},
      {"the old sets with an IDR are a change back", {&aud, &spsA, &ppsA, &idr}, {&aud, &spsA, &ppsA, &idr}, 320},
  };
  AccessUnitSplitter splitter(BitstreamKind::H264);
  AccessUnitSplitter::Unit unit;
  auto expectUnit = [&](const Frame& frame, const AccessUnitSplitter::Unit& u) {
    SCOPED_TRACE(frame.name);
    Bytes passed;
    size_t from = 0;
    for (size_t i = 0; i <= u.skipCount; ++i) {
      const size_t to = i < u.skipCount ? u.skip[i].first : u.size;
      ASSERT_LE(from, to);
      passed.insert(passed.end(), u.data + from, u.data + to);
      from = i < u.skipCount ? u.skip[i].second : u.size;
    }
    Bytes expected;
    for (const Bytes* part : frame.reachTheCodec) expected.insert(expected.end(), part->begin(), part->end());
    EXPECT_EQ(passed, expected);
    EXPECT_EQ(splitter.headers().width, frame.width);
  };
  for (size_t f = 0; f < std::size(frames); ++f) {
    for (const Bytes* part : frames[f].parts) splitter.append(part->data(), part->size());
    if (f > 0) {
      ASSERT_TRUE(splitter.next(false, unit));
      expectUnit(frames[f - 1], unit);
    }
    EXPECT_FALSE(splitter.next(false, unit));
  }
  ASSERT_TRUE(splitter.next(true, unit));
  expectUnit(frames[std::size(frames) - 1], unit);
}

}  // namespace
}  // namespace cvx::test
