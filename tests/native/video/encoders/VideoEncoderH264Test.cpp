#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "support/AnnexB.h"
#include "support/LogDrain.h"
#include "support/SyntheticClip.h"
#include "logging/LogCollector.h"
#include "parameters/IParameterTarget.h"
#include "platform/h264encoder/H264ParamSummary.h"
#include "video/encoders/VideoEncoderH264.h"
#include "video/frames/VideoFrameBuffer.h"

namespace {

using namespace cvx;
using cvx::test::SyntheticClip;

constexpr size_t kRecordBytes = sizeof(H264EncoderSettings);

std::vector<uint8_t> recordBytes(const VideoEncoderH264& encoder) {
  const auto* p = reinterpret_cast<const uint8_t*>(encoder.getSettings().get());
  return std::vector<uint8_t>(p, p + kRecordBytes);
}

int32_t int32At(const std::vector<uint8_t>& bytes, size_t offset) {
  int32_t v;
  std::memcpy(&v, bytes.data() + offset, sizeof v);
  return v;
}

std::vector<int32_t> int32sAt(const std::vector<uint8_t>& bytes, std::initializer_list<size_t> offsets) {
  std::vector<int32_t> out;
  for (size_t offset : offsets) out.push_back(int32At(bytes, offset));
  return out;
}

// Byte positions where two snapshots of the record differ.
std::vector<size_t> changedBytes(const std::vector<uint8_t>& before, const std::vector<uint8_t>& after) {
  std::vector<size_t> out;
  for (size_t i = 0; i < before.size(); ++i) {
    if (before[i] != after[i]) out.push_back(i);
  }
  return out;
}

// Codec destructors may throw, so tests hold encoders through a pointer.
std::unique_ptr<VideoEncoderH264> makeEncoder() { return std::make_unique<VideoEncoderH264>(); }

TEST(VideoEncoderH264, FrameDurationIsRoundedTenthsOfAMillisecond) {
  const struct {
    double rate;
    uint64_t duration;
  } cases[] = {{30.0, 333}, {29.97, 334}, {25.0, 400}, {60.0, 167}, {23.976, 417}, {0.0, 0}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.rate);
    auto encoder = makeEncoder();
    EXPECT_EQ(encoder->setFrameRate(c.rate), 0);
    EXPECT_EQ(encoder->getFrameDuration(), c.duration);
    double stored = -1;
    encoder->getParameterDouble(10008, &stored);
    EXPECT_EQ(stored, c.rate) << "the rate itself lands in the record's double at byte 32";
  }
}

// 110 % of the target in 64 bits (a 32-bit product wrapped from 39 Mbit/s on), held at the field's top.
TEST(VideoEncoderH264, MaximumRateIsTenPercentAboveTheTargetAndNeverWraps) {
  const struct { uint32_t bitrate; uint32_t maximum; } cases[] = {
      {1000000, 1100000},
      {39045158, 42949673},  // the first product past 2^32
      {40000000, 44000000},
      {1952257861, 2147483647},  // just past the field
      {4000000000u, 2147483647},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.bitrate);
    auto encoder = makeEncoder();
    ASSERT_EQ(encoder->setBitrate(c.bitrate), 0);
    const auto bytes = recordBytes(*encoder);
    EXPECT_EQ(int32sAt(bytes, {72, 80, 84}), (std::vector<int32_t>{2, static_cast<int32_t>(c.bitrate), static_cast<int32_t>(c.maximum)}))
        << "rate mode, target, maximum";
  }
}

