#include "video/encoders/VideoEncoderH264IntelQuickSync2.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "support/SyntheticClip.h"
#include "media/FourCC.h"
#include "support/AnnexB.h"
#include "support/EncoderFixture.h"
#include "support/FakeRuntimeFixture.h"
#include "support/LogDrain.h"

namespace cvx {
namespace {

using namespace mfx;
using Encoder = VideoEncoderH264IntelQuickSync2;

constexpr int kWidth = 160;
constexpr int kHeight = 96;
constexpr mfxU16 kKey = 193;
constexpr mfxU16 kPredicted = 66;

constexpr int kFrames = 20;

const test::SyntheticClip& clip() {
  static const test::SyntheticClip pictures = test::makeClip(kWidth, kHeight, kFrames, kFourCCYV12, -1);
  return pictures;
}

void paint(VideoFrameBuffer& frame, int index) {
  const std::vector<uint8_t>& picture = clip().pictures[static_cast<size_t>(index % kFrames)];
  std::memcpy(frame.getBytes(), picture.data(), picture.size());
}

class QuickSyncEncoderTest : public test::EncoderFixture<Encoder, test::FakeRuntimeTest> {
 protected:
  void make(bool keyFrameFollow = true) {
    setUp(kWidth, kHeight, 400000, keyFrameFollow);
    ASSERT_EQ(encoder->initialize(), 0);
    source.allocBuffer(kWidth, kHeight, kFourCCYV12);
  }
  // Encodes picture `index` at 40 ms a picture; returns what it gave.
  size_t encode(int index, uint32_t hint) {
    paint(source, index);
    source.setTimecode(index * 40);
    EXPECT_EQ(encoder->addFrame(source, hint), 0);
    const size_t before = out.size();
    EXPECT_EQ(encoder->getEncodedFrames(out), 0);
    return out.size() - before;
  }

