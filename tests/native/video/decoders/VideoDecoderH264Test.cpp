#include "video/decoders/VideoDecoderH264.h"

#include <gtest/gtest.h>

#include <deque>
#include <memory>
#include <vector>

#include "logging/LogCollector.h"
#include "support/H264Clip.h"
#include "support/RecordingDecoderStream.h"
#include "support/LogDrain.h"

namespace cvx {
namespace {

using testing::RecordingDecoderStream;
using Bytes = std::vector<uint8_t>;
using test::lengthPrefixed;

const Bytes kSps = {0x67, 0x42, 0xC0, 0x1E, 0xAA};
const Bytes kPps = {0x68, 0xCE, 0x3C};
constexpr uint32_t kPicture = 0x1 | 0x100000 | 0x400000 | 0x200000;  // a picture to show

Bytes annexB(std::initializer_list<Bytes> parts) {
  Bytes out;
  for (const Bytes& p : parts) {
    out.insert(out.end(), {0, 0, 0, 1});
    out.insert(out.end(), p.begin(), p.end());
  }
  return out;
}

class VideoDecoderH264Test : public ::testing::Test {
 protected:
  void SetUp() override {
    RecordingDecoderStream::current = &fake;
    decoder->setLogger(&log);
    ASSERT_EQ(decoder->initialize(), 0);
  }
  void TearDown() override { RecordingDecoderStream::current = nullptr; }
  int configure(const Bytes& sps = kSps, const Bytes& pps = kPps) {
    Bytes record = test::configurationRecord(sps, pps);
    return decoder->decodeCodecConfig(record.data(), 0, static_cast<uint32_t>(record.size()));
  }
  void configured() {
    fake.states = {0, 0x101};
    fake.seq[0] = 640;
    fake.seq[1] = 360;
    fake.seq[7] = 16;
    fake.seq[8] = 9;
    fake.seq[9] = 30000;
    fake.seq[10] = 1001;
    ASSERT_EQ(configure(), 0);
    fake.bytes.clear();
    fake.calls.clear();
  }
  // The decoder reads the block later, as the session's copy: it is kept.
  int add(const Bytes& frame, int64_t timecode = 0, uint32_t frameType = 2) {
    Bytes& block = held.emplace_back(frame);
    return decoder->addFrame(block.data(), 0, static_cast<uint32_t>(block.size()), timecode, frameType);
  }
  void drainAll() {
    uint32_t flags = 0;
    for (int guard = 0; guard < 100 && (flags & kDecodeInputEmpty) == 0; ++guard) EXPECT_EQ(decoder->decode(flags), 0);
  }
  std::vector<LogStatement> lines() {
    return test::drain(log);
  }