TEST(VideoEncoderH264, DefaultsAndKeyFrameFollowWriteTheirFields) {
  auto encoder = makeEncoder();
  encoder->setParameterLong(10005, 1);
  encoder->setParameterLong(10001, 7);
  ASSERT_EQ(encoder->setDefaults(2, 2), 0);
  auto bytes = recordBytes(*encoder);
  // The first number selects the profile family (byte 0), the second the speed preset (byte 44).
  EXPECT_EQ(int32sAt(bytes, {20, 4, 0, 44}), (std::vector<int32_t>{0, 100, 2, 2}));
  EXPECT_FALSE(encoder->isKeyFrameFollow());

  ASSERT_EQ(encoder->setKeyFrameFollow(false), 0) << "the value is ignored";
  EXPECT_TRUE(encoder->isKeyFrameFollow());
  const auto before = bytes;
  bytes = recordBytes(*encoder);
  EXPECT_EQ(int32sAt(bytes, {2836, 8, 4100, 16, 2856, 12}), (std::vector<int32_t>{0, 0, 0, 0, 0, 1}));
  for (size_t at : changedBytes(before, bytes)) {
    EXPECT_TRUE((at >= 8 && at < 20) || (at >= 2836 && at < 2840) || (at >= 2856 && at < 2860) ||
                (at >= 4100 && at < 4104))
        << "byte " << at << " is no key frame field";
  }

  // What the library is then given: no key frame of its own on any ground.
  encoder->setFrameSize(320, 240);
  H264ParamSummary summary{};
  ASSERT_EQ(h264OutVideoDescribe(encoder->getSettings().get(), &summary), 0);
  EXPECT_GT(summary.keyIntervalMax, 1 << 20) << "no interval";
  EXPECT_EQ((std::vector<int32_t>{summary.sceneCut, summary.intraRefresh, summary.openGop}), (std::vector<int32_t>{0, 0, 0}));
}

// The setting space as the host sees it, one row per run of numbers.
struct SettingRun {
  uint32_t first;
  uint32_t last;
  uint32_t offset;
  uint32_t step;
  int type;
  uint32_t length;  // array elements
  uint32_t elementBytes;
};

constexpr SettingRun kSettingRuns[] = {
    {10000, 10007, 0, 4, 1, 0, 4},       {10008, 10008, 32, 0, 3, 0, 8},      {10009, 10033, 40, 4, 1, 0, 4},
    {10034, 10035, 152, 4, 1, 0, 4},     {10036, 10036, 160, 0, 2, 4, 4},     {10037, 10037, 176, 0, 1, 0, 4},
    {10038, 10038, 180, 0, 2, 4, 4},     {10039, 10040, 196, 4, 1, 0, 4},     {10041, 10044, 256, 4, 1, 0, 4},
    {10045, 10046, 1804, 4, 1, 0, 4},    {10047, 10047, 1932, 0, 1, 0, 4},    {10048, 10049, 2212, 4, 1, 0, 4},
    {10050, 10052, 2244, 4, 1, 0, 4},    {10053, 10067, 2312, 4, 1, 0, 4},    {10068, 10090, 2836, 4, 1, 0, 4},
    {10091, 10097, 2940, 4, 1, 0, 4},    {10098, 10104, 4100, 4, 1, 0, 4},    {10105, 10108, 4316, 4, 1, 0, 4},
    {10109, 10116, 4716, 4, 1, 0, 4},    {10117, 10120, 5116, 4, 1, 0, 4},    {10121, 10121, 5492, 0, 2, 8, 4},
    {10122, 10125, 5524, 4, 1, 0, 4},    {10126, 10130, 6048, 4, 1, 0, 4},    {10131, 10131, 6468, 0, 1, 0, 4},
    {10132, 10132, 6472, 0, 2, 8, 4},    {10133, 10138, 6504, 16, 2, 16, 1},  {10139, 10139, 6600, 0, 2, 64, 1},
    {10140, 10140, 6664, 0, 2, 64, 1},
};

