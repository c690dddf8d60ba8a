#include "audio/encoders/AudioEncoderBufferStream.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <vector>

namespace cvx {
namespace {

class AudioEncoderBufferStreamTest : public ::testing::Test {
 protected:
  uint32_t write(uint32_t n, uint8_t value) {
    std::vector<uint8_t> bytes(n, value);
    return bs->copybytes(bs, bytes.data(), n);
  }
  std::vector<AudioFrameEncoded> take() {
    std::vector<AudioFrameEncoded> out;
    EXPECT_EQ(stream.getEncodedFrames(out), 0);
    return out;
  }

  AudioEncoderBufferStream stream;
  bufstream_tt* bs = stream.getStream();
};

TEST_F(AudioEncoderBufferStreamTest, PairsFramesWithQueuedPositionsFirstInFirstOut) {
  stream.setChannels(2);
  stream.setSampleRate(44100);
  stream.addTimecode(1024);
  stream.addTimecode(2048);
  ASSERT_EQ(write(10, 1), 10u);
  bs->auxinfo(bs, 0, 0xf0002, nullptr, 0);
  ASSERT_EQ(write(20, 2), 20u);
  bs->auxinfo(bs, 0, 0xf0002, nullptr, 0);
  ASSERT_EQ(write(5, 3), 5u);
  bs->auxinfo(bs, 0, 0xf0002, nullptr, 0);
  EXPECT_EQ(stream.getEncodedFrameCount(), 3u);
  std::vector<AudioFrameEncoded> frames = take();
  ASSERT_EQ(frames.size(), 3u);
  EXPECT_EQ(frames[0].timecode, 1024u);
  EXPECT_EQ(frames[0].block.size(), 10u);
  EXPECT_EQ(frames[1].timecode, 2048u);
  EXPECT_EQ(frames[1].block.data()[19], 2);
  EXPECT_EQ(frames[2].timecode, 0u) << "no queued position left";
  EXPECT_EQ(frames[2].channels, 2u);
  EXPECT_EQ(frames[2].sampleRate, 44100u);
  EXPECT_TRUE(take().empty());
}

TEST_F(AudioEncoderBufferStreamTest, OnlyTheEndOfFrameCodeClosesAndOnlyWithBytes) {
  stream.addTimecode(7);
  bs->auxinfo(bs, 0, 0xf0002, nullptr, 0);
  EXPECT_EQ(stream.getEncodedFrameCount(), 0u);
  EXPECT_EQ(stream.getPendingTimecodeCount(), 1u);
  ASSERT_EQ(write(4, 9), 4u);
  for (uint32_t code : {0u, 256u, 0xf0001u, 0xf000000u}) bs->auxinfo(bs, 0, code, nullptr, 0);
  EXPECT_EQ(stream.getEncodedFrameCount(), 0u);
  EXPECT_EQ(bs->usableBytes(bs), 4u);
}

TEST_F(AudioEncoderBufferStreamTest, HoldsAtMostEightKilobytesPerFrame) {
  EXPECT_EQ(write(8193, 1), 0u);
  EXPECT_EQ(stream.getBufferUsed(), 0u);
  EXPECT_EQ(write(8192, 1), 8192u);
  EXPECT_EQ(bs->request(bs, 1), nullptr);
  EXPECT_EQ(bs->freeRoom(bs), 0u);
  EXPECT_EQ(bs->self(bs), &stream);
  bs->auxinfo(bs, 0, 0xf0002, nullptr, 0);
  EXPECT_EQ(bs->freeRoom(bs), 8192u);

  uint8_t* room = bs->request(bs, 100);
  ASSERT_NE(room, nullptr);
  room[0] = 42;
  bs->confirm(bs, 100);
  bs->confirm(bs, 1u << 30);  // a confirmation past the room cannot move past the block
  EXPECT_EQ(stream.getBufferUsed(), 8192u);
  bs->auxinfo(bs, 0, 0xf0002, nullptr, 0);
  std::vector<AudioFrameEncoded> frames = take();
  ASSERT_EQ(frames.size(), 2u);
  EXPECT_EQ(frames[1].block.data()[0], 42);
}

TEST(AudioEncoderBufferStreamLifetime, FreesFramesNobodyTook) {
  // The leak checker of the sanitizer build watches this one.
  AudioEncoderBufferStream stream;
  bufstream_tt* bs = stream.getStream();
  uint8_t bytes[16] = {};
  bs->copybytes(bs, bytes, 16);
  bs->auxinfo(bs, 0, 0xf0002, nullptr, 0);
  EXPECT_EQ(stream.getEncodedFrameCount(), 1u);
}

}  // namespace
}  // namespace cvx
