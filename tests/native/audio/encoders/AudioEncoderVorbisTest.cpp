#include "audio/encoders/AudioEncoderVorbis.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "audio/samples/AudioSampleBuffer.h"
#include "logging/LogCollector.h"
#include "support/AudioFixtures.h"
#include "support/LogDrain.h"

namespace cvx {
namespace {

class AudioEncoderVorbisTest : public ::testing::TestWithParam<uint32_t> {
 protected:
  void SetUp() override {
    encoder.setLogger(&log);
    encoder.setContextId(3);
    encoder.setChannels(GetParam());
    encoder.setSampleRate(44100);
    encoder.setBitrate(GetParam() == 2 ? 128000 : 64000);
    ASSERT_EQ(encoder.initialize(), 0);
  }
  LogCollector log;
  // Codec destructors may throw, so fixtures hold them through a pointer.
  std::unique_ptr<AudioEncoderVorbis> owned = std::make_unique<AudioEncoderVorbis>();
  AudioEncoderVorbis& encoder = *owned;
};

TEST_P(AudioEncoderVorbisTest, MakesThreeHeadersAndHandsOutCopies) {
  std::vector<AudioFrameEncoded> first, second;
  ASSERT_EQ(encoder.getHeaders(first), 0);
  ASSERT_EQ(encoder.getHeaders(second), 0);
  ASSERT_EQ(first.size(), 3u);
  for (size_t i = 0; i < first.size(); ++i) {
    ASSERT_EQ(second[i].block.size(), first[i].block.size());
    EXPECT_EQ(std::memcmp(first[i].block.data(), second[i].block.data(), first[i].block.size()), 0)
        << "the same headers each time";
  }
  EXPECT_EQ(first[0].block.size(), 30u);
  EXPECT_EQ(std::memcmp(first[0].block.data(), "\x01vorbis", 7), 0);
  EXPECT_EQ(first[1].block.data()[0], 3);
  EXPECT_EQ(first[2].block.data()[0], 5);
  const std::string comment(reinterpret_cast<const char*>(first[1].block.data()), first[1].block.size());
  EXPECT_NE(comment.find("ENCODER=Corvane Vorbis Encode"), std::string::npos);
  for (const AudioFrameEncoded& h : first) {
    EXPECT_EQ(h.timecode, 0u);
    EXPECT_EQ(h.channels, GetParam());
    EXPECT_EQ(h.sampleRate, 44100u);
  }
  std::vector<LogStatement> lines = test::drain(log);
  ASSERT_FALSE(lines.empty());
  EXPECT_EQ(lines[0].statement, "AudioEncoderVorbis.initialize[{context}]: channels:" + std::to_string(GetParam()) +
                                    " sampleRate:44100");
  EXPECT_EQ(lines[0].contextType, 4);
  EXPECT_EQ(lines[0].contextIndex, 3);
}

INSTANTIATE_TEST_SUITE_P(MonoAndStereo, AudioEncoderVorbisTest, ::testing::Values(1u, 2u));

TEST(AudioEncoderVorbisSetup, ARefusedConfigurationFailsWithoutTouchingTheLibraryState) {
  LogCollector log;
  AudioEncoderVorbis encoder;
  encoder.setLogger(&log);
  encoder.setChannels(2);
  encoder.setSampleRate(0);
  encoder.setBitrate(128000);
  EXPECT_EQ(encoder.initialize(), -1);
  std::vector<LogStatement> lines = test::drain(log);
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[1].level, 3);
  AudioSampleBuffer buffer;
  ASSERT_EQ(buffer.allocBuffer(1024, 2, 44100), 0);
  std::vector<AudioFrameEncoded> out;
  EXPECT_EQ(encoder.addSampleBuffer(buffer, out), -1);
  EXPECT_TRUE(out.empty());
  std::vector<AudioFrameEncoded> headers;
  EXPECT_EQ(encoder.getHeaders(headers), 0);
  EXPECT_TRUE(headers.empty());
}

int startStereo(AudioEncoderVorbis& encoder) {
  encoder.setChannels(2);
  encoder.setSampleRate(44100);
  encoder.setBitrate(128000);
  return encoder.initialize();
}

TEST(AudioEncoderVorbisSetup, ASecondInitializeStartsANewStreamAndLeaksNothing) {
  AudioEncoderVorbis encoder;
  ASSERT_EQ(startStereo(encoder), 0);
  AudioSampleBuffer buffer;
  ASSERT_EQ(buffer.allocBuffer(1024, 2, 44100), 0);
  std::vector<AudioFrameEncoded> out;
  for (int i = 0; i < 3; ++i) ASSERT_EQ(encoder.addSampleBuffer(buffer, out), 0);
  ASSERT_GT(encoder.getHolderCount(), 0u);
  ASSERT_EQ(startStereo(encoder), 0);  // the sanitizer build sees the first set-up's memory go
  EXPECT_EQ(encoder.getHolderCount(), 0u);
  std::vector<AudioFrameEncoded> headers;
  ASSERT_EQ(encoder.getHeaders(headers), 0);
  EXPECT_EQ(headers.size(), 3u) << "one stream's headers, not two";
}

TEST(AudioEncoderVorbisSetup, TakesNoMoreSamplesThanTheBlockHolds) {
  AudioEncoderVorbis encoder;
  ASSERT_EQ(startStereo(encoder), 0);
  AudioSampleBuffer buffer;
  ASSERT_EQ(buffer.allocBuffer(256, 2, 44100), 0);
  std::memset(buffer.getBuffer(), 0, buffer.getBufferSize());
  buffer.setSampleCount(100000);  // claims far more than its block holds
  std::vector<AudioFrameEncoded> out;
  for (int i = 0; i < 50; ++i) ASSERT_EQ(encoder.addSampleBuffer(buffer, out), 0);
}

TEST(AudioEncoderVorbisSetup, AnEmptyBufferDoesNotEndTheStream) {
  AudioEncoderVorbis encoder;
  ASSERT_EQ(startStereo(encoder), 0);
  AudioSampleBuffer buffer;
  ASSERT_EQ(buffer.allocBuffer(1024, 2, 44100), 0);
  std::vector<AudioFrameEncoded> out;
  buffer.setSampleCount(0);  // the library reads a count of 0 as the end of the stream
  ASSERT_EQ(encoder.addSampleBuffer(buffer, out), 0);
  for (uint64_t i = 0; i < 50; ++i) {
    buffer.setSampleCount(1024);
    buffer.setTimecode(i * 1024);
    test::fillSine(buffer, 2, i * 1024, 44100);
    ASSERT_EQ(encoder.addSampleBuffer(buffer, out), 0);
  }
  EXPECT_GT(out.size(), 40u);
}

}  // namespace
}  // namespace cvx
