#include "video/decoders/VideoDecoderH264.h"

#include <gtest/gtest.h>

#include <iterator>
#include <memory>
#include <vector>

#include "RecordingDecoderStream.h"
#include "logging/LogCollector.h"

namespace cvx {
namespace {

using testing::RecordingDecoderStream;
using Bytes = std::vector<uint8_t>;

const Bytes kSps = {0x67, 0x42, 0xC0, 0x1E, 0xAA};
const Bytes kPps = {0x68, 0xCE, 0x3C};

Bytes configRecord(const Bytes& sps, const Bytes& pps) {
  Bytes r = {1, 0x42, 0xC0, 0x1E, 0xFF, 0xE1, 0, static_cast<uint8_t>(sps.size())};
  r.insert(r.end(), sps.begin(), sps.end());
  r.push_back(1);
  r.push_back(0);
  r.push_back(static_cast<uint8_t>(pps.size()));
  r.insert(r.end(), pps.begin(), pps.end());
  return r;
}

Bytes lengthPrefixed(std::initializer_list<Bytes> units) {
  Bytes out;
  for (const Bytes& u : units) {
    const uint32_t n = static_cast<uint32_t>(u.size());
    out.insert(out.end(), {static_cast<uint8_t>(n >> 24), static_cast<uint8_t>(n >> 16), static_cast<uint8_t>(n >> 8),
                           static_cast<uint8_t>(n)});
    out.insert(out.end(), u.begin(), u.end());
  }
  return out;
}

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
  void configure() {
    fake.states = {0, 0x101};
    fake.seq[0] = 640;
    fake.seq[1] = 360;
    fake.seq[7] = 16;
    fake.seq[8] = 9;
    fake.seq[9] = 30000;
    fake.seq[10] = 1001;
    Bytes record = configRecord(kSps, kPps);
    ASSERT_EQ(decoder->decodeCodecConfig(record.data(), 0, static_cast<uint32_t>(record.size())), 0);
    fake.bytes.clear();
    fake.calls.clear();
    fake.attached.clear();
  }
  uint32_t drainAll() {
    uint32_t flags = 0;
    uint32_t all = 0;
    for (int guard = 0; guard < 100; ++guard) {
      EXPECT_EQ(decoder->decode(flags), 0);
      all |= flags;
      if (flags & kDecodeInputEmpty) break;
    }
    return all;
  }

  RecordingDecoderStream fake;
  LogCollector log;
  std::unique_ptr<VideoDecoderH264> decoder = std::make_unique<VideoDecoderH264>(&RecordingDecoderStream::open);
};

TEST_F(VideoDecoderH264Test, ConfigurationSetsUpTheParserAndReadsTheSequence) {
  configure();
  EXPECT_EQ(decoder->getWidth(), 640u);
  EXPECT_EQ(decoder->getHeight(), 360u);
  EXPECT_EQ(decoder->getDisplayWidth(), 640u) << "16:9 applied to the coded height";
  EXPECT_NEAR(decoder->getFrameRate(), 29.97, 0.01);
  std::vector<LogStatement> lines;
  log.getLogStatements(lines);
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0].statement.rfind("VideoDecoderH264.updateDecodeInfo[{context}]: aspect:16x9 frame:640x360 "
                                     "display:640x360 frameRate:29.97",
                                     0),
            0u)
      << lines[0].statement;
  EXPECT_EQ(lines[0].contextType, 1);
  EXPECT_EQ(fake.logger, &log) << "what the library refuses goes to the same log";
}