  VideoFrameBuffer source;
};

TEST_F(QuickSyncEncoderTest, SettersWriteTheSdkParameters) {
  test::RuntimeSelection none(test::kNoRuntime);
  Encoder e;
  for (const auto& [family, profile] : {std::pair{1u, 66}, {2u, 77}, {3u, 66}}) {
    ASSERT_EQ(e.setDefaults(family, 9), 0);
    EXPECT_EQ(e.getEncodeParams().mfx.CodecProfile, profile) << family;
  }
  const mfxInfoMFX& m = e.getEncodeParams().mfx;
  struct Size { uint32_t w, h; int result; mfxU16 width, height; };
  for (const Size& s : {Size{1000, 1080, 0, 1008, 1088}, Size{1920, 1080, 0, 1920, 1088}, Size{16, 2, 0, 16, 16},
                        Size{16384, 16384, 0, 16384, 16384}, Size{16385, 64, -1, 16384, 16384}}) {
    SCOPED_TRACE(std::to_string(s.w) + "x" + std::to_string(s.h));
    EXPECT_EQ(e.setFrameSize(s.w, s.h), s.result);
    EXPECT_EQ(m.FrameInfo.Width, s.width);
    EXPECT_EQ(m.FrameInfo.Height, s.height);
    if (s.result == 0) {
      EXPECT_EQ(m.FrameInfo.CropW, s.w);
      EXPECT_EQ(m.FrameInfo.CropH, s.h);
      EXPECT_EQ(m.FrameInfo.CropX + m.FrameInfo.CropY, 0);
    }
  }

  struct Rate { double fps; int result; mfxU32 n, d; uint64_t duration; };
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double inf = std::numeric_limits<double>::infinity();
  for (const Rate& r : {Rate{29.97, 0, 30000, 1001, 33}, Rate{30.0, 0, 30, 1, 33}, Rate{12.5, 0, 125000, 10000, 80},
                        Rate{59.94, 0, 60000, 1001, 17}, Rate{0.0, -1, 60000, 1001, 17}, Rate{-25.0, -1, 60000, 1001, 17},
                        Rate{nan, -1, 60000, 1001, 17}, Rate{inf, -1, 60000, 1001, 17},
                        Rate{1000.5, -1, 60000, 1001, 17}}) {
    SCOPED_TRACE(r.fps);
    EXPECT_EQ(e.setFrameRate(r.fps), r.result);
    EXPECT_EQ(m.FrameInfo.FrameRateExtN, r.n);
    EXPECT_EQ(m.FrameInfo.FrameRateExtD, r.d);
    EXPECT_EQ(e.getFrameDuration(), r.duration);
  }

  EXPECT_EQ(e.setBitrate(1000000), 0);
  EXPECT_EQ(m.TargetKbps, 1000);
  EXPECT_EQ(e.setBitrate(70000000), 0);
  EXPECT_EQ(m.TargetKbps, 70000 & 0xFFFF) << "sixteen bits wide";
  EXPECT_FALSE(e.isKeyFrameFollow());
  EXPECT_EQ(e.setKeyFrameFollow(false), 0);
  EXPECT_TRUE(e.isKeyFrameFollow()) << "the value is not looked at";
  EXPECT_EQ(e.checkSettings(), 0);
  EXPECT_EQ(e.setGPUID(2), 0);
}

TEST_F(QuickSyncEncoderTest, SettingsTwentyThousandToTwentyThousandNineteenNameTheSdkFields) {
  Encoder e;
  e.setDefaults(2, 0);
  using M = mfxInfoMFX;
  struct Setting { uint32_t index; std::function<uint32_t(const M&)> field; };
  const Setting settings[] = {
      {20000, [](const M& m) { return m.CodecId; }}, {20001, [](const M& m) { return m.CodecProfile; }},
      {20002, [](const M& m) { return m.CodecLevel; }}, {20003, [](const M& m) { return m.NumThread; }},
      {20004, [](const M& m) { return m.TargetUsage; }}, {20005, [](const M& m) { return m.GopPicSize; }},
      {20006, [](const M& m) { return m.GopRefDist; }}, {20007, [](const M& m) { return m.GopOptFlag; }},
      {20008, [](const M& m) { return m.IdrInterval; }}, {20009, [](const M& m) { return m.RateControlMethod; }},
      {20010, [](const M& m) { return m.InitialDelayInKB; }}, {20011, [](const M& m) { return m.QPI; }},
      {20012, [](const M& m) { return m.BufferSizeInKB; }}, {20013, [](const M& m) { return m.TargetKbps; }},
      {20014, [](const M& m) { return m.QPP; }}, {20015, [](const M& m) { return m.MaxKbps; }},
      {20016, [](const M& m) { return m.QPB; }}, {20017, [](const M& m) { return m.NumSlice; }},
      {20018, [](const M& m) { return m.NumRefFrame; }}, {20019, [](const M& m) { return m.EncodedOrder; }},
  };
  for (const Setting& s : settings) {
    SCOPED_TRACE(s.index);
    uint32_t length = 7;
    EXPECT_EQ(e.getParameterType(s.index, &length), 1);
    EXPECT_EQ(length, 0u);
    const int64_t value = 0x123456789LL + s.index;
    const uint32_t cut = s.index == 20000 ? static_cast<uint32_t>(value) : static_cast<uint32_t>(value & 0xFFFF);
    EXPECT_EQ(e.setParameterLong(s.index, value), 0);
    EXPECT_EQ(s.field(e.getEncodeParams().mfx), cut) << "cut to the field's width";
    int64_t read = -1;
    EXPECT_EQ(e.getParameterLong(s.index, &read), 0);
    EXPECT_EQ(read, static_cast<int64_t>(cut));
  }
  int64_t read = -1;
  EXPECT_EQ(e.setParameterLong(20013, 777), 0);
  EXPECT_EQ(e.getParameterLong(20014, &read), 0);
  EXPECT_EQ(read, 777) << "two numbers name the field that TargetKbps and QPP share";
  for (uint32_t outside : {0u, 10000u, 19999u, 20020u, 30000u}) {
    uint32_t length = 7;
    EXPECT_EQ(e.getParameterType(outside, &length), 0) << outside;
    EXPECT_EQ(length, 0u);
    EXPECT_EQ(e.getParameterLong(outside, &read), 0);
    EXPECT_EQ(read, 0);
  }
  EXPECT_EQ(e.getParameterLong(20001, nullptr), 0);
}

TEST_F(QuickSyncEncoderTest, EncodesEachFrameIntoALengthPrefixedUnitWithKeyFramesWhereAsked) {
  make();
  std::vector<LogStatement> lines = test::drain(log);
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0].statement, "VideoEncoderH264IntelQuickSync2.initialize[{context}]: Create video encoder: Hardware");
  EXPECT_EQ(lines[0].contextType, 2);
  EXPECT_EQ(lines[0].contextIndex, 3);
  EXPECT_EQ(encoder->getBitstream().MaxLength, (100u + 20u) << 10) << "the fake's buffer size for 400 kbit/s";