TEST(VideoEncoderH264, EverySettingNumberReachesItsOwnFieldAndNoOther) {
  std::set<size_t> claimed;
  uint32_t covered = 0;
  for (const SettingRun& run : kSettingRuns) {
    for (uint32_t index = run.first; index <= run.last; ++index, ++covered) {
      SCOPED_TRACE(index);
      const uint32_t offset = run.offset + (index - run.first) * run.step;
      const uint32_t bytes = run.length > 0 ? run.length * run.elementBytes : run.elementBytes;
      ASSERT_LE(offset + bytes, kRecordBytes);
      for (uint32_t b = offset; b < offset + bytes; ++b) {
        EXPECT_TRUE(claimed.insert(b).second) << "byte " << b << " belongs to two settings";
      }

      auto encoder = makeEncoder();
      uint32_t length = 99;
      EXPECT_EQ(encoder->getParameterType(index, &length), run.type);
      EXPECT_EQ(length, run.length);

      const auto before = recordBytes(*encoder);
      if (run.type == kParameterLong) {
        const int64_t value = -(static_cast<int64_t>(index) << 8) - 3;
        encoder->setParameterLong(index, value);
        int64_t back = 0;
        encoder->getParameterLong(index, &back);
        EXPECT_EQ(back, value);
        encoder->setParameterDouble(index, 5.0);  // a double for a long field is dropped
        encoder->getParameterLong(index, &back);
        EXPECT_EQ(back, value);
      } else if (run.type == kParameterDouble) {
        encoder->setParameterLong(index, 77);  // a long for the double field is dropped
        EXPECT_EQ(recordBytes(*encoder), before);
        encoder->setParameterDouble(index, 12.5 + index);
        double back = 0;
        encoder->getParameterDouble(index, &back);
        EXPECT_EQ(back, 12.5 + index);
      } else {
        std::vector<int64_t> values(run.length);
        for (uint32_t i = 0; i < run.length; ++i) values[i] = 0x100000000LL * (i + 1) + 0x41 + i;
        encoder->setParameterLongArray(index, values.data(), run.length);
      }
      const auto after = recordBytes(*encoder);
      const auto changed = changedBytes(before, after);
      ASSERT_FALSE(changed.empty());
      EXPECT_GE(changed.front(), offset);
      EXPECT_LT(changed.back(), offset + bytes);
    }
  }
  EXPECT_EQ(covered, 141u);

  auto encoder = makeEncoder();
  for (uint32_t index : {0u, 9999u, 10141u, 20000u, 30000u}) {
    SCOPED_TRACE(index);
    uint32_t length = 99;
    EXPECT_EQ(encoder->getParameterType(index, &length), kParameterUnknown);
    EXPECT_EQ(length, 0u);
    const auto before = recordBytes(*encoder);
    const int64_t values[2] = {1, 2};
    EXPECT_EQ(encoder->setParameterLong(index, 5), 0);
    EXPECT_EQ(encoder->setParameterDouble(index, 5.0), 0);
    EXPECT_EQ(encoder->setParameterLongArray(index, values, 2), 0);
    EXPECT_EQ(recordBytes(*encoder), before);
    int64_t l = 9;
    double d = 9;
    encoder->getParameterLong(index, &l);
    encoder->getParameterDouble(index, &d);
    EXPECT_EQ(l, 0);
    EXPECT_EQ(d, 0.0);
  }
}

TEST(VideoEncoderH264, LongsAreCutToThirtyTwoBitsAndWidenedWithSign) {
  const struct {
    int64_t in;
    int64_t back;
  } cases[] = {{0x100000007LL, 7}, {-5, -5}, {0xFFFFFFFFLL, -1}, {0x7FFFFFFFLL, 0x7FFFFFFF}, {0x80000000LL, INT32_MIN}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.in);
    auto encoder = makeEncoder();
    encoder->setParameterLong(10019, c.in);
    int64_t back = 0;
    encoder->getParameterLong(10019, &back);
    EXPECT_EQ(back, c.back);
  }
}