  RecordingDecoderStream fake;
  LogCollector log;
  std::deque<Bytes> held;
  std::unique_ptr<VideoDecoderH264> decoder = std::make_unique<VideoDecoderH264>(&RecordingDecoderStream::open);
};

TEST_F(VideoDecoderH264Test, ConfigurationReadsTheSequenceAndRoutesTheLibrarysLines) {
  configured();
  EXPECT_EQ(decoder->getDisplayWidth(), 640u) << "16:9 applied to the coded height";
  EXPECT_NEAR(decoder->getFrameRate(), 29.97, 0.01);
  const std::vector<LogStatement> logged = lines();
  ASSERT_EQ(logged.size(), 1u);
  EXPECT_EQ(logged[0].statement.rfind("VideoDecoderH264.updateDecodeInfo[{context}]: aspect:16x9 frame:640x360 "
                                      "display:640x360 frameRate:29.97",
                                      0),
            0u)
      << logged[0].statement;
  EXPECT_EQ(logged[0].contextType, 1);
  EXPECT_EQ(fake.logger, &log) << "what the library refuses goes to the same log";
  EXPECT_EQ(fake.calls.size(), 0u);
  EXPECT_EQ(configure(), 0) << "later configurations never reach the parser";
  EXPECT_TRUE(fake.calls.empty());
}

TEST_F(VideoDecoderH264Test, WithoutAnAspectTheDisplaySizeSwapsWidthAndHeight) {
  fake.states = {0, 0x101};
  fake.seq[0] = 1280;
  fake.seq[1] = 720;
  ASSERT_EQ(configure(), 0);
  EXPECT_EQ(decoder->getDisplayWidth(), 720u);
  EXPECT_EQ(decoder->getDisplayHeight(), 1280u);
  EXPECT_EQ(decoder->getFrameRate(), 0.0);
}

TEST_F(VideoDecoderH264Test, AFirstConfigurationThatFindsNoSequenceFailsAndMalformedRecordsChangeNothing) {
  const Bytes good = test::configurationRecord(kSps, kPps);
  std::vector<Bytes> bad = {Bytes(good.begin(), good.begin() + 7), Bytes(good.begin(), good.end() - 1),
                            test::configurationRecord({}, kPps), test::configurationRecord(kSps, {}), good};
  bad.back()[7] = 200;  // an SPS longer than the record
  for (Bytes& record : bad) EXPECT_EQ(decoder->decodeCodecConfig(record.data(), 0, static_cast<uint32_t>(record.size())), 0);
  EXPECT_TRUE(fake.calls.empty());
  EXPECT_TRUE(fake.bytes.empty());
  fake.states = {0, 0x1};
  EXPECT_EQ(configure(), -2);
}

// Setting 0 picks the parser's options, setting 1 the threads; nothing out
// of range reaches the library: such a value is ignored, with a line.
TEST_F(VideoDecoderH264Test, SettingsReachTheParserAndValuesOutOfRangeAreIgnoredWithALine) {
  struct Case {
    uint32_t index;
    int64_t value;
    int64_t stored;  // what the getter answers afterwards
  } cases[] = {
      {1, 16, 16}, {1, 17, 16}, {1, 0, 16}, {1, -5, 16}, {1, 1, 1},
      {0, 0, 0}, {0, 0xFFFFFFFF, 0xFFFFFFFF}, {0, 0x100000000, 0xFFFFFFFF}, {0, -1, 0xFFFFFFFF},
      {7, 3, 0},
  };
  lines();
  for (const Case& c : cases) {
    SCOPED_TRACE(std::to_string(c.index) + ": " + std::to_string(c.value));
    EXPECT_EQ(decoder->setParameterLong(c.index, c.value), 0);
    int64_t value = -9;
    decoder->getParameterLong(c.index, &value);
    EXPECT_EQ(value, c.stored);
    const std::vector<LogStatement> logged = lines();
    const bool refused = c.index < 2 && c.value != c.stored;
    ASSERT_EQ(logged.size(), refused ? 1u : 0u);
    if (refused) {
      EXPECT_EQ(logged[0].level, 3);
      EXPECT_EQ(logged[0].statement.rfind(
                    "VideoDecoderH264.setParameterLong[{context}]: setting " + std::to_string(c.index) + " takes ", 0),
                0u)
          << logged[0].statement;
    }
  }
  for (const auto& [setting, options] : {std::pair<int64_t, uint32_t>{0, 16}, {1, 272}, {3, 19}}) {
    SCOPED_TRACE(setting);
    RecordingDecoderStream local;
    RecordingDecoderStream::current = &local;
    VideoDecoderH264 other(&RecordingDecoderStream::open);
    other.setParameterLong(0, setting);
    ASSERT_EQ(other.initialize(), 0);
    Bytes record = test::configurationRecord(kSps, kPps);
    other.decodeCodecConfig(record.data(), 0, static_cast<uint32_t>(record.size()));
    ASSERT_GE(local.calls.size(), 3u);
    EXPECT_EQ(local.calls[2].offset, options);
  }
  RecordingDecoderStream::current = &fake;
}

// A delimiter of the host's frame type and the stored parameter sets go in
// front of each frame, unless the frame brings its own.
TEST_F(VideoDecoderH264Test, FramesGetADelimiterOfTheirTypeAndTheParameterSets) {
  configured();
  struct Case { uint32_t frameType; Bytes frame, expected; } cases[] = {
      {1, lengthPrefixed({{0x65, 7}}), annexB({{9, 0x10}, kSps, kPps, {0x65, 7}})},
      {3, lengthPrefixed({{0x01, 7}}), annexB({{9, 0x50}, kSps, kPps, {0x01, 7}})},
      {2, lengthPrefixed({{0x41, 0xAA}, {0x01, 0xBB}}), annexB({{9, 0x30}, kSps, kPps, {0x41, 0xAA}, {0x01, 0xBB}})},
      {7, lengthPrefixed({{0x41}}), annexB({{9, 0x30}, kSps, kPps, {0x41}})},
      {1, lengthPrefixed({{9, 0x10}, kSps, kPps, {0x65, 7}}), annexB({{9, 0x10}, kSps, kPps, {0x65, 7}})},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.frameType);
    fake.bytes.clear();
    fake.attached.clear();
    ASSERT_EQ(add(c.frame, 40, c.frameType), 0);
    drainAll();
    EXPECT_EQ(fake.bytes, c.expected);
    ASSERT_EQ(fake.attached.size(), 1u);
    EXPECT_EQ(fake.attached[0].atByte, 0u) << "the label sits on the frame's first byte";
    EXPECT_EQ(fake.attached[0].frameType, c.frameType);
  }
}

// The waiting frame keeps the sets it was queued with: their storage must outlive the change (ASan).
TEST_F(VideoDecoderH264Test, ALaterConfigurationLeavesWaitingFramesTheirParameterSets) {
  configured();
  fake.states = {0x1};  // the parser reports at once: the rest of the frame waits
  add(lengthPrefixed({{0x41, 0xAA}}));
  uint32_t flags = 0;
  ASSERT_EQ(decoder->decode(flags), 0);
  ASSERT_FALSE(decoder->isInputEmpty());
  const Bytes otherSps(200, 0x67);
  const Bytes otherPps(100, 0x68);
  ASSERT_EQ(configure(otherSps, otherPps), 0);
  add(lengthPrefixed({{0x41, 0xBB}}), 40);
  drainAll();
  EXPECT_EQ(fake.bytes, annexB({{9, 0x30}, kSps, kPps, {0x41, 0xAA}, {9, 0x30}, otherSps, otherPps, {0x41, 0xBB}}));
}

TEST_F(VideoDecoderH264Test, BadLengthsQueueWhatCameBeforeAndFail) {
  configured();
  Bytes zeroSecond = lengthPrefixed({{0x41, 1}});
  zeroSecond.insert(zeroSecond.end(), {0, 0, 0, 0, 0x41});
  EXPECT_EQ(add(zeroSecond), -1);
  drainAll();
  EXPECT_EQ(fake.bytes, annexB({{9, 0x30}, kSps, kPps, {0x41, 1}}));
  for (const Bytes& tail : {Bytes{0, 0, 0, 50, 0x41, 2}, Bytes{0, 0}}) {
    Bytes frame = lengthPrefixed({{0x41, 1}});
    frame.insert(frame.end(), tail.begin(), tail.end());
    EXPECT_EQ(add(frame), -1) << "a length past the end, a cut prefix";
  }
}

TEST_F(VideoDecoderH264Test, APartlyTakenBlockComesFirstNextRoundWithoutItsLabelAgain) {
  configured();
  fake.takeLimit = 3;
  fake.states = {0, 0, kPicture};
  add(lengthPrefixed({{0x65, 1, 2, 3, 4, 5, 6}}), 80, 1);
  uint32_t flags = 0;
  ASSERT_EQ(decoder->decode(flags), 0);
  EXPECT_EQ(flags & ~kDecodeInputEmpty, kDecodePictureReady | kDecodeParserStopped);
  EXPECT_EQ(decoder->getTimecode(), 80);
  EXPECT_EQ(decoder->getFrameType(), 1u);
  drainAll();
  EXPECT_EQ(fake.attached.size(), 1u);
  EXPECT_EQ(fake.bytes, annexB({{9, 0x10}, kSps, kPps, {0x65, 1, 2, 3, 4, 5, 6}}));
}

TEST_F(VideoDecoderH264Test, DecodeFlagsMirrorTheLibraryState) {
  configured();
  uint32_t flags = 0;
  ASSERT_EQ(decoder->decode(flags), 0);
  EXPECT_EQ(flags, kDecodeInputEmpty) << "an empty queue reports only that";
  struct Case { uint32_t state, flags; } cases[] = {
      {kPicture, kDecodePictureReady | kDecodeParserStopped},
      {kPicture & ~0x200000u, kDecodePictureReady | kDecodePictureSkipped | kDecodeParserStopped},
      {kPicture | 0x1000000, kDecodePictureReady | kDecodeStateBit24 | kDecodeParserStopped},
      {0x1 | 0x100, kDecodeSequenceChanged | kDecodeParserStopped},
      {0x1 | 0x100000, kDecodeParserStopped},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.state);
    fake.states = {c.state};
    add(lengthPrefixed({{0x41}}));
    ASSERT_EQ(decoder->decode(flags), 0);
    EXPECT_EQ(flags & ~kDecodeInputEmpty, c.flags);
    drainAll();
  }
  // A picture without its record keeps the timecode before it.
  fake.states = {kPicture};
  add(lengthPrefixed({{0x41}}), 120);
  drainAll();
  fake.returnUserData = false;
  fake.states = {kPicture};
  add(lengthPrefixed({{0x41}}), 160);
  drainAll();
  EXPECT_EQ(decoder->getTimecode(), 120);
}

