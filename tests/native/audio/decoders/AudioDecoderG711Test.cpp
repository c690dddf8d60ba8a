#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "audio/decoders/AudioDecoderALaw.h"
#include "audio/decoders/AudioDecoderMULaw.h"
#include "audio/samples/AudioSampleBuffer.h"
#include "logging/LogCollector.h"
#include "support/LogDrain.h"

namespace cvx {
namespace {

TEST(G711Expansion, MatchesTheLawsAtTheirLandmarks) {
  struct Case { uint8_t byte; int16_t value; };
  const Case alaw[] = {{0xD5, 8}, {0x55, -8}, {0xAA, 32256}, {0x2A, -32256}, {0x00, -5504}};
  const Case mulaw[] = {{0xFF, 0}, {0x7F, 0}, {0x00, -32124}, {0x80, 32124}};
  for (const Case& c : alaw) {
    SCOPED_TRACE(static_cast<int>(c.byte));
    EXPECT_EQ(AudioDecoderALaw::expand(c.byte), c.value);
  }
  for (const Case& c : mulaw) {
    SCOPED_TRACE(static_cast<int>(c.byte));
    EXPECT_EQ(AudioDecoderMULaw::expand(c.byte), c.value);
  }
}

TEST(G711Expansion, IsOddSymmetricAndMonotonicWithinEachSign) {
  for (int b = 0; b < 128; ++b) {
    SCOPED_TRACE(b);
    // Flipping the sign bit negates the value in both laws.
    EXPECT_EQ(AudioDecoderALaw::expand(static_cast<uint8_t>(b)), -AudioDecoderALaw::expand(static_cast<uint8_t>(b | 0x80)));
    EXPECT_EQ(AudioDecoderMULaw::expand(static_cast<uint8_t>(b)), -AudioDecoderMULaw::expand(static_cast<uint8_t>(b | 0x80)));
  }
  // Mu-law codes 0x80..0xFF run from the largest value down to zero.
  for (int b = 0x81; b <= 0xFF; ++b) {
    EXPECT_LT(AudioDecoderMULaw::expand(static_cast<uint8_t>(b)), AudioDecoderMULaw::expand(static_cast<uint8_t>(b - 1)));
  }
}

class G711DecoderTest : public ::testing::TestWithParam<int> {
 protected:
  void SetUp() override {
    if (GetParam() == 7) {
      decoder = std::make_unique<AudioDecoderALaw>();
    } else {
      decoder = std::make_unique<AudioDecoderMULaw>();
    }
    decoder->setLogger(&log);
    ASSERT_EQ(decoder->initialize(), 0);
  }
  int16_t expand(uint8_t b) {
    return GetParam() == 7 ? AudioDecoderALaw::expand(b) : AudioDecoderMULaw::expand(b);
  }
  std::vector<LogStatement> drain() {
    return test::drain(log);
  }

