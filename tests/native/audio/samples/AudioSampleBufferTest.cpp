#include "audio/samples/AudioSampleBuffer.h"

#include <gtest/gtest.h>

#include <cstring>

#include "audio/samples/AudioTimecode.h"
#include "support/FakeCodecs.h"

namespace cvx {
namespace {

TEST(AudioSampleBuffer, CopiesAreDeep) {
  auto source = std::make_unique<AudioSampleBuffer>();
  ASSERT_EQ(source->allocBuffer(4, 2, 8000), 0);
  std::memset(source->getBuffer(), 0x5A, source->getBufferSize());
  source->setTimecode(777);
  source->setSampleCount(3);
  source->addSamplesRead(2);
  AudioSampleBuffer copy(*source);
  EXPECT_NE(copy.getBuffer(), source->getBuffer());
  source.reset();
  EXPECT_EQ(copy.getTimecode(), 777u);
  EXPECT_EQ(copy.getSamplesRead(), 2u);
  EXPECT_EQ(copy.getSampleCount(), 3u);
  ASSERT_EQ(copy.getBufferSize(), 16u);
  for (uint32_t i = 0; i < 16; ++i) EXPECT_EQ(copy.getBuffer()[i], 0x5A);

  AudioSampleBuffer empty;
  AudioSampleBuffer emptyCopy(empty);
  EXPECT_EQ(emptyCopy.getBuffer(), nullptr);
}

TEST(AudioTimecode, ConvertsBothWaysWithTruncation) {
  struct Case {
    uint32_t rate;
    uint64_t ms, position;
  } cases[] = {{44100, 1000, 44100}, {8000, 1, 8}, {44100, 23, 1014}, {48000, 0, 0}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.rate);
    EXPECT_EQ(millisecondsToSamplePosition(c.ms, c.rate), c.position);
  }
  EXPECT_EQ(samplePositionToMilliseconds(44100, 44100), 1000u);
  EXPECT_EQ(samplePositionToMilliseconds(1024, 44100), 23u);
  EXPECT_EQ(samplePositionToMilliseconds(5, 0), 0u) << "no rate, no division";
}

TEST(AudioFrameAccounting, WithoutARateDeliversNothing) {
  testing::FakeAudioDecoder decoder;
  AudioSampleBuffer buffer;
  ASSERT_EQ(buffer.allocBuffer(160, 1, 8000), 0);
  buffer.setTimecode(42);
  EXPECT_FALSE(decoder.account(160, 1000, buffer));
  EXPECT_EQ(buffer.getTimecode(), 42u);
  EXPECT_EQ(decoder.getDecodedFrameCount(), 0u);
}

}  // namespace
}  // namespace cvx