TEST_F(VideoDecoderH264Test, ConfigurationCallsInOrder) {
  fake.states = {0, 0x101};
  Bytes record = configRecord(kSps, kPps);
  ASSERT_EQ(decoder->decodeCodecConfig(record.data(), 0, static_cast<uint32_t>(record.size())), 0);
  const std::vector<uint32_t> expected = {0x10000, 0x101B3, 0x10002, 0x10010, 0x10010, 0x10014, 0x10202, 0x10001};
  EXPECT_EQ(fake.infoIds(), expected);
  EXPECT_EQ(fake.calls[2].offset, 272u) << "parser options 256 | 16 by default";
  EXPECT_EQ(fake.bytes, annexB({kSps, kPps}));

  // A second configuration only changes what goes in front of frames.
  fake.calls.clear();
  const Bytes otherSps = {0x67, 0x64, 0, 0x28};
  record = configRecord(otherSps, kPps);
  EXPECT_EQ(decoder->decodeCodecConfig(record.data(), 0, static_cast<uint32_t>(record.size())), 0);
  EXPECT_TRUE(fake.calls.empty());
  fake.bytes.clear();
  Bytes frame = lengthPrefixed({{0x65, 1, 2}});
  decoder->addFrame(frame.data(), 0, static_cast<uint32_t>(frame.size()), 0, 1);
  drainAll();
  EXPECT_EQ(fake.bytes, annexB({{9, 0x10}, otherSps, kPps, {0x65, 1, 2}}));
}

TEST_F(VideoDecoderH264Test, ParserOptionsFollowTheSetting) {
  struct Case {
    int64_t setting;
    uint32_t options;
  } cases[] = {{0, 16}, {1, 272}, {3, 19}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.setting);
    RecordingDecoderStream local;
    RecordingDecoderStream::current = &local;
    auto d = std::make_unique<VideoDecoderH264>(&RecordingDecoderStream::open);
    d->setParameterLong(0, c.setting);
    ASSERT_EQ(d->initialize(), 0);
    local.states = {0, 0x101};
    Bytes record = configRecord(kSps, kPps);
    d->decodeCodecConfig(record.data(), 0, static_cast<uint32_t>(record.size()));
    ASSERT_GE(local.calls.size(), 3u);
    EXPECT_EQ(local.calls[2].offset, c.options);
  }
  RecordingDecoderStream::current = &fake;
}

// Nothing out of range reaches the library: such a value is ignored, with a line.
TEST_F(VideoDecoderH264Test, SettingsOutOfRangeAreIgnoredWithALogLine) {
  struct Case {
    uint32_t index;
    int64_t value;
    int64_t stored;  // what the getter answers afterwards
  } cases[] = {
      {1, 16, 16}, {1, 17, 16}, {1, 0, 16}, {1, -5, 16}, {1, 1, 1},
      {0, 0, 0}, {0, 0xFFFFFFFF, 0xFFFFFFFF}, {0, 0x100000000, 0xFFFFFFFF}, {0, -1, 0xFFFFFFFF},
      {7, 3, 0},
  };
  std::vector<LogStatement> lines;
  log.getLogStatements(lines);
  for (const Case& c : cases) {
    SCOPED_TRACE(std::to_string(c.index) + ": " + std::to_string(c.value));
    EXPECT_EQ(decoder->setParameterLong(c.index, c.value), 0);
    int64_t value = -9;
    decoder->getParameterLong(c.index, &value);
    EXPECT_EQ(value, c.stored);
    lines.clear();
    log.getLogStatements(lines);
    const bool refused = c.index < 2 && c.value != c.stored;
    ASSERT_EQ(lines.size(), refused ? 1u : 0u);
    if (refused) {
      EXPECT_EQ(lines[0].level, 3);
      EXPECT_EQ(lines[0].statement.rfind("VideoDecoderH264.setParameterLong[{context}]: setting " +
                                             std::to_string(c.index) + " takes ",
                                         0),
                0u)
          << lines[0].statement;
    }
  }
}

TEST_F(VideoDecoderH264Test, AFirstConfigurationThatFindsNoSequenceFails) {
  fake.states = {0, 0x1};
  Bytes record = configRecord(kSps, kPps);
  EXPECT_EQ(decoder->decodeCodecConfig(record.data(), 0, static_cast<uint32_t>(record.size())), -2);
  EXPECT_EQ(decoder->decodeCodecConfig(record.data(), 0, static_cast<uint32_t>(record.size())), 0)
      << "later configurations never reach the parser";
}

TEST_F(VideoDecoderH264Test, MalformedRecordsChangeNothing) {
  const Bytes good = configRecord(kSps, kPps);
  std::vector<Bytes> bad = {Bytes(good.begin(), good.begin() + 7), Bytes(good.begin(), good.end() - 1),
                            configRecord({}, kPps), configRecord(kSps, {})};
  Bytes longSps = good;
  longSps[7] = 200;
  bad.push_back(longSps);
  for (Bytes& record : bad) {
    EXPECT_EQ(decoder->decodeCodecConfig(record.data(), 0, static_cast<uint32_t>(record.size())), 0);
  }
  EXPECT_TRUE(fake.calls.empty());
  EXPECT_TRUE(fake.bytes.empty());
}