// The library hears of the end only once it has every byte; then input is
// refused with a line.
TEST_F(VideoDecoderH264Test, EndOfStreamReachesTheLibraryAfterTheLastByteThenRefusesInput) {
  configured();
  fake.states = {kPicture};  // a picture comes out while the frame is still queued
  fake.statesAfterDone = {kPicture};
  ASSERT_EQ(add(lengthPrefixed({{0x41, 1, 2, 3}}), 120), 0);
  ASSERT_EQ(decoder->endOfStream(), 0);
  const bool doneAfter[] = {false, true, true};
  for (bool done : doneAfter) {
    uint32_t flags = 0;
    ASSERT_EQ(decoder->decode(flags), 0);
    EXPECT_EQ(fake.done, done);
  }
  EXPECT_TRUE(decoder->isInputEmpty());
  EXPECT_EQ(decoder->endOfStream(), 0) << "a second end does nothing";
  lines();
  EXPECT_EQ(add(lengthPrefixed({{0x41}}), 160), -1);
  EXPECT_EQ(configure(), -1);
  const std::vector<LogStatement> logged = lines();
  ASSERT_EQ(logged.size(), 2u);
  EXPECT_EQ(logged[0].statement, "VideoDecoderH264.addFrame[{context}]: refused: the stream has ended");
  EXPECT_EQ(logged[1].statement, "VideoDecoderH264.decodeCodecConfig[{context}]: refused: the stream has ended");
  for (const LogStatement& line : logged) EXPECT_EQ(line.level * 10 + line.contextType, 31);
}

TEST_F(VideoDecoderH264Test, CloseEndsAndFreesTheStreamOnceAndDropsInput) {
  const int before = RecordingDecoderStream::freed;
  EXPECT_EQ(decoder->close(), 0);
  EXPECT_EQ(decoder->close(), 0);
  EXPECT_TRUE(fake.done);
  EXPECT_EQ(RecordingDecoderStream::freed, before + 1);
  add(lengthPrefixed({{0x41}}));
  uint32_t flags = 0;
  EXPECT_EQ(decoder->decode(flags), 0);
  EXPECT_EQ(flags, kDecodeInputEmpty);
}

}  // namespace
}  // namespace cvx
