#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "audio/decoders/AudioDecoderAAC.h"
#include "audio/samples/AudioSampleBuffer.h"
#include "audio/samples/AudioTimecode.h"
#include "logging/LogCollector.h"
#include "support/AudioFixtures.h"
#include "support/LogDrain.h"
#include "support/ScriptedDecoderStream.h"

namespace cvx {
namespace {

using test::drain;

// The class over a scripted library.
class ScriptedAAC : public AudioDecoderAAC {
 public:
  explicit ScriptedAAC(test::ScriptedDecoderStream* library) : library(library) {}
  ~ScriptedAAC() noexcept(false) override { close(); }

 protected:
  bufstream_tt* openLibrary() override { return library == nullptr ? nullptr : &library->stream; }

 private:
  test::ScriptedDecoderStream* library;
};

TEST(AacDecoderConfig, ReadsTypeRateIndexAndChannelConfigFromTwoBytes) {
  struct Case { uint8_t b0, b1; uint32_t type, index, config, rate, channels; } cases[] = {
      {0x12, 0x10, 2, 4, 2, 44100, 2},
      {0x11, 0x90, 2, 3, 2, 48000, 2},
      {0x17, 0x90, 2, 15, 2, 0, 2},   // the escape index reads no 24-bit rate
      {0x15, 0x88, 2, 11, 1, 8000, 1},
      {0x12, 0x38, 2, 4, 7, 44100, 8},
      {0x12, 0x48, 2, 4, 9, 44100, 2},  // configurations from 8 up count as stereo
      {0x0A, 0x08, 1, 4, 1, 44100, 1},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << std::hex << int{c.b0} << " " << int{c.b1});
    AudioDecoderAAC decoder;
    uint8_t config[3] = {0x55, c.b0, c.b1};
    ASSERT_EQ(decoder.decodeCodecConfig(config, 1, 2), 0);
    EXPECT_EQ(decoder.getObjectType(), c.type);
    EXPECT_EQ(decoder.getSampleRateIndex(), c.index);
    EXPECT_EQ(decoder.getChannelConfig(), c.config);
    EXPECT_EQ(decoder.getSampleRate(), c.rate);
    EXPECT_EQ(decoder.getChannels(), c.channels);
  }
  EXPECT_STREQ(AudioDecoderAAC::objectTypeName(2), "AAC LC");
  EXPECT_STREQ(AudioDecoderAAC::objectTypeName(16), "Algorithmic synthesis and audio FX");
}

TEST(AacDecoderConfig, WritesTheAdtsHeader) {
  struct Case { uint32_t type, index, config, length; uint8_t bytes[7]; } cases[] = {
      {2, 4, 2, 100, {0xFF, 0xF1, 0x50, 0x80, 0x0C, 0x9F, 0xFC}},
      {2, 3, 1, 8191, {0xFF, 0xF1, 0x4C, 0x43, 0xFF, 0xFF, 0xFC}},
      {0, 0, 0, 7, {0xFF, 0xF1, 0xC0, 0x00, 0x00, 0xFF, 0xFC}},  // no config: type bits 3
      {2, 4, 7, 300, {0xFF, 0xF1, 0x51, 0xC0, 0x25, 0x9F, 0xFC}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.length);
    uint8_t out[7];
    AudioDecoderAAC::writeAdtsHeader(out, c.type, c.index, c.config, true, c.length);
    EXPECT_EQ(std::vector<uint8_t>(out, out + 7), std::vector<uint8_t>(c.bytes, c.bytes + 7));
  }
}

class AacDecoderFlowTest : public ::testing::Test {
 protected:
  void SetUp() override {
    decoder->setLogger(&log);
    uint8_t config[2] = {0x12, 0x10};
    decoder->decodeCodecConfig(config, 0, 2);
    ASSERT_EQ(decoder->initialize(), 0);
    ASSERT_EQ(buffer.allocBuffer(1024, 2, 44100), 0);
    drain(log);
  }
  int feed(uint64_t ms, uint32_t bytes = 40) {
    std::vector<uint8_t> block(7 + bytes, 0x21);
    return decoder->decodeFrame(block.data(), 0, static_cast<uint32_t>(block.size()), ms, buffer);
  }