TEST_F(VideoDecoderH264Test, TwoUnitsReachTheLibraryWithDelimiterAndParameterSets) {
  configure();
  Bytes frame = lengthPrefixed({{0x41, 0xAA}, {0x01, 0xBB, 0xCC}});
  ASSERT_EQ(decoder->addFrame(frame.data(), 0, static_cast<uint32_t>(frame.size()), 40, 2), 0);
  drainAll();
  EXPECT_EQ(fake.bytes, annexB({{9, 0x30}, kSps, kPps, {0x41, 0xAA}, {0x01, 0xBB, 0xCC}}));
  ASSERT_EQ(fake.attached.size(), 1u);
  EXPECT_EQ(fake.attached[0].atByte, 0u) << "the label sits on the frame's first byte";
  EXPECT_EQ(fake.attached[0].frameType, 2u);
  EXPECT_EQ(fake.attached[0].timecode, 40);
}

TEST_F(VideoDecoderH264Test, OwnDelimiterAndParameterSetsAreNotRepeated) {
  configure();
  Bytes frame = lengthPrefixed({{9, 0x10}, kSps, kPps, {0x65, 7}});
  ASSERT_EQ(decoder->addFrame(frame.data(), 0, static_cast<uint32_t>(frame.size()), 0, 1), 0);
  drainAll();
  EXPECT_EQ(fake.bytes, annexB({{9, 0x10}, kSps, kPps, {0x65, 7}}));
}

// A configuration that comes while a frame still waits in the queue (the
// host's decode stopped early) changes what later frames get; the waiting
// frame keeps the sets it was queued with, whose storage must outlive the
// change (ASan watches the reads).
TEST_F(VideoDecoderH264Test, ALaterConfigurationLeavesWaitingFramesTheirParameterSets) {
  configure();
  fake.states = {0x1};  // the parser reports at once: the rest of the frame waits
  Bytes first = lengthPrefixed({{0x41, 0xAA}});
  decoder->addFrame(first.data(), 0, static_cast<uint32_t>(first.size()), 0, 2);
  uint32_t flags = 0;
  ASSERT_EQ(decoder->decode(flags), 0);
  ASSERT_FALSE(decoder->isInputEmpty());
  const Bytes otherSps(200, 0x67);
  const Bytes otherPps(100, 0x68);
  Bytes record = configRecord(otherSps, otherPps);
  ASSERT_EQ(decoder->decodeCodecConfig(record.data(), 0, static_cast<uint32_t>(record.size())), 0);
  Bytes second = lengthPrefixed({{0x41, 0xBB}});
  decoder->addFrame(second.data(), 0, static_cast<uint32_t>(second.size()), 40, 2);
  drainAll();
  EXPECT_EQ(fake.bytes, annexB({{9, 0x30}, kSps, kPps, {0x41, 0xAA}, {9, 0x30}, otherSps, otherPps, {0x41, 0xBB}}));
}

TEST_F(VideoDecoderH264Test, DelimitersFollowTheHostsFrameType) {
  configure();
  struct Case {
    uint32_t frameType;
    uint8_t primary;
  } cases[] = {{1, 0x10}, {3, 0x50}, {2, 0x30}, {7, 0x30}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.frameType);
    fake.bytes.clear();
    Bytes frame = lengthPrefixed({{0x41}});
    decoder->addFrame(frame.data(), 0, static_cast<uint32_t>(frame.size()), 0, c.frameType);
    drainAll();
    ASSERT_GE(fake.bytes.size(), 6u);
    EXPECT_EQ(fake.bytes[5], c.primary);
  }
}