TEST(VideoEncoderH264, ArraysCopyAtMostTheirLength) {
  auto encoder = makeEncoder();
  encoder->setParameterLong(10037, 1234);  // the field right behind 10036
  std::vector<int64_t> ten;
  for (int64_t i = 0; i < 10; ++i) ten.push_back((i + 1) * 0x100000000LL + (i % 2 == 0 ? -(i + 1) : i + 1));
  encoder->setParameterLongArray(10036, ten.data(), 10);
  auto bytes = recordBytes(*encoder);
  EXPECT_EQ(int32sAt(bytes, {160, 164, 168, 172, 176}), (std::vector<int32_t>{-1, 2, -3, 4, 1234}))
      << "elements past the fourth go nowhere";

  // Fewer elements than the field: the rest keeps what it held.
  const int64_t two[2] = {50, 60};
  encoder->setParameterLongArray(10036, two, 2);
  bytes = recordBytes(*encoder);
  EXPECT_EQ(int32sAt(bytes, {160, 168}), (std::vector<int32_t>{50, -3}));
  const auto beforeNull = bytes;
  encoder->setParameterLongArray(10036, nullptr, 4);
  EXPECT_EQ(recordBytes(*encoder), beforeNull);

  // Byte arrays keep the low byte; 10134 follows 10133 directly.
  encoder->setParameterLongArray(10134, std::vector<int64_t>(16, 0x77).data(), 16);
  std::vector<int64_t> twenty;
  for (int64_t i = 0; i < 20; ++i) twenty.push_back(0x1200 + i * 0x101 - 300 * (i % 3));
  encoder->setParameterLongArray(10133, twenty.data(), 20);
  bytes = recordBytes(*encoder);
  for (size_t i = 0; i < 16; ++i) {
    EXPECT_EQ(bytes[6504 + i], static_cast<uint8_t>(twenty[i] & 0xFF)) << "element " << i;
    EXPECT_EQ(bytes[6520 + i], 0x77) << "element " << i << " of the next setting";
  }
  encoder->setParameterLongArray(10140, twenty.data(), 20);
  bytes = recordBytes(*encoder);
  EXPECT_EQ(bytes[6664 + 19], static_cast<uint8_t>(twenty[19] & 0xFF));
  EXPECT_EQ(bytes[6664 + 20], 0);
}

// A configured encoder: family, preset, size, rate and bit rate as a session
// sets them.
void configure(VideoEncoderH264& encoder, uint32_t family, uint32_t width, uint32_t height, uint32_t bitrate) {
  encoder.setDefaults(family, 2);
  encoder.setFrameSize(width, height);
  encoder.setFrameRate(25.0);
  encoder.setBitrate(bitrate);
  encoder.setParameterLong(10013, 1);  // one thread: the same pictures every run
}

int64_t timecodeOf(int index) { return 5000 + 40 * index; }

// Feeds a clip through the encoder as VideoFrameBuffers; frameTypes[i] is
// written into the frame's own field, hints[i] is passed beside it.
std::vector<VideoFrameEncoded> encodeFrames(VideoEncoderH264& encoder, const SyntheticClip& clip,
                                            const std::map<int, int32_t>& frameTypes = {},
                                            const std::map<int, uint32_t>& hints = {}) {
  VideoFrameBuffer frame;
  EXPECT_EQ(frame.allocBuffer(clip.width, clip.height, clip.fourcc), 0);
  EXPECT_EQ(frame.getPlaneStride(0), static_cast<int32_t>(clip.width));
  std::vector<VideoFrameEncoded> out;
  for (int i = 0; i < static_cast<int>(clip.pictures.size()); ++i) {
    std::memcpy(frame.getBytes(), clip.pictures[i].data(), clip.pictures[i].size());
    frame.setTimecode(timecodeOf(i));
    const auto type = frameTypes.find(i);
    frame.setFrameType(type != frameTypes.end() ? type->second : 2);
    const auto hint = hints.find(i);
    EXPECT_EQ(encoder.addFrame(frame, hint != hints.end() ? hint->second : 0), 0);
    encoder.getEncodedFrames(out);
  }
  return out;
}