  for (int i = 0; i < kFrames; ++i) {
    const bool key = i % 7 == 0;
    ASSERT_EQ(encode(i, key ? 1 : 2), 1u) << "frame " << i;
    EXPECT_EQ(fakeMfxLast("EncodeFrameAsync.FrameType"), key ? kKey : kPredicted);
    const VideoFrameEncoded& f = out.back();
    EXPECT_EQ(f.timecode, i * 40);
    EXPECT_EQ(f.frameType, key ? 1u : 2u);
    EXPECT_EQ(test::prefixedNalTypes(f.block.data(), f.block.size()), key ? std::vector<int>({7, 8, 6, 5}) : std::vector<int>({6, 1})) << "frame " << i;
  }
  EXPECT_EQ(encoder->getFrameCountEncoded(), static_cast<uint32_t>(kFrames));
  EXPECT_EQ(encoder->getEncodedFrameCount(), 0u);
}

TEST_F(QuickSyncEncoderTest, TheHintDecidesAKeyFrameOnlyUnderKeyFrameFollow) {
  struct Case {
    bool follow;
    uint32_t hint;
    int32_t frameType;  // the frame's own, read when the hint is 0
    mfxU16 asked;
  };
  for (const Case& c : {Case{true, 1, 0, kKey}, Case{true, 2, 1, kPredicted}, Case{true, 0, 1, kKey},
                        Case{true, 0, 2, kPredicted}, Case{false, 1, 0, kPredicted}, Case{false, 0, 1, kPredicted}}) {
    SCOPED_TRACE(std::string(c.follow ? "follow" : "no follow") + ", hint " + std::to_string(c.hint) + ", type " +
                 std::to_string(c.frameType));
    make(c.follow);
    encode(0, 1);  // the stream's first frame
    source.setFrameType(c.frameType);
    ASSERT_EQ(encoder->addFrame(source, c.hint), 0);
    EXPECT_EQ(fakeMfxLast("EncodeFrameAsync.FrameType"), c.asked);
  }
}

TEST_F(QuickSyncEncoderTest, EveryStatusOfTheEncodeLoop) {
  struct Case {
    const char* what;
    std::function<void()> script;
    size_t frames;  // what the frame gives
    int calls;      // EncodeFrameAsync calls for it
    mfxU32 grownTo = 0;  // the bitstream's new size, 0: unchanged
  };
  const Case cases[] = {
      {"device busy", [] { fakeMfxPush("EncodeFrameAsync", MFX_WRN_DEVICE_BUSY, 0); }, 1, 2},
      {"a warning without output", [] { fakeMfxPush("EncodeFrameAsync", MFX_WRN_IN_EXECUTION, 0); }, 1, 2},
      {"a warning with output", [] { fakeMfxPush("EncodeFrameAsync", MFX_WRN_PARTIAL_ACCELERATION, 1); }, 1, 1},
      {"warnings that never end",
       [] {
         for (int i = 0; i < Encoder::kMaxRetries; ++i) fakeMfxPush("EncodeFrameAsync", MFX_WRN_IN_EXECUTION, 0);
       },
       0, Encoder::kMaxRetries},
      {"a buffer too small that grows",
       [] {
         fakeMfxSet("bufferSizeKB", 200);
         fakeMfxPush("EncodeFrameAsync", MFX_ERR_NOT_ENOUGH_BUFFER, 0);
       },
       1, 2, (200u + 20u) << 10},
      {"a buffer too small that cannot grow",
       [] { fakeMfxPush("EncodeFrameAsync", MFX_ERR_NOT_ENOUGH_BUFFER, 0); }, 0, 1},
      {"device lost", [] { fakeMfxPush("EncodeFrameAsync", MFX_ERR_DEVICE_LOST, 0); }, 0, 1},
      {"device lost at the sync", [] { fakeMfxPush("SyncOperation", MFX_ERR_DEVICE_LOST, 0); }, 0, 1},
      {"no buffer size to be had",
       [] {
         fakeMfxPush("EncodeFrameAsync", MFX_ERR_NOT_ENOUGH_BUFFER, 0);
         fakeMfxPush("GetVideoParam", MFX_ERR_DEVICE_LOST, 0);
       },
       0, 1},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    fakeMfxReset();
    make();
    ASSERT_EQ(encode(0, 1), 1u);
    const mfxU32 buffer = encoder->getBitstream().MaxLength;
    c.script();
    const int before = fakeMfxCalls("ENCODE_EncodeFrameAsync");
    EXPECT_EQ(encode(1, 2), c.frames);
    EXPECT_EQ(fakeMfxCalls("ENCODE_EncodeFrameAsync") - before, c.calls);
    EXPECT_EQ(encoder->getBitstream().MaxLength, c.grownTo != 0 ? c.grownTo : buffer);
    // The next frame goes through whatever happened to this one.
    EXPECT_EQ(encode(2, 2), 1u);
    EXPECT_EQ(out.back().timecode, 80);
    encoder.reset();
  }
}