TEST_F(VideoDecoderH264Test, BadLengthsQueueWhatCameBeforeAndFail) {
  configure();
  Bytes zeroSecond = lengthPrefixed({{0x41, 1}});
  zeroSecond.insert(zeroSecond.end(), {0, 0, 0, 0, 0x41});
  EXPECT_EQ(decoder->addFrame(zeroSecond.data(), 0, static_cast<uint32_t>(zeroSecond.size()), 0, 2), -1);
  drainAll();
  EXPECT_EQ(fake.bytes, annexB({{9, 0x30}, kSps, kPps, {0x41, 1}}));

  fake.bytes.clear();
  Bytes pastTheEnd = lengthPrefixed({{0x41, 1}});
  pastTheEnd.insert(pastTheEnd.end(), {0, 0, 0, 50, 0x41, 2});
  EXPECT_EQ(decoder->addFrame(pastTheEnd.data(), 0, static_cast<uint32_t>(pastTheEnd.size()), 0, 2), -1);
  Bytes truncatedPrefix = lengthPrefixed({{0x41, 1}});
  truncatedPrefix.insert(truncatedPrefix.end(), {0, 0});
  EXPECT_EQ(decoder->addFrame(truncatedPrefix.data(), 0, static_cast<uint32_t>(truncatedPrefix.size()), 0, 2), -1);
}

TEST_F(VideoDecoderH264Test, APartlyTakenBlockComesFirstNextRoundWithoutItsLabelAgain) {
  configure();
  fake.takeLimit = 3;
  fake.states = {0, 0, 0x1 | 0x100000 | 0x400000 | 0x200000};
  Bytes frame = lengthPrefixed({{0x65, 1, 2, 3, 4, 5, 6}});
  decoder->addFrame(frame.data(), 0, static_cast<uint32_t>(frame.size()), 80, 1);
  uint32_t flags = 0;
  ASSERT_EQ(decoder->decode(flags), 0);
  EXPECT_EQ(flags & (kDecodePictureReady | kDecodeParserStopped), kDecodePictureReady | kDecodeParserStopped);
  EXPECT_FALSE(flags & kDecodePictureSkipped);
  EXPECT_EQ(decoder->getTimecode(), 80);
  EXPECT_EQ(decoder->getFrameType(), 1u);
  drainAll();
  EXPECT_EQ(fake.attached.size(), 1u);
  EXPECT_EQ(fake.bytes, annexB({{9, 0x10}, kSps, kPps, {0x65, 1, 2, 3, 4, 5, 6}}));
}

TEST_F(VideoDecoderH264Test, DecodeFlagsMirrorTheLibraryState) {
  configure();
  uint32_t flags = 0;
  ASSERT_EQ(decoder->decode(flags), 0);
  EXPECT_EQ(flags, kDecodeInputEmpty) << "an empty queue reports only that";

  struct Case {
    uint32_t state, flags;
  } cases[] = {
      {0x1 | 0x100000 | 0x400000 | 0x200000, kDecodePictureReady | kDecodeParserStopped},
      {0x1 | 0x100000 | 0x400000, kDecodePictureReady | kDecodePictureSkipped | kDecodeParserStopped},
      {0x1 | 0x100000 | 0x400000 | 0x200000 | 0x1000000,
       kDecodePictureReady | kDecodeStateBit24 | kDecodeParserStopped},
      {0x1 | 0x100, kDecodeSequenceChanged | kDecodeParserStopped},
      {0x1 | 0x100000, kDecodeParserStopped},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.state);
    fake.states = {c.state};
    Bytes frame = lengthPrefixed({{0x41}});
    decoder->addFrame(frame.data(), 0, static_cast<uint32_t>(frame.size()), 0, 2);
    ASSERT_EQ(decoder->decode(flags), 0);
    EXPECT_EQ(flags & ~kDecodeInputEmpty, c.flags);
    drainAll();
  }
}

TEST_F(VideoDecoderH264Test, APictureWithoutUserDataKeepsThePreviousTimecode) {
  configure();
  const uint32_t picture = 0x1 | 0x100000 | 0x400000 | 0x200000;
  fake.states = {picture};
  Bytes frame = lengthPrefixed({{0x41}});
  decoder->addFrame(frame.data(), 0, static_cast<uint32_t>(frame.size()), 120, 2);
  drainAll();
  EXPECT_EQ(decoder->getTimecode(), 120);
  fake.returnUserData = false;
  fake.states = {picture};
  decoder->addFrame(frame.data(), 0, static_cast<uint32_t>(frame.size()), 160, 2);
  drainAll();
  EXPECT_EQ(decoder->getTimecode(), 120);
}