  LogCollector log;
  std::unique_ptr<AudioDecoderG711> decoder;
};

TEST_P(G711DecoderTest, ReadsTheDescriptionPacket) {
  uint8_t shortPacket[8] = {0, 0, 0, 0x1F, 0x40, 0, 0, 0};
  EXPECT_EQ(decoder->decodeFirstFrame(shortPacket, 0, 8), 0);
  EXPECT_FALSE(decoder->isFirstFrameDecoded());
  uint8_t description[9] = {0x99, 0x00, 0x00, 0x1F, 0x40, 0x00, 0x00, 0x00, 0x01};
  EXPECT_EQ(decoder->decodeFirstFrame(description, 3, 9), 0) << "the offset plays no part";
  EXPECT_TRUE(decoder->isFirstFrameDecoded());
  EXPECT_EQ(decoder->getSampleRate(), 8000u);
  EXPECT_EQ(decoder->getChannels(), 1u);
}

TEST_P(G711DecoderTest, DecodesEveryByteAndStampsASamplePosition) {
  uint8_t description[9] = {0, 0, 0, 0x1F, 0x40, 0, 0, 0, 1};
  ASSERT_EQ(decoder->decodeFirstFrame(description, 0, 9), 0);
  AudioSampleBuffer buffer;
  ASSERT_EQ(buffer.allocBuffer(256, 1, 8000), 0);
  std::vector<uint8_t> packet(2 + 256);
  for (int i = 0; i < 256; ++i) packet[2 + i] = static_cast<uint8_t>(i);
  ASSERT_EQ(decoder->decodeFrame(packet.data(), 2, 256, 1000, buffer), 0);
  EXPECT_EQ(buffer.getSampleCount(), 256u);
  EXPECT_EQ(buffer.getTimecode(), 8000u);
  const auto* out = reinterpret_cast<const int16_t*>(buffer.getBuffer());
  for (int i = 0; i < 256; ++i) ASSERT_EQ(out[i], expand(static_cast<uint8_t>(i))) << i;

  buffer.setTimecode(5);
  EXPECT_EQ(decoder->decodeFrame(packet.data(), 0, 0, 2000, buffer), 0);
  EXPECT_EQ(buffer.getTimecode(), 5u) << "an empty packet changes nothing";
  EXPECT_EQ(decoder->getDecodedFrameCount(), 1u);
}

TEST_P(G711DecoderTest, CutsAPacketThatDoesNotFitAtTheBlocksCapacity) {
  uint8_t description[9] = {0, 0, 0, 0x1F, 0x40, 0, 0, 0, 1};
  ASSERT_EQ(decoder->decodeFirstFrame(description, 0, 9), 0);
  AudioSampleBuffer buffer;
  ASSERT_EQ(buffer.allocBuffer(160, 1, 8000), 0);
  std::vector<uint8_t> packet(400, 0x55);
  ASSERT_EQ(decoder->decodeFrame(packet.data(), 0, 400, 0, buffer), 0);
  EXPECT_EQ(buffer.getSampleCount(), 160u);
}

TEST_P(G711DecoderTest, RefusesFramesWhileNoRateIsKnown) {
  AudioSampleBuffer buffer;
  ASSERT_EQ(buffer.allocBuffer(160, 1, 8000), 0);
  uint8_t packet[160] = {};
  drain();
  EXPECT_EQ(decoder->decodeFrame(packet, 0, 160, 20, buffer), -1);
  uint8_t good[9] = {0, 0, 0, 0x1F, 0x40, 0, 0, 0, 1};
  ASSERT_EQ(decoder->decodeFirstFrame(good, 0, 9), 0);
  decoder->resetDecodedFrameState();
  EXPECT_TRUE(decoder->isFirstFrameDecoded());
  EXPECT_EQ(decoder->decodeFrame(packet, 0, 160, 20, buffer), -1) << "a reset forgets the rate";
  std::vector<LogStatement> log = drain();
  ASSERT_EQ(log.size(), 2u);
  for (const LogStatement& s : log) {
    EXPECT_EQ(s.level, 3);
    EXPECT_EQ(s.contextType, 3);
  }
  EXPECT_EQ(decoder->getDecodedFrameCount(), 0u);
}

TEST_P(G711DecoderTest, TakesOnlyDescriptionsWithinTheLimits) {
  struct Case { uint32_t rate, channels; bool taken; };
  const Case cases[] = {{0, 1, false},           {384001, 2, false}, {8000, 0, false}, {8000, 9, false},
                        {0xFFFFFFFFu, 0xFFFFFFFFu, false}, {1, 1, true}, {384000, 8, true}};
  for (const Case& c : cases) {
    SCOPED_TRACE(std::to_string(c.rate) + " Hz, " + std::to_string(c.channels) + " channels");
    SetUp();
    drain();
    const uint8_t description[9] = {0,
                                    static_cast<uint8_t>(c.rate >> 24), static_cast<uint8_t>(c.rate >> 16),
                                    static_cast<uint8_t>(c.rate >> 8), static_cast<uint8_t>(c.rate),
                                    static_cast<uint8_t>(c.channels >> 24), static_cast<uint8_t>(c.channels >> 16),
                                    static_cast<uint8_t>(c.channels >> 8), static_cast<uint8_t>(c.channels)};
    EXPECT_EQ(decoder->decodeFirstFrame(const_cast<uint8_t*>(description), 0, 9), c.taken ? 0 : -1);
    EXPECT_EQ(decoder->isFirstFrameDecoded(), c.taken);
    EXPECT_EQ(decoder->getSampleRate(), c.taken ? c.rate : 0u);
    EXPECT_EQ(decoder->getChannels(), c.taken ? c.channels : 0u);
    const std::vector<LogStatement> log = drain();
    ASSERT_EQ(log.size(), c.taken ? 0u : 1u);
    if (!c.taken) {
      EXPECT_EQ(log[0].level, 3);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(BothLaws, G711DecoderTest, ::testing::Values(7, 8));

}  // namespace
}  // namespace cvx