// A runtime that holds frames gives them out at the end, one call each with
// no surface, under the time stamps they went in with.
TEST_F(QuickSyncEncoderTest, EndOfStreamTakesTheFramesTheRuntimeHolds) {
  fakeMfxSet("delayFrames", 2);
  make();
  for (int i = 0; i < 10; ++i) encode(i, i == 0 ? 1 : 2);
  ASSERT_EQ(out.size(), 8u) << "the runtime holds two";
  const int calls = fakeMfxCalls("ENCODE_EncodeFrameAsync");
  ASSERT_EQ(encoder->endOfStream(), 0);
  EXPECT_EQ(fakeMfxCalls("ENCODE_EncodeFrameAsync") - calls, 3) << "two frames, then a call for more data";
  ASSERT_EQ(encoder->getEncodedFrames(out), 0);
  ASSERT_EQ(out.size(), 10u);
  for (int i = 0; i < 10; ++i) {
    EXPECT_EQ(out[i].timecode, i * 40) << i;
    EXPECT_EQ(out[i].frameType, i == 0 ? 1u : 2u) << i;
  }
  EXPECT_EQ(encoder->endOfStream(), 0);
  EXPECT_EQ(fakeMfxCalls("ENCODE_EncodeFrameAsync") - calls, 3) << "a second end does nothing";
}

TEST_F(QuickSyncEncoderTest, FramesTheStagingFrameCannotTakeNeverReachTheSdk) {
  {
    Encoder uninitialised;
    ASSERT_TRUE(uninitialised.hasSession());
    VideoFrameBuffer frame;
    frame.allocBuffer(kWidth, kHeight, kFourCCYV12);
    EXPECT_EQ(uninitialised.addFrame(frame, 1), -1) << "no encoder before initialize";
  }
  make();
  VideoFrameBuffer empty;
  EXPECT_EQ(encoder->addFrame(empty, 1), -1);
  EXPECT_EQ(fakeMfxCalls("ENCODE_EncodeFrameAsync"), 0);
  // A smaller rendition is copied over the smaller size and encoded.
  VideoFrameBuffer small;
  small.allocBuffer(64, 48, kFourCCYV12);
  std::fill(small.getBytes(), small.getBytes() + small.getByteCount(), 128);
  EXPECT_EQ(encoder->addFrame(small, 1), 0);
  EXPECT_EQ(encoder->getEncodedFrameCount(), 1u);
}

TEST_F(QuickSyncEncoderTest, WithoutARuntimeNothingIsEncoded) {
  test::RuntimeSelection none(test::kNoRuntime);
  make();
  EXPECT_FALSE(encoder->hasSession());
  std::vector<LogStatement> lines = test::drain(log);
  EXPECT_TRUE(lines.empty());
  paint(source, 0);
  EXPECT_EQ(encoder->addFrame(source, 1), -1);
  EXPECT_EQ(encoder->getEncodedFrameCount(), 0u);
}

}  // namespace
}  // namespace cvx