  LogCollector log;
  test::ScriptedDecoderStream library;
  std::unique_ptr<ScriptedAAC> decoder = std::make_unique<ScriptedAAC>(&library);
  AudioSampleBuffer buffer;
};

TEST_F(AacDecoderFlowTest, FeedsAdtsFramesAndStampsBlocksWithTheSampleClock) {
  library.answers = {{4096, audio_decoder_state::kInputUsed}};
  // Gapless within a millisecond; a jump either way starts the sample clock again.
  const uint64_t times[] = {0, 23, 46, 5000, 5023, 1000};
  const uint64_t expected[] = {0, 1024, 2048, 220500, 221524, 44100};
  for (int i = 0; i < 6; ++i) {
    SCOPED_TRACE(i);
    ASSERT_EQ(feed(times[i]), 0);
    EXPECT_EQ(buffer.getTimecode(), expected[i]);
    EXPECT_EQ(buffer.getSampleCount(), 1024u);
  }
  ASSERT_EQ(library.fed.size(), 6u);
  EXPECT_EQ(std::vector<uint8_t>(library.fed[0].begin(), library.fed[0].begin() + 7),
            (std::vector<uint8_t>{0xFF, 0xF1, 0x50, 0x80, 0x05, 0xFF, 0xFC}))
      << "an ADTS header for the 47-byte block";
  EXPECT_EQ(decoder->getOutputSampleRate(), 44100u);
  EXPECT_EQ(decoder->getOutputSize(), 4096u);
  EXPECT_EQ(decoder->getDecodedFrameCount(), 6u);
  EXPECT_EQ(decoder->getTimecodeQueueLength(), 0u);
  EXPECT_TRUE(drain(log).empty());
}

TEST_F(AacDecoderFlowTest, TimesWaitInTheQueueWhileTheLibraryHoldsFramesAndTheHighWaterIsReported) {
  library.answers = {{0, 0}};
  library.consumeLimit = 1000;
  for (uint64_t i = 0; i < 3; ++i) ASSERT_EQ(feed(i * 23), 0);
  EXPECT_EQ(decoder->getTimecodeQueueLength(), 3u);
  EXPECT_TRUE(drain(log).empty()) << "three waiting times are within the mark";
  ASSERT_EQ(feed(69), 0);
  std::vector<LogStatement> lines = drain(log);
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0].statement, "AudioDecoderAAC.decodeFrame[{context}]: Timecode queue: 4");
  EXPECT_EQ(lines[0].level, 3);
  EXPECT_EQ(lines[0].contextType, 3);
  ASSERT_EQ(feed(92), 0);
  EXPECT_EQ(drain(log).size(), 1u) << "each new record is told";

  // Now the library catches up: each block takes the oldest time.
  library.answers = {{4096, audio_decoder_state::kInputUsed}};
  library.fed.clear();
  ASSERT_EQ(feed(115), 0);
  EXPECT_EQ(buffer.getTimecode(), 0u) << "the first packet's time";
  EXPECT_EQ(decoder->getTimecodeQueueLength(), 5u);
  EXPECT_TRUE(drain(log).empty()) << "the queue stayed below its record";
}

TEST_F(AacDecoderFlowTest, AStreamThatNeverYieldsKeepsOnlyTheNewestTimes) {
  library.answers = {{0, 0}};
  library.consumeLimit = 1000;
  for (uint64_t i = 0; i < 1000; ++i) ASSERT_EQ(feed(i * 23), 0);
  EXPECT_EQ(decoder->getTimecodeQueueLength(), AudioDecoderAAC::kMaxQueuedTimecodes);
  library.answers = {{4096, audio_decoder_state::kInputUsed}};
  ASSERT_EQ(feed(23000), 0);
  EXPECT_EQ(buffer.getTimecode(),
            millisecondsToSamplePosition((1000 - AudioDecoderAAC::kMaxQueuedTimecodes + 1) * 23, 44100))
      << "the oldest time still queued";
}

TEST_F(AacDecoderFlowTest, RefusesUnitsThatDoNotFitAnAdtsFrame) {
  // Whole blocks as the decoder gets them: header room plus the unit.
  for (uint32_t size : {0u, 6u, 8192u, 100000u}) {
    SCOPED_TRACE(size);
    std::vector<uint8_t> block(size + 1, 0x21);
    library.fed.clear();
    EXPECT_EQ(decoder->decodeFirstFrame(block.data(), 0, size), -1);
    EXPECT_EQ(decoder->decodeFrame(block.data(), 0, size, 0, buffer), -1);
    EXPECT_TRUE(library.fed.empty());
    const std::vector<LogStatement> lines = drain(log);
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].level, 3);
    EXPECT_NE(lines[1].statement.find("does not fit an ADTS frame"), std::string::npos) << lines[1].statement;
  }
  library.answers = {{4096, audio_decoder_state::kInputUsed}};
  std::vector<uint8_t> largest(8191, 0x21);
  EXPECT_EQ(decoder->decodeFrame(largest.data(), 0, 8191, 0, buffer), 0);
  ASSERT_EQ(library.fed.size(), 1u);
  EXPECT_EQ(std::vector<uint8_t>(library.fed[0].begin() + 3, library.fed[0].begin() + 6),
            (std::vector<uint8_t>{0x83, 0xFF, 0xFF}))
      << "the header says 8191 bytes";
}