std::set<int64_t> keyTimecodes(const std::vector<VideoFrameEncoded>& frames) {
  std::set<int64_t> out;
  for (const auto& f : frames) {
    if (f.frameType == 1) out.insert(f.timecode);
  }
  return out;
}

TEST(VideoEncoderH264, UnderKeyFrameFollowKeyFramesFallOnTheSourcesOnly) {
  const SyntheticClip clip = cvx::test::makeClip(160, 96, 70, kFourCCYV12, 25);
  // Frame type 1 in the frame itself with hint 0, and an explicit hint 1.
  const std::map<int, int32_t> types = {{0, 1}, {17, 1}};
  const std::map<int, uint32_t> hints = {{40, 1}};

  auto follow = makeEncoder();
  configure(*follow, 2, 160, 96, 300000);
  follow->setKeyFrameFollow(true);
  ASSERT_EQ(follow->initialize(), 0);
  const std::vector<VideoFrameEncoded> followed = encodeFrames(*follow, clip, types, hints);
  ASSERT_GT(followed.size(), 50u);
  // The scene change at 25 would draw a key frame of the library's own.
  EXPECT_EQ(keyTimecodes(followed), (std::set<int64_t>{timecodeOf(0), timecodeOf(17), timecodeOf(40)}));

  // Without it the same frames only carry their hint: the library places
  // key frames by its own rules (here: the first, and none on requests).
  auto own = makeEncoder();
  configure(*own, 2, 160, 96, 300000);
  own->setParameterLong(10002, 0);   // no interval
  own->setParameterLong(10068, 0);   // no scene cut
  ASSERT_EQ(own->initialize(), 0);
  const std::vector<VideoFrameEncoded> placed = encodeFrames(*own, clip, types, hints);
  ASSERT_GT(placed.size(), 50u);
  EXPECT_EQ(keyTimecodes(placed), (std::set<int64_t>{timecodeOf(0)}));
}

// Timecodes enter the library in tenths of a millisecond: those whose tenths
// do not fit 64 bits are held at the nearest that do, the others are exact.
TEST(VideoEncoderH264, TimecodesAtTheEdgesOfSixtyFourBitsSaturate) {
  constexpr int64_t kMin = INT64_MIN;
  constexpr int64_t kMax = INT64_MAX;
  const struct { int64_t in, out; } cases[] = {{kMin, kMin / 10}, {kMin / 10 + 1, kMin / 10 + 1}, {-5, -5}, {0, 0},
               {kMax / 10 - 1, kMax / 10 - 1}, {kMax, kMax / 10}};
  const SyntheticClip clip = cvx::test::makeClip(64, 48, 1, kFourCCI420, -1);
  auto encoder = makeEncoder();
  configure(*encoder, 0, 64, 48, 200000);
  encoder->setParameterLong(10011, 1);  // zero latency: each picture comes out at once
  ASSERT_EQ(encoder->initialize(), 0);
  VideoFrameBuffer frame;
  ASSERT_EQ(frame.allocBuffer(64, 48, kFourCCI420), 0);
  std::memcpy(frame.getBytes(), clip.pictures[0].data(), clip.pictures[0].size());
  std::vector<VideoFrameEncoded> out;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.in);
    frame.setTimecode(c.in);
    ASSERT_EQ(encoder->addFrame(frame, 0), 0);
    const size_t before = out.size();
    encoder->getEncodedFrames(out);
    ASSERT_EQ(out.size(), before + 1);
    EXPECT_EQ(out.back().timecode, c.out);
  }
}

