#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "audio/decoders/AudioDecoderMP2.h"
#include "audio/decoders/AudioDecoderMP3.h"
#include "audio/samples/AudioSampleBuffer.h"
#include "logging/LogCollector.h"
#include "support/AudioFixtures.h"
#include "support/LogDrain.h"

namespace cvx {
namespace {

using test::drain;

TEST(Mp2FirstFrame, ReadsRateAndChannelsFromTheHeader) {
  struct Case { std::vector<uint8_t> bytes; int result; uint32_t rate, channels; const char* line; } cases[] = {
      {{0xFF, 0xFD, 0xA0, 0xC4}, 0, 44100, 1, "sampleRate:44100 channels:1"},
      {{0xFF, 0xF5, 0x00, 0x00}, 0, 22050, 2, "sampleRate:22050 channels:2"},
      {{0xFF, 0xE5, 0x04, 0x40}, 0, 12000, 2, "sampleRate:12000 channels:2"},
      {{0xFF, 0xFD, 0x0C, 0x80}, 0, 1, 2, "sampleRate:1 channels:2"},  // the reserved rate index, taken as it is
      {{0xFF, 0xED, 0xA0, 0xC4}, -1, 0, 0, "Bad MP2 Audio version: -1"},
      {{0xFF, 0xFD, 0xA0}, -1, 0, 0, "Not enough data to decode"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.line);
    LogCollector log;
    auto decoder = std::make_unique<AudioDecoderMP2>();
    decoder->setLogger(&log);
    ASSERT_EQ(decoder->initialize(), 0);
    std::vector<uint8_t> block = c.bytes;
    EXPECT_EQ(decoder->decodeFirstFrame(block.data(), 0, static_cast<uint32_t>(block.size())), c.result);
    EXPECT_EQ(decoder->isFirstFrameDecoded(), c.result == 0);
    EXPECT_EQ(decoder->getSampleRate(), c.rate);
    EXPECT_EQ(decoder->getChannels(), c.channels);
    std::vector<LogStatement> lines = drain(log);
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].statement, std::string("AudioDecoderMP2.decodeFirstFrame[{context}]: ") + c.line);
    EXPECT_EQ(lines[0].level, c.result == 0 ? 2 : 3);
  }
}

TEST(MpegAudioDecoders, WithoutInitializeTheyHaveNoDecoder) {
  LogCollector log;
  auto mp2 = std::make_unique<AudioDecoderMP2>();
  auto mp3 = std::make_unique<AudioDecoderMP3>();
  mp2->setLogger(&log);
  mp3->setLogger(&log);
  uint8_t block[8] = {0xFF, 0xFB, 0x90, 0x44};
  AudioSampleBuffer buffer;
  buffer.allocBuffer(1152, 2, 44100);
  EXPECT_EQ(mp2->decodeFirstFrame(block, 0, 8), -1);
  EXPECT_EQ(mp3->decodeFirstFrame(block, 0, 8), -1);
  EXPECT_EQ(mp2->decodeFrame(block, 0, 8, 0, buffer), -1);
  EXPECT_EQ(mp3->decodeFrame(block, 0, 8, 0, buffer), -1);
  std::vector<LogStatement> lines = drain(log);
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0].statement, "AudioDecoderMP2.decodeFirstFrame[{context}]: Decoder NULL");
  EXPECT_EQ(lines[1].statement, "AudioDecoderMP3.decodeFirstFrame[{context}]: Decoder NULL");
  uint8_t config[2] = {0x12, 0x10};
  EXPECT_EQ(mp3->decodeCodecConfig(config, 0, 2), 0);
  EXPECT_EQ(mp3->getSampleRateIndex(), 4u);
}

TEST(Mp3FirstFrame, APacketWithoutAFrameFails) {
  LogCollector log;
  auto decoder = std::make_unique<AudioDecoderMP3>();
  decoder->setLogger(&log);
  ASSERT_EQ(decoder->initialize(), 0);
  std::vector<uint8_t> junk(300, 0x37);
  EXPECT_EQ(decoder->decodeFirstFrame(junk.data(), 0, 300), -1);
  EXPECT_FALSE(decoder->isFirstFrameDecoded());
  std::vector<LogStatement> lines = drain(log);
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0].statement, "AudioDecoderMP3.decodeFirstFrame[{context}]: Decode failed");
}

TEST(Mp2Decoder, APacketOfTwoFramesGivesTwoBlocksWithTheCallsTime) {
  test::AudioFixture fixture;
  if (!test::makeAudioFixture(test::FixtureKind::Mp2, "sine-44100-two.mp2", "-c:a mp2 -b:a 128k -f mp2", 44100, 2, 0.5,
                              fixture)) {
    GTEST_SKIP() << "ffmpeg could not make the fixture";
  }
  ASSERT_GE(fixture.packets.size(), 2u);
  auto decoder = std::make_unique<AudioDecoderMP2>();
  ASSERT_EQ(decoder->initialize(), 0);
  std::vector<uint8_t> packet = fixture.packets[0];
  packet.insert(packet.end(), fixture.packets[1].begin(), fixture.packets[1].end());
  ASSERT_EQ(decoder->decodeFirstFrame(packet.data(), 0, static_cast<uint32_t>(packet.size())), 0);
  AudioSampleBuffer buffer;
  buffer.allocBuffer(1152, 2, 44100);
  ASSERT_EQ(decoder->decodeFrame(packet.data(), 0, static_cast<uint32_t>(packet.size()), 1000, buffer), 0);
  EXPECT_EQ(decoder->getDecodedFrameCount(), 2u);
  EXPECT_EQ(buffer.getSampleCount(), 1152u);
  // 1152 samples are 26 ms on: too far from the call's time, so the second
  // block re-anchors where the first one stood.
  EXPECT_EQ(buffer.getTimecode(), 44100u);
}

}  // namespace
}  // namespace cvx