TEST_F(AacDecoderFlowTest, APacketThatGivesNoFrameWithdrawsItsTime) {
  library.answers = {{0, audio_decoder_state::kNoFrame}};
  ASSERT_EQ(feed(10), 0);
  EXPECT_EQ(decoder->getTimecodeQueueLength(), 0u);
  EXPECT_EQ(library.fed.size(), 1u) << "bit 1 ends the feeding at once";
  EXPECT_EQ(buffer.getSampleCount(), 1024u) << "the buffer is untouched";
  EXPECT_EQ(decoder->getDecodedFrameCount(), 0u);
}

TEST_F(AacDecoderFlowTest, AStreamWithoutAChannelCountDeliversNothing) {
  library.answers = {{4096, audio_decoder_state::kInputUsed, 44100, 0}};
  ASSERT_EQ(feed(0), 0);
  EXPECT_EQ(decoder->getDecodedFrameCount(), 0u);
  library.answers = {{4096, audio_decoder_state::kInputUsed, 0, 2}};
  ASSERT_EQ(feed(23), 0);
  EXPECT_EQ(decoder->getDecodedFrameCount(), 0u) << "nor one without a rate";
}

TEST_F(AacDecoderFlowTest, FirstFrameFeedsResetsAndStartsTheLibraryAgain) {
  std::vector<uint8_t> block(20, 0x21);
  library.infoCalls.clear();
  ASSERT_EQ(decoder->decodeFirstFrame(block.data(), 0, 20), 0);
  EXPECT_TRUE(decoder->isFirstFrameDecoded());
  EXPECT_EQ(library.infoCalls,
            (std::vector<uint32_t>{audio_decoder_info::kReset, audio_decoder_info::kInitialize}));
  library.consumeLimit = 0;
  ASSERT_EQ(decoder->decodeFirstFrame(block.data(), 0, 20), -1);
  library.consumeLimit = UINT32_MAX;
  library.initializeResult = 1;
  ASSERT_EQ(decoder->decodeFirstFrame(block.data(), 0, 20), -1);
  std::vector<LogStatement> lines = drain(log);
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0].statement, "AudioDecoderAAC.decodeFirstFrame[{context}]: Decode failed");
  EXPECT_EQ(lines[1].statement, "AudioDecoderAAC.decodeFirstFrame[{context}]: Initialize failed");
}

TEST_F(AacDecoderFlowTest, CloseEndsAndFreesTheLibraryOnce) {
  EXPECT_EQ(decoder->close(), 0);
  EXPECT_EQ(decoder->close(), 0);
  EXPECT_EQ(library.doneCalls, 1);
  EXPECT_EQ(library.freeCalls, 1);
  EXPECT_EQ(feed(0), -1) << "no library, no decoding";
  std::vector<uint8_t> block(20, 0);
  EXPECT_EQ(decoder->decodeFirstFrame(block.data(), 0, 20), -1);
  EXPECT_TRUE(drain(log).empty()) << "a missing handle is not reported";
}

TEST(AacDecoderOpen, ReportsALibraryThatWillNotOpenOrStart) {
  LogCollector log;
  ScriptedAAC missing(nullptr);
  missing.setLogger(&log);
  EXPECT_EQ(missing.initialize(), -1);
  test::ScriptedDecoderStream refusing;
  refusing.initializeResult = 7;
  ScriptedAAC refused(&refusing);
  refused.setLogger(&log);
  EXPECT_EQ(refused.initialize(), -1);
  std::vector<LogStatement> lines = drain(log);
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0].statement, "AudioDecoderAAC.initialize[{context}]: Error opening decoder");
  EXPECT_EQ(lines[1].statement, "AudioDecoderAAC.initialize[{context}]: Error initializing decoder");
}

}  // namespace
}  // namespace cvx
