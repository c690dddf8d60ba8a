#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <vector>

#include "audio/decoders/AudioDecoderSpeex.h"
#include "audio/samples/AudioSampleBuffer.h"
#include "support/AudioFixtures.h"

namespace cvx {
namespace {

// Two frames of 320 samples in each packet.
bool makeTwoFramePackets(test::AudioFixture& fixture) {
  return test::makeAudioFixture(test::FixtureKind::Speex, "sine-16000-two.ogg",
                                "-c:a libspeex -frames_per_packet 2 -f ogg", 16000, 1, 1.0, fixture);
}

class SpeexDecoderTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(buffer.allocBuffer(2048, 1, 16000), 0);
    std::memset(buffer.getBuffer(), 0, buffer.getBufferSize());
  }
  int decode(std::vector<uint8_t> packet, uint64_t ms) {
    return decoder->decodeFrame(packet.data(), 0, static_cast<uint32_t>(packet.size()), ms, buffer);
  }
  std::unique_ptr<AudioDecoderSpeex> decoder = std::make_unique<AudioDecoderSpeex>();
  AudioSampleBuffer buffer;
};

TEST_F(SpeexDecoderTest, IsWidebandMonoWhateverTheFirstFrameHolds) {
  ASSERT_EQ(decoder->initialize(), 0);
  EXPECT_EQ(decoder->getFrameSize(), 320);
  EXPECT_EQ(decoder->decodeFirstFrame(nullptr, 0, 0), 0);
  EXPECT_TRUE(decoder->isFirstFrameDecoded());
  EXPECT_EQ(decoder->getSampleRate(), 16000u);
  EXPECT_EQ(decoder->getChannels(), 1u);
  decoder->resetDecodedFrameState();
  EXPECT_TRUE(decoder->isFirstFrameDecoded());
  EXPECT_EQ(decoder->getSampleRate(), 0u);
}

TEST_F(SpeexDecoderTest, APacketOfTwoFramesGivesOneBlockOf640) {
  test::AudioFixture fixture;
  if (!makeTwoFramePackets(fixture)) GTEST_SKIP() << "ffmpeg could not make the fixture";
  ASSERT_EQ(decoder->initialize(), 0);
  ASSERT_EQ(decoder->decodeFirstFrame(nullptr, 0, 0), 0);
  ASSERT_EQ(decode(fixture.packets[3], 120), 0);
  EXPECT_EQ(buffer.getSampleCount(), 640u);
  EXPECT_EQ(buffer.getTimecode(), 1920u);
  EXPECT_EQ(decoder->getDecodedFrameCount(), 1u);
  EXPECT_EQ(decoder->getOutputSize(), 1280u);
}

TEST_F(SpeexDecoderTest, APacketLargerThanTheBlockIsCutAtItsCapacity) {
  test::AudioFixture fixture;
  if (!makeTwoFramePackets(fixture)) GTEST_SKIP() << "ffmpeg could not make the fixture";
  ASSERT_EQ(decoder->initialize(), 0);
  ASSERT_EQ(decoder->decodeFirstFrame(nullptr, 0, 0), 0);
  AudioSampleBuffer small;
  ASSERT_EQ(small.allocBuffer(400, 1, 16000), 0);
  std::vector<uint8_t> packet = fixture.packets[3];
  ASSERT_EQ(decoder->decodeFrame(packet.data(), 0, static_cast<uint32_t>(packet.size()), 0, small), 0);
  EXPECT_EQ(small.getSampleCount(), 320u) << "the second frame had no room";
  AudioSampleBuffer tiny;
  ASSERT_EQ(tiny.allocBuffer(100, 1, 16000), 0);
  tiny.setSampleCount(7);
  ASSERT_EQ(decoder->decodeFrame(packet.data(), 0, static_cast<uint32_t>(packet.size()), 0, tiny), 0);
  EXPECT_EQ(tiny.getSampleCount(), 7u) << "not even one frame fits: nothing delivered";
}

TEST_F(SpeexDecoderTest, AFailedFirstFrameLeavesTheBufferAlone) {
  ASSERT_EQ(decoder->initialize(), 0);
  ASSERT_EQ(decoder->decodeFirstFrame(nullptr, 0, 0), 0);
  buffer.setSampleCount(77);
  buffer.setTimecode(99);
  // Mode 15 in the first bits: the end-of-stream terminator.
  EXPECT_EQ(decode({0x78, 0x00}, 500), 0);
  EXPECT_EQ(buffer.getSampleCount(), 77u);
  EXPECT_EQ(buffer.getTimecode(), 99u);
  EXPECT_EQ(decoder->getDecodedFrameCount(), 0u);
}

TEST_F(SpeexDecoderTest, DecodesOnlyAfterInitializeAndStillAfterClose) {
  test::AudioFixture fixture;
  if (!makeTwoFramePackets(fixture)) GTEST_SKIP() << "ffmpeg could not make the fixture";
  ASSERT_EQ(decoder->decodeFirstFrame(nullptr, 0, 0), 0);
  EXPECT_EQ(decode(fixture.packets[0], 0), 0);
  EXPECT_EQ(decoder->getDecodedFrameCount(), 0u) << "no library state before initialize";
  ASSERT_EQ(decoder->initialize(), 0);
  ASSERT_EQ(decoder->close(), 0);
  EXPECT_EQ(decode(fixture.packets[0], 0), 0);
  EXPECT_EQ(decoder->getDecodedFrameCount(), 1u);
  ASSERT_EQ(decoder->initialize(), 0) << "a second start replaces the state";
}

}  // namespace
}  // namespace cvx
