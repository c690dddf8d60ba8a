#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "audio/decoders/AudioDecoderAAC.h"
#include "audio/encoders/AudioEncoderAAC.h"
#include "audio/samples/AudioSampleBuffer.h"
#include "logging/LogCollector.h"
#include "support/AudioFixtures.h"
#include "support/LogDrain.h"

namespace cvx {
namespace {

std::unique_ptr<AudioEncoderAAC> makeEncoder(LogCollector& log, uint32_t channels, uint32_t rate, uint32_t bitrate) {
  auto encoder = std::make_unique<AudioEncoderAAC>();
  encoder->setLogger(&log);
  encoder->setContextId(2);
  encoder->setChannels(channels);
  encoder->setSampleRate(rate);
  encoder->setBitrate(bitrate);
  return encoder;
}

TEST(AacEncoderSetup, LimitsTheBitRateToTheRateAndPicksTheTableEntryBelow) {
  struct Case {
    uint32_t bitrate, channels, rate, index, adjustedTo;  // 0: no adjustment
  } cases[] = {
      {128000, 2, 8000, 17, 96000},
      {128000, 2, 44100, 19, 0},
      {5000, 1, 44100, 0, 0},
      {64999, 1, 48000, 15, 0},
      {2000000, 2, 96000, 28, 1152000},
      {100000, 1, 16000, 17, 96000},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << c.bitrate << " at " << c.rate << " x" << c.channels);
    LogCollector log;
    auto encoder = makeEncoder(log, c.channels, c.rate, c.bitrate);
    ASSERT_EQ(encoder->initialize(), 0);
    EXPECT_EQ(encoder->getBitrateIndex(), c.index);
    std::vector<LogStatement> lines = test::drain(log);
    const uint32_t finalRate = c.adjustedTo != 0 ? c.adjustedTo : c.bitrate;
    EXPECT_EQ(encoder->getBitrate(), finalRate);
    size_t at = 0;
    if (c.adjustedTo != 0) {
      ASSERT_EQ(lines.size(), 2u);
      EXPECT_EQ(lines[0].statement,
                "AudioEncoderAAC.initialize[{context}]: Bitrate is too high for sample rate. Bitrate adjust from " +
                    std::to_string(c.bitrate) + " to " + std::to_string(c.adjustedTo));
      EXPECT_EQ(lines[0].level, 3);
      at = 1;
    }
    ASSERT_EQ(lines.size(), at + 1);
    EXPECT_EQ(lines[at].statement, "AudioEncoderAAC.initialize[{context}]: channels:" + std::to_string(c.channels) +
                                       " sampleRate:" + std::to_string(c.rate) + " bitRate:" + std::to_string(finalRate));
    EXPECT_EQ(lines[at].contextType, 4);
    EXPECT_EQ(lines[at].contextIndex, 2);
  }
}

TEST(AacEncoderSetup, RefusedSettingsAndMissingStartFailSoftly) {
  LogCollector log;
  auto oddRate = makeEncoder(log, 2, 44000, 128000);
  EXPECT_EQ(oddRate->initialize(), -2);
  auto noChannels = makeEncoder(log, 0, 44100, 128000);
  EXPECT_EQ(noChannels->initialize(), -2);
  std::vector<LogStatement> lines = test::drain(log);
  ASSERT_FALSE(lines.empty());
  EXPECT_EQ(lines.back().statement, "AudioEncoderAAC.initialize[{context}]: Error aacOutAudioChkSettings");
  AudioSampleBuffer buffer;
  buffer.allocBuffer(1024, 2, 44100);
  std::vector<AudioFrameEncoded> out;
  EXPECT_EQ(oddRate->addSampleBuffer(buffer, out), -1);
  EXPECT_EQ(makeEncoder(log, 2, 44100, 128000)->addSampleBuffer(buffer, out), -1) << "never started";
  EXPECT_TRUE(out.empty());
  EXPECT_EQ(oddRate->getHeaders(out), 0);
  EXPECT_TRUE(out.empty());
  EXPECT_EQ(oddRate->close(), 0);
  EXPECT_EQ(oddRate->close(), 0);
}

TEST(AacEncoderMessages, ResolvesTheFourNamesAndPrintsThem) {
  for (const char* name : {"err_printf", "wrn_printf", "inf_printf", "prg_printf"}) {
    EXPECT_NE(AudioEncoderAAC::resolveMessageCallback(name), nullptr) << name;
  }
  EXPECT_EQ(AudioEncoderAAC::resolveMessageCallback("err_printf2"), nullptr);
  EXPECT_EQ(AudioEncoderAAC::resolveMessageCallback("ERR_PRINTF"), nullptr);
  EXPECT_EQ(AudioEncoderAAC::resolveMessageCallback(nullptr), nullptr);
  using Message = void (*)(const char*, ...);
  using Progress = void (*)(int32_t, const char*, ...);
  ::testing::internal::CaptureStdout();
  reinterpret_cast<Message>(AudioEncoderAAC::resolveMessageCallback("wrn_printf"))("rate %d", 44100);
  reinterpret_cast<Progress>(AudioEncoderAAC::resolveMessageCallback("prg_printf"))(5, "pass %s", "one");
  std::fflush(stdout);
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "rate 44100\n 5 - pass one\n");
}

class AacEncoderFramingTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(encoder->initialize(), 0); }
  // Feeds `count` samples at position `at` in a block of exactly that size.
  void feed(uint32_t count, uint64_t at) {
    AudioSampleBuffer buffer;
    ASSERT_EQ(buffer.allocBuffer(count, 2, 44100), 0);
    buffer.setTimecode(at);
    test::fillSine(buffer, 2, at, 44100);
    std::vector<AudioFrameEncoded> out;
    ASSERT_EQ(encoder->addSampleBuffer(buffer, out), 0);
    moveFrames(out, frames);
  }

  LogCollector log;
  std::unique_ptr<AudioEncoderAAC> encoder = makeEncoder(log, 2, 44100, 128000);
  std::vector<AudioFrameEncoded> frames;
};

TEST_F(AacEncoderFramingTest, CutsBuffersOf1152IntoFramesOf1024AtTheirSamplePositions) {
  const uint64_t p = 90000;
  const uint32_t left[] = {128, 256, 384, 512, 640, 768, 896, 0};
  for (uint64_t i = 0; i < 8; ++i) {
    SCOPED_TRACE(i);
    feed(1152, p + i * 1152);
    EXPECT_EQ(encoder->getQueuedSamples(), left[i]);
  }
  // Eight buffers make nine frames; the encoder's one frame of lookahead
  // keeps the last back.
  ASSERT_EQ(frames.size(), 8u);
  for (size_t k = 0; k < frames.size(); ++k) {
    SCOPED_TRACE(k);
    EXPECT_EQ(frames[k].timecode, p + 1024 * k);
    EXPECT_EQ(frames[k].channels, 2u);
    EXPECT_EQ(frames[k].sampleRate, 44100u);
    EXPECT_GT(frames[k].block.size(), 0u);
    EXPECT_NE(frames[k].block.data()[0], 0xFF) << "a raw unit, no ADTS header";
  }
}

TEST_F(AacEncoderFramingTest, TakesTheQueueWhileSamplesWaitAndTheFastPathOtherwise) {
  feed(1152, 0);
  EXPECT_EQ(encoder->getQueuedSamples(), 128u);
  feed(1024, 1152);
  EXPECT_EQ(encoder->getQueuedSamples(), 128u) << "a frame was cut across the two buffers";
  feed(896, 2176);
  EXPECT_EQ(encoder->getQueuedSamples(), 0u);
  feed(1024, 3072);
  feed(1024, 4096);
  EXPECT_EQ(encoder->getQueuedSamples(), 0u);
  ASSERT_EQ(frames.size(), 4u);
  const uint64_t expected[] = {0, 1024, 2048, 3072};
  for (size_t k = 0; k < 4; ++k) EXPECT_EQ(frames[k].timecode, expected[k]) << k;
}

TEST_F(AacEncoderFramingTest, NeverReadsPastABlockThatClaimsMoreSamplesThanItHolds) {
  AudioSampleBuffer small;
  ASSERT_EQ(small.allocBuffer(512, 2, 44100), 0);
  std::memset(small.getBuffer(), 0, small.getBufferSize());
  small.setSampleCount(1024);  // the fast path, but the block holds 512
  std::vector<AudioFrameEncoded> out;
  EXPECT_EQ(encoder->addSampleBuffer(small, out), 0);
  small.setSampleCount(5000);  // the queue path
  EXPECT_EQ(encoder->addSampleBuffer(small, out), 0);
  EXPECT_EQ(encoder->getQueuedSamples(), 512u);
  AudioSampleBuffer empty;
  EXPECT_EQ(encoder->addSampleBuffer(empty, out), -1) << "no block, no samples";
}

TEST_F(AacEncoderFramingTest, QueuedCopiesKeepOnlyTheSamplesTheyWillGive) {
  AudioSampleBuffer large;
  ASSERT_EQ(large.allocBuffer(65536, 2, 44100), 0);
  std::memset(large.getBuffer(), 0, large.getBufferSize());
  std::vector<AudioFrameEncoded> out;
  for (uint32_t i = 0; i < 100; ++i) {
    large.setSampleCount(1);
    large.setTimecode(i);
    ASSERT_EQ(encoder->addSampleBuffer(large, out), 0);
  }
  EXPECT_EQ(encoder->getQueuedSamples(), 100u);
  EXPECT_EQ(encoder->getQueuedBytes(), 100u * 4u) << "not a 256 KiB block each";
}

TEST_F(AacEncoderFramingTest, ASecondStartDropsSamplesQueuedInTheFormerLayout) {
  feed(100, 0);  // stereo samples wait for a frame
  ASSERT_EQ(encoder->getQueuedSamples(), 100u);
  encoder->setChannels(6);  // each queued sample is now a third of a frame
  ASSERT_EQ(encoder->initialize(), 0);
  EXPECT_EQ(encoder->getQueuedSamples(), 0u);
  AudioSampleBuffer buffer;
  ASSERT_EQ(buffer.allocBuffer(1000, 6, 44100), 0);
  std::memset(buffer.getBuffer(), 0, buffer.getBufferSize());
  std::vector<AudioFrameEncoded> out;
  EXPECT_EQ(encoder->addSampleBuffer(buffer, out), 0);
  EXPECT_EQ(encoder->getQueuedSamples(), 1000u) << "a frame read 100 samples of the former layout";
}

}  // namespace
}  // namespace cvx