TEST(VideoEncoderH264, InitializeReportsTheCheckAndStaysUsableAfterAFailure) {
  LogCollector log;
  auto encoder = makeEncoder();
  encoder->setLogger(&log);
  encoder->setContextId(4);
  encoder->setDefaults(0, 2);
  encoder->setFrameRate(25.0);
  // No frame size: the check refuses the record, and so does the library.
  EXPECT_NE(encoder->checkSettings(), 0);
  EXPECT_EQ(encoder->initialize(), -1);
  const std::vector<LogStatement> lines = test::drain(log);
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0].statement, "VideoEncoderH264.initialize[{context}]: h264OutVideoNew failed: ");
  EXPECT_EQ((std::vector<int>{lines[0].level, lines[0].contextType, lines[0].contextIndex}), (std::vector<int>{3, 2, 4}));
  VideoFrameBuffer frame;
  frame.allocBuffer(160, 96, kFourCCYV12);
  EXPECT_EQ(encoder->addFrame(frame), -1) << "no encoder yet";

  // Setting the size afterwards makes the same object usable.
  encoder->setFrameSize(160, 96);
  EXPECT_EQ(encoder->checkSettings(), 0);
  EXPECT_EQ(encoder->initialize(), 0);
  const std::vector<VideoFrameEncoded> out = encodeFrames(*encoder, cvx::test::makeClip(160, 96, 5, kFourCCYV12, -1));
  EXPECT_EQ(out.size(), 5u) << "family 0 is zero latency: every frame comes out at once";
  EXPECT_EQ(encoder->initialize(), -1) << "a second initialize is refused";
}

// The access units' shape; their pixels and timecodes are the round trip's.
TEST(VideoEncoderH264, EncodesFramesToLengthPrefixedUnitsLedByADelimiterOfTheirType) {
  constexpr uint32_t kW = 192;
  constexpr uint32_t kH = 144;
  constexpr int kCount = 60;
  const SyntheticClip clip = cvx::test::makeClip(kW, kH, kCount, kFourCCYV12, 30);
  auto encoder = makeEncoder();
  configure(*encoder, 2, kW, kH, 600000);
  encoder->setParameterLong(10069, 3);  // B-frames
  encoder->setParameterLong(10016, 2);  // two slices: later slices get their own prefix too
  ASSERT_EQ(encoder->initialize(), 0);
  std::vector<VideoFrameEncoded> out = encodeFrames(*encoder, clip);
  ASSERT_EQ(encoder->endOfStream(), 0);
  encoder->getEncodedFrames(out);
  ASSERT_EQ(out.size(), static_cast<size_t>(kCount));
  std::map<uint32_t, int> typeCounts;
  bool reordered = false;
  for (size_t k = 0; k < out.size(); ++k) {
    const VideoFrameEncoded& f = out[k];
    SCOPED_TRACE(k);
    const std::vector<int> nals = test::prefixedNalTypes(f.block.data(), f.block.size());
    ASSERT_FALSE(nals.empty()) << "prefixes walk the unit exactly";
    EXPECT_EQ(nals.front(), 9) << "a delimiter leads";
    const int slices = static_cast<int>(std::count_if(nals.begin(), nals.end(), [](int t) { return t == 1 || t == 5; }));
    EXPECT_EQ(slices, 2);
    ASSERT_TRUE(f.frameType >= 1 && f.frameType <= 3);
    const bool idr = std::find(nals.begin(), nals.end(), 5) != nals.end();
    EXPECT_EQ(idr, f.frameType == 1);
    const uint8_t delimiter = f.block.data()[5];
    EXPECT_EQ(delimiter, f.frameType == 1 ? 0x10 : f.frameType == 3 ? 0x50 : 0x30);
    ++typeCounts[f.frameType];
    reordered = reordered || (k > 0 && f.timecode < out[k - 1].timecode);
  }
  EXPECT_EQ(out.front().frameType, 1u);
  EXPECT_GT(typeCounts[2], 0);
  EXPECT_GT(typeCounts[3], 0);
  EXPECT_TRUE(reordered) << "B-frames leave after the frames they lean on";
}

}  // namespace
