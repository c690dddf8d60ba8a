// Every audio encoder behind IAudioEncoder, as the session drives it; ffmpeg decodes the output against an SNR floor.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "audio/decoders/AudioDecoderAAC.h"
#include "audio/encoders/AudioEncoderAAC.h"
#include "audio/encoders/AudioEncoderVorbis.h"
#include "audio/samples/AudioSampleBuffer.h"
#include "logging/LogCollector.h"
#include "support/AudioFixtures.h"
#include "support/LogDrain.h"
#include "support/MediaFixtures.h"

namespace cvx {
namespace {

using Frames = std::vector<AudioFrameEncoded>;
using test::Packet;

struct Aac {
  using Encoder = AudioEncoderAAC;
  static constexpr const char* kName = "AudioEncoderAAC";
  static constexpr const char* kFile = "roundtrip.aac";
  static constexpr double kSnrFloor = 28.0;
  static constexpr double kEndSlack = 2048.0;  // whole frames and the frame of delay
  // Raw units behind ADTS headers: AAC LC, 44100 Hz, stereo.
  static std::vector<uint8_t> container(const Frames&, const Frames& packets) {
    std::vector<uint8_t> out;
    for (const AudioFrameEncoded& p : packets) {
      uint8_t header[7];
      AudioDecoderAAC::writeAdtsHeader(header, 2, 4, 2, true, p.block.size() + 7);
      out.insert(out.end(), header, header + 7);
      out.insert(out.end(), p.block.data(), p.block.data() + p.block.size());
    }
    return out;
  }
};

struct Vorbis {
  using Encoder = AudioEncoderVorbis;
  static constexpr const char* kName = "AudioEncoderVorbis";
  static constexpr const char* kFile = "roundtrip.ogg";
  static constexpr double kSnrFloor = 32.0;
  static constexpr double kEndSlack = 0.0;  // the last packet stands at the last sample
  static std::vector<uint8_t> container(const Frames& headers, const Frames& packets) {
    std::vector<Packet> head, body;
    std::vector<uint64_t> positions;
    for (const AudioFrameEncoded& h : headers) head.emplace_back(h.block.data(), h.block.data() + h.block.size());
    for (const AudioFrameEncoded& p : packets) {
      body.emplace_back(p.block.data(), p.block.data() + p.block.size());
      positions.push_back(p.timecode);
    }
    return test::oggStream(head, body, positions);
  }
};

template <class Codec>
class AudioEncoderRoundTrip : public ::testing::Test {
 protected:
  static constexpr uint32_t kRate = 44100;
  static constexpr uint32_t kChannels = 2;
  static constexpr uint32_t kSamples = 2 * kRate;

  void SetUp() override {
    encoder->setLogger(&log);
    encoder->setChannels(kChannels);
    encoder->setSampleRate(kRate);
    encoder->setBitrate(128000);
    ASSERT_EQ(encoder->initialize(), 0);
  }

  LogCollector log;
  // Codec destructors may throw, so tests hold encoders through a pointer.
  std::unique_ptr<typename Codec::Encoder> encoder = std::make_unique<typename Codec::Encoder>();
};

using Encoders = ::testing::Types<Aac, Vorbis>;
TYPED_TEST_SUITE(AudioEncoderRoundTrip, Encoders);

TYPED_TEST(AudioEncoderRoundTrip, TheDecodedStreamMatchesTheInputAboveTheFloorThenTheEndRefusesBuffers) {
  const uint32_t channels = this->kChannels;
  const std::vector<int16_t> input = test::sweeps(channels, this->kRate, this->kSamples);
  AudioSampleBuffer buffer;
  ASSERT_EQ(buffer.allocBuffer(1152, channels, this->kRate), 0);
  Frames packets;
  for (uint32_t at = 0; at < this->kSamples; at += 1152) {
    const uint32_t count = std::min<uint32_t>(1152, this->kSamples - at);
    std::copy_n(input.begin() + static_cast<long>(at) * channels, count * channels,
                reinterpret_cast<int16_t*>(buffer.getBuffer()));
    buffer.setSampleCount(count);
    buffer.setTimecode(at);
    ASSERT_EQ(this->encoder->addSampleBuffer(buffer, packets), 0);
  }
  ASSERT_EQ(this->encoder->endOfStream(packets), 0);
  ASSERT_FALSE(packets.empty());
  for (size_t i = 1; i < packets.size(); ++i) ASSERT_GE(packets[i].timecode, packets[i - 1].timecode) << i;
  EXPECT_NEAR(static_cast<double>(packets.back().timecode), this->kSamples, TypeParam::kEndSlack);
  Frames headers;
  ASSERT_EQ(this->encoder->getHeaders(headers), 0);

  if (!test::haveFfmpeg()) GTEST_SKIP() << "ffmpeg is needed";
  const std::vector<int16_t> decoded = test::decodeAudioWithFfmpeg(TypeParam::container(headers, packets),
                                                                   TypeParam::kFile, channels, this->kRate);
  ASSERT_GE(decoded.size(), input.size() - 2048 * channels) << "every frame decodes";
  const double snr = test::alignedSnr(input, decoded, channels, 4096);
  EXPECT_GT(snr, TypeParam::kSnrFloor);
  ::testing::Test::RecordProperty("snr", std::to_string(snr));

  EXPECT_TRUE(test::drainTexts(this->log, 3).empty());
  Frames after;
  ASSERT_EQ(this->encoder->endOfStream(after), 0);
  EXPECT_TRUE(after.empty()) << "a second end does nothing";
  EXPECT_EQ(this->encoder->addSampleBuffer(buffer, after), -1);
  EXPECT_EQ(test::drainTexts(this->log, 3), std::vector<std::string>{std::string(TypeParam::kName) +
                                                      ".addSampleBuffer[{context}]: buffer refused: the stream has ended"});
}

}  // namespace
}  // namespace cvx