TEST_F(VideoDecoderH264Test, DisplaySizeWithoutAspectSwapsWidthAndHeight) {
  fake.states = {0, 0x101};
  fake.seq[0] = 1280;
  fake.seq[1] = 720;
  Bytes record = configRecord(kSps, kPps);
  ASSERT_EQ(decoder->decodeCodecConfig(record.data(), 0, static_cast<uint32_t>(record.size())), 0);
  EXPECT_EQ(decoder->getDisplayWidth(), 720u);
  EXPECT_EQ(decoder->getDisplayHeight(), 1280u);
  EXPECT_EQ(decoder->getFrameRate(), 0.0);
}

// At the end of the input the library hears of it only once it has every
// byte, and decode gives out what it held, one picture a call, before it
// reports its input empty; then input is refused.
TEST_F(VideoDecoderH264Test, EndOfStreamDrainsTheLibraryAfterItsLastByteThenRefusesInput) {
  configure();
  const uint32_t picture = 0x1 | 0x100000 | 0x400000 | 0x200000;
  fake.states = {picture};  // a picture comes out while the frame is still queued
  fake.statesAfterDone = {picture, 0x1 | 0x100, picture};
  Bytes frame = lengthPrefixed({{0x41, 1, 2, 3}});
  ASSERT_EQ(decoder->addFrame(frame.data(), 0, static_cast<uint32_t>(frame.size()), 120, 2), 0);
  ASSERT_EQ(decoder->endOfStream(), 0);
  const uint32_t shown = kDecodePictureReady | kDecodeParserStopped;
  const uint32_t expected[] = {shown, shown, kDecodeSequenceChanged | kDecodeParserStopped, shown,
                               kDecodeInputEmpty, kDecodeInputEmpty};
  for (size_t call = 0; call < std::size(expected); ++call) {
    SCOPED_TRACE(call);
    uint32_t flags = 0;
    ASSERT_EQ(decoder->decode(flags), 0);
    EXPECT_EQ(flags, expected[call]);
    EXPECT_EQ(fake.done, call > 0) << "the end follows the frame's last byte";
    EXPECT_EQ(decoder->isInputEmpty(), call >= 4);
  }
  EXPECT_EQ(fake.bytes, annexB({{9, 0x30}, kSps, kPps, {0x41, 1, 2, 3}}));
  EXPECT_EQ(decoder->endOfStream(), 0) << "a second end does nothing";

  std::vector<LogStatement> lines;
  log.getLogStatements(lines);
  EXPECT_EQ(decoder->addFrame(frame.data(), 0, static_cast<uint32_t>(frame.size()), 160, 2), -1);
  Bytes record = configRecord(kSps, kPps);
  EXPECT_EQ(decoder->decodeCodecConfig(record.data(), 0, static_cast<uint32_t>(record.size())), -1);
  lines.clear();
  log.getLogStatements(lines);
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0].statement, "VideoDecoderH264.addFrame[{context}]: refused: the stream has ended");
  EXPECT_EQ(lines[1].statement, "VideoDecoderH264.decodeCodecConfig[{context}]: refused: the stream has ended");
  for (const LogStatement& line : lines) {
    EXPECT_EQ(line.level, 3);
    EXPECT_EQ(line.contextType, 1);
  }
}

TEST_F(VideoDecoderH264Test, CloseEndsAndFreesTheStreamOnce) {
  const int before = RecordingDecoderStream::freed;
  EXPECT_EQ(decoder->close(), 0);
  EXPECT_EQ(decoder->close(), 0);
  EXPECT_TRUE(fake.done);
  EXPECT_EQ(RecordingDecoderStream::freed, before + 1);
  uint32_t flags = 0;
  Bytes frame = lengthPrefixed({{0x41}});
  decoder->addFrame(frame.data(), 0, static_cast<uint32_t>(frame.size()), 0, 2);
  EXPECT_EQ(decoder->decode(flags), 0);
  EXPECT_EQ(flags, kDecodeInputEmpty) << "a closed decoder drops its input";
}

}  // namespace
}  // namespace cvx
