// Every audio decoder behind IAudioDecoder on an ffmpeg clip, driven as the session drives it.
#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <string>
#include <vector>

#include "audio/decoders/AudioDecoderAAC.h"
#include "audio/decoders/AudioDecoderMP2.h"
#include "audio/decoders/AudioDecoderMP3.h"
#include "audio/decoders/AudioDecoderSpeex.h"
#include "audio/samples/AudioSampleBuffer.h"
#include "support/AudioFixtures.h"

namespace cvx {
namespace {

struct DecoderCase {
  const char* name;
  test::FixtureKind kind;
  const char* file;
  const char* args;
  uint32_t rate, channels, frameSamples;
  bool sameAsFfmpeg = true;
};

void PrintTo(const DecoderCase& c, std::ostream* os) { *os << c.name; }

std::unique_ptr<IAudioDecoder> makeDecoder(test::FixtureKind kind) {
  switch (kind) {
    case test::FixtureKind::Aac: return std::make_unique<AudioDecoderAAC>();
    case test::FixtureKind::Mp3: return std::make_unique<AudioDecoderMP3>();
    case test::FixtureKind::Mp2: return std::make_unique<AudioDecoderMP2>();
    case test::FixtureKind::Speex: return std::make_unique<AudioDecoderSpeex>();
  }
  return nullptr;
}

class AudioDecoderClip : public ::testing::TestWithParam<DecoderCase> {
 protected:
  void SetUp() override {
    const DecoderCase& c = GetParam();
    if (!test::makeAudioFixture(c.kind, c.file, c.args, c.rate, c.channels, 2.0, fixture)) {
      GTEST_SKIP() << "ffmpeg could not make the fixture";
    }
    ASSERT_EQ(decoder->initialize(), 0);
    if (!fixture.config.empty()) {
      ASSERT_EQ(decoder->decodeCodecConfig(fixture.config.data(), 0, 2), 0);
    }
  }
  test::AudioFixture fixture;
  std::unique_ptr<IAudioDecoder> decoder = makeDecoder(GetParam().kind);
};

// One block per packet at its sample position, and the samples of ffmpeg's
// own decode of the same file.
TEST_P(AudioDecoderClip, EveryPacketGivesItsBlockAtItsSamplePositionAsFfmpegDecodesIt) {
  const DecoderCase& c = GetParam();
  ASSERT_EQ(fixture.frameSamples, c.frameSamples);
  const test::DecodeRun run = test::decodeAll(*decoder, fixture, 2048);
  EXPECT_EQ(run.failures, 0);
  EXPECT_EQ(decoder->getSampleRate(), c.rate);
  EXPECT_EQ(decoder->getChannels(), c.channels);
  ASSERT_EQ(run.counts.size(), fixture.packets.size());
  for (size_t i = 0; i < run.counts.size(); ++i) {
    ASSERT_EQ(run.counts[i], c.frameSamples) << i;
    ASSERT_EQ(run.positions[i], i * c.frameSamples) << i;
  }
  const std::vector<int16_t> reference = test::decodeAudioWithFfmpeg({}, c.file, c.channels, c.rate);
  ASSERT_FALSE(reference.empty());
  // The same library behind both: the same samples. ffmpeg's Speex decoding
  // differs from the library's, so there only the tone is compared.
  if (c.sameAsFfmpeg) {
    EXPECT_GT(test::snrAtLag(reference, run.pcm, c.channels, 0), 90.0);
  }
  EXPECT_NEAR(test::dominantFrequency(run.pcm, c.channels, c.rate), 440.0, 3.0);
}

// Damage between good packets: a status for each, no write past the block (ASan), the sine after it.
TEST_P(AudioDecoderClip, DamagedPacketsGiveStatusesAndTheStreamRecovers) {
  const DecoderCase& c = GetParam();
  ASSERT_GT(fixture.packets.size(), 20u);
  std::mt19937 random(7);
  std::vector<test::Packet> damaged;
  damaged.push_back({});
  damaged.push_back({0xFF});
  damaged.push_back(test::Packet(3000, 0xFF));
  for (int n = 0; n < 6; ++n) {
    test::Packet noise(1 + random() % 1500);
    for (uint8_t& b : noise) b = static_cast<uint8_t>(random());
    damaged.push_back(noise);
  }
  for (size_t i = 5; i < 10; ++i) {
    const test::Packet& good = fixture.packets[i];
    damaged.emplace_back(good.begin(), good.begin() + static_cast<long>(good.size() / 2));  // truncated
    test::Packet flipped = good;
    for (size_t b = 2; b < flipped.size(); b += 7) flipped[b] ^= 0x5A;
    damaged.push_back(flipped);
  }

  test::AudioFixture mixed = fixture;
  mixed.packets.clear();
  for (size_t i = 0; i < 5; ++i) mixed.packets.push_back(fixture.packets[i]);
  for (const test::Packet& p : damaged) mixed.packets.push_back(p);
  for (size_t i = 10; i < fixture.packets.size(); ++i) mixed.packets.push_back(fixture.packets[i]);

  // A damaged first packet is answered too.
  for (const test::Packet& p : damaged) {
    std::vector<uint8_t> block(decoder->getFrameHeaderSize(), 0);
    block.insert(block.end(), p.begin(), p.end());
    const int result = decoder->decodeFirstFrame(block.data(), 0, static_cast<uint32_t>(block.size()));
    EXPECT_TRUE(result == 0 || result == -1);
  }
  ASSERT_EQ(decoder->close(), 0);
  ASSERT_EQ(decoder->initialize(), 0);
  test::DecodeRun run = test::decodeAll(*decoder, mixed, 2048);
  EXPECT_EQ(run.failures, 0) << "damage is no failure of the call";
  // The good tail alone, after ten packets to settle the codec's prediction:
  // its blocks carry the sine.
  ASSERT_GE(run.counts.size(), fixture.packets.size() - 10);
  const size_t tailBlocks = fixture.packets.size() - 20;
  size_t tailSamples = 0;
  for (size_t k = run.counts.size() - tailBlocks; k < run.counts.size(); ++k) tailSamples += run.counts[k];
  std::vector<int16_t> tail(run.pcm.end() - static_cast<long>(tailSamples * c.channels), run.pcm.end());
  EXPECT_NEAR(test::dominantFrequency(tail, c.channels, c.rate), 440.0, 3.0);
}

INSTANTIATE_TEST_SUITE_P(
    EveryDecoder, AudioDecoderClip,
    ::testing::Values(
        DecoderCase{"Aac", test::FixtureKind::Aac, "sine-44100.aac", "-c:a aac -b:a 96k -f adts", 44100, 2, 1024},
        DecoderCase{"Mp3", test::FixtureKind::Mp3, "sine-44100.mp3",
                    "-c:a libmp3lame -b:a 128k -write_xing 0 -id3v2_version 0 -f mp3", 44100, 2, 1152},
        // Half rates have half frames.
        DecoderCase{"Mp3HalfRate", test::FixtureKind::Mp3, "sine-22050.mp3",
                    "-c:a libmp3lame -b:a 64k -write_xing 0 -id3v2_version 0 -f mp3", 22050, 1, 576},
        DecoderCase{"Mp2", test::FixtureKind::Mp2, "sine-48000.mp2", "-c:a mp2 -b:a 192k -f mp2", 48000, 2, 1152},
        DecoderCase{"Mp2HalfRate", test::FixtureKind::Mp2, "sine-22050.mp2", "-c:a mp2 -b:a 64k -f mp2", 22050, 1,
                    1152},
        DecoderCase{"Speex", test::FixtureKind::Speex, "sine-16000.ogg", "-c:a libspeex -f ogg", 16000, 1, 320,
                    false}),
    [](const ::testing::TestParamInfo<DecoderCase>& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace cvx
