#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "platform/videodecoder/VideoDecoderOpen.h"
#include "support/AnnexB.h"
#include "support/ClassDriver.h"
#include "support/MediaFixtures.h"

namespace cvx::test {
namespace {

constexpr uint64_t kFirstTimecode = 1000;
constexpr uint64_t kFrameSpacing = 40;
uint64_t timecodeOf(size_t decodeIndex) { return kFirstTimecode + kFrameSpacing * decodeIndex; }

// Feeds an H.264 fixture the way the H.264 class does: configuration from the
// first parameter sets, frames without their own delimiter and parameter sets.
void feedH264(ClassDriver& driver, const StreamFixture& fixture, size_t corruptPacket = SIZE_MAX,
              size_t truncatePacket = SIZE_MAX, std::vector<uint8_t>* scratch = nullptr) {
  const CodedPacket& first = fixture.packets.front();
  for (const Nal& nal : splitNals(fixture.bytes.data() + first.position, first.size)) {
    if ((nal.data[0] & 31) == 7 && driver.sps.empty()) driver.sps = withStartCode(nal);
    if ((nal.data[0] & 31) == 8 && driver.pps.empty()) driver.pps = withStartCode(nal);
  }
  ASSERT_EQ(driver.configure({driver.sps, driver.pps}) & 0x101u, 0x101u);
  if (scratch != nullptr) {
    *scratch = fixture.bytes;
  }
  const uint8_t* bytes = scratch != nullptr ? scratch->data() : fixture.bytes.data();
  for (size_t i = 0; i < fixture.packets.size(); ++i) {
    const CodedPacket& packet = fixture.packets[i];
    std::vector<std::pair<const uint8_t*, uint32_t>> frame;
    for (const Nal& nal : splitNals(bytes + packet.position, packet.size)) {
      const int type = nal.data[0] & 31;
      if (type != 9 && type != 7 && type != 8) frame.emplace_back(nal.data, nal.size);
    }
    if (i == corruptPacket) {
      auto& slice = frame.back();
      uint8_t* payload = const_cast<uint8_t*>(slice.first);
      for (uint32_t k = slice.second / 4; k < slice.second; k += 3) payload[k] ^= 0x5A;
    }
    if (i == truncatePacket) {
      frame.back().second /= 3;
    }
    driver.addH264Frame(frame, timecodeOf(i), packet.key ? 1 : 2);
    driver.decodeAll();
  }
  driver.finish();
}

// Pictures must come in display order, each with the timecode of its own frame
// and the content of ffmpeg's decode of the same picture.
void expectPicturesMatch(const ClassDriver& driver, const StreamFixture& fixture, double minimumPsnr) {
  ASSERT_EQ(driver.pictures.size(), fixture.displayPacket.size());
  const size_t bytes = fixture.pictureBytes();
  const size_t luma = static_cast<size_t>(fixture.width) * fixture.height;
  for (size_t k = 0; k < driver.pictures.size(); ++k) {
    SCOPED_TRACE("picture " + std::to_string(k));
    const DecodedPicture& picture = driver.pictures[k];
    EXPECT_TRUE(picture.hadUserData);
    EXPECT_EQ(picture.timecode, timecodeOf(fixture.displayPacket[k]));
    ASSERT_EQ(picture.yuv.size(), bytes);
    const uint8_t* reference = fixture.referenceYuv.data() + k * bytes;
    EXPECT_GT(psnr(picture.yuv.data(), reference, luma), minimumPsnr) << "Y";
    EXPECT_GT(psnr(picture.yuv.data() + luma, reference + luma, luma / 4), minimumPsnr) << "U";
    EXPECT_GT(psnr(picture.yuv.data() + luma * 5 / 4, reference + luma * 5 / 4, luma / 4), minimumPsnr) << "V";
  }
}

class VideoDecoderStreamH264 : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    ready_ = makeStreamFixture("vds_h264.h264",
                               "-vf setsar=1 -c:v libx264 -preset veryfast -bf 2 -g 12 -keyint_min 12 "
                               "-sc_threshold 0 -pix_fmt yuv420p -f h264",
                               320, 240, 30, fixture_);
  }
  void SetUp() override {
    if (!ready_) GTEST_SKIP() << "ffmpeg with libx264 is needed";
  }
  static StreamFixture fixture_;
  static bool ready_;
};
StreamFixture VideoDecoderStreamH264::fixture_;
bool VideoDecoderStreamH264::ready_ = false;

TEST_F(VideoDecoderStreamH264, PicturesComeInDisplayOrderWithTheirOwnTimecodes) {
  // YV12 is the session's usual code, I420 the other order of the chroma planes.
  for (uint32_t fourcc : {kFourccYV12, kFourccI420}) {
    SCOPED_TRACE(fourcc == kFourccYV12 ? "YV12" : "I420");
    ClassDriver driver(openVideoDecoderStreamH264(nullptr, nullptr, nullptr), fourcc);
    ASSERT_NE(driver.stream(), nullptr);
    feedH264(driver, fixture_);
    EXPECT_EQ(driver.writeFailures, 0);
    expectPicturesMatch(driver, fixture_, 50.0);
    // One sequence report, at configuration: the repeated parameter sets change nothing.
    ASSERT_EQ(driver.sequences.size(), 1u);
    const auto& sequence = driver.sequences[0];
    EXPECT_EQ(sequence[0], 320);
    EXPECT_EQ(sequence[1], 240);
    EXPECT_EQ(sequence[7], 4);  // square pixels: the picture's shape
    EXPECT_EQ(sequence[8], 3);
    EXPECT_EQ(sequence[9], 25);
    EXPECT_EQ(sequence[10], 1);
  }
}

TEST_F(VideoDecoderStreamH264, ThreadsGiveTheSamePictures) {
  ClassDriver driver(openVideoDecoderStreamH264(nullptr, nullptr, nullptr), kFourccYV12);
  ASSERT_NE(driver.stream(), nullptr);
  driver.stream()->auxinfo(driver.stream(), 4, decoder_info::kSetThreadCount, nullptr, 0);
  feedH264(driver, fixture_);
  expectPicturesMatch(driver, fixture_, 50.0);
}

TEST_F(VideoDecoderStreamH264, DamageDropsPicturesUntilTheNextKeyFrame) {
  struct Case {
    const char* name;
    size_t corrupt;
    size_t truncate;
  };
  // Packet 4 and 6 are inter frames of the first group; the second group starts at a key frame.
  for (const Case& c : {Case{"corrupt", 4, SIZE_MAX}, Case{"truncated", SIZE_MAX, 6}}) {
    SCOPED_TRACE(c.name);
    ClassDriver driver(openVideoDecoderStreamH264(nullptr, nullptr, nullptr), kFourccYV12);
    std::vector<uint8_t> damaged;
    feedH264(driver, fixture_, c.corrupt, c.truncate, &damaged);
    EXPECT_LT(driver.pictures.size(), fixture_.displayPacket.size());
    const char* text = nullptr;
    driver.stream()->auxinfo(driver.stream(), 0, decoder_info::kFetchLastError, &text, sizeof(text));
    ASSERT_NE(text, nullptr);
    EXPECT_GT(std::strlen(text), 0u);
    // Every picture from the second key frame on is back, whole and in order.
    size_t key = 0;
    for (size_t i = 1; i < fixture_.packets.size(); ++i) {
      if (fixture_.packets[i].key) {
        key = i;
        break;
      }
    }
    ASSERT_GT(key, 0u);
    size_t firstDisplay = 0;
    while (fixture_.displayPacket[firstDisplay] != key) ++firstDisplay;
    const size_t expected = fixture_.displayPacket.size() - firstDisplay;
    ASSERT_GE(driver.pictures.size(), expected);
    const size_t offset = driver.pictures.size() - expected;
    const size_t bytes = fixture_.pictureBytes();
    for (size_t k = 0; k < expected; ++k) {
      const DecodedPicture& picture = driver.pictures[offset + k];
      EXPECT_EQ(picture.timecode, timecodeOf(fixture_.displayPacket[firstDisplay + k]));
      EXPECT_GT(psnr(picture.yuv.data(), fixture_.referenceYuv.data() + (firstDisplay + k) * bytes, bytes), 50.0);
    }
  }
}

// A stream whose pictures are larger than the limit gives neither a sequence
// nor a picture: the codec refuses them before allocating anything.
TEST_F(VideoDecoderStreamH264, PicturesBeyondThePixelLimitAreNeitherReportedNorDecoded) {
  for (uint32_t limit : {320u * 240u - 1u, 320u * 240u}) {
    SCOPED_TRACE(limit);
    const bool fits = limit >= 320u * 240u;
    ClassDriver driver(openVideoDecoderStreamH264(nullptr, nullptr, nullptr), kFourccYV12);
    driver.stream()->auxinfo(driver.stream(), limit, decoder_info::kSetMaxPixels, nullptr, 0);
    const CodedPacket& first = fixture_.packets.front();
    for (const Nal& nal : splitNals(fixture_.bytes.data() + first.position, first.size)) {
      if ((nal.data[0] & 31) == 7 && driver.sps.empty()) driver.sps = withStartCode(nal);
      if ((nal.data[0] & 31) == 8 && driver.pps.empty()) driver.pps = withStartCode(nal);
    }
    EXPECT_EQ((driver.configure({driver.sps, driver.pps}) & 0x101u) == 0x101u, fits);
    for (size_t i = 0; i < fixture_.packets.size(); ++i) {
      std::vector<std::pair<const uint8_t*, uint32_t>> frame;
      const CodedPacket& packet = fixture_.packets[i];
      for (const Nal& nal : splitNals(fixture_.bytes.data() + packet.position, packet.size)) {
        if ((nal.data[0] & 31) != 7 && (nal.data[0] & 31) != 8) frame.emplace_back(nal.data, nal.size);
      }
      driver.addH264Frame(frame, timecodeOf(i), packet.key ? 1 : 2);
      driver.decodeAll();
    }
    driver.finish();
    EXPECT_EQ(driver.pictures.size(), fits ? fixture_.displayPacket.size() : 0u);
    EXPECT_EQ(driver.sequences.size(), fits ? 1u : 0u);
  }
}

TEST_F(VideoDecoderStreamH264, PictureIsWrittenOnlyIntoARecordOfItsSize) {
  ClassDriver driver(openVideoDecoderStreamH264(nullptr, nullptr, nullptr), kFourccYV12);
  feedH264(driver, fixture_);
  bufstream_tt* stream = driver.stream();
  std::vector<uint8_t> block(320 * 240 * 3 / 2, 0xEE);
  FrameRecord record{};
  record.width = 318;
  record.height = 240;
  record.fourcc = kFourccYV12;
  record.plane[0] = block.data();
  record.plane[1] = block.data() + 318 * 240;
  record.plane[2] = block.data() + 318 * 240 * 5 / 4;
  record.planeStride[0] = 318;
  record.planeStride[1] = record.planeStride[2] = 159;
  EXPECT_NE(stream->auxinfo(stream, 0, decoder_info::kWritePicture, &record, sizeof(record)), 0u);
  record.width = 320;
  record.fourcc = 0x32595559;  // YUY2 is not a layout the decoder writes
  EXPECT_NE(stream->auxinfo(stream, 0, decoder_info::kWritePicture, &record, sizeof(record)), 0u);
  for (uint8_t value : block) ASSERT_EQ(value, 0xEE);
  record.fourcc = kFourccI420;
  EXPECT_NE(stream->auxinfo(stream, 0, decoder_info::kWritePicture, &record, 40), 0u) << "short record";
}

// The MPEG decoders: one block per frame, the configuration with an end marker.
struct MpegCase {
  const char* name;
  const char* file;
  const char* encode;
  int width;
  int height;
  Mpeg4FamilyHint hint;
  bool mpeg2;
  size_t payloadSkip;
  std::array<int32_t, 4> aspect;  // [2], [7], [8] and the rate's denominator is checked beside
  int32_t rateNum;
  int32_t rateDen;
  bool configure;
};

class VideoDecoderStreamMpeg : public ::testing::TestWithParam<MpegCase> {};

TEST_P(VideoDecoderStreamMpeg, DecodesInDisplayOrderWithSequenceValues) {
  const MpegCase& c = GetParam();
  StreamFixture fixture;
  if (!makeStreamFixture(c.file, c.encode, c.width, c.height, 20, fixture, c.payloadSkip)) {
    GTEST_SKIP() << "ffmpeg is needed";
  }
  bufstream_tt* stream = c.mpeg2 ? openVideoDecoderStreamMpeg2(nullptr, nullptr, nullptr)
                                 : openVideoDecoderStreamMpeg4(nullptr, nullptr, nullptr, c.hint);
  ClassDriver driver(stream, kFourccI420);
  ASSERT_NE(driver.stream(), nullptr);
  if (c.configure) {
    // The configuration block: the headers in front of the first picture.
    const CodedPacket& first = fixture.packets.front();
    const uint8_t picture = c.mpeg2 ? 0xB8 : 0xB6;
    size_t end = first.position;
    while (!(fixture.bytes[end] == 0 && fixture.bytes[end + 1] == 0 && fixture.bytes[end + 2] == 1 &&
             fixture.bytes[end + 3] == picture)) {
      ++end;
    }
    std::vector<uint8_t> block(fixture.bytes.begin() + static_cast<std::ptrdiff_t>(first.position),
                               fixture.bytes.begin() + static_cast<std::ptrdiff_t>(end));
    const std::vector<uint8_t> marker = c.mpeg2 ? std::vector<uint8_t>{0, 0, 1, 0xB8} : std::vector<uint8_t>{0, 0, 1};
    block.insert(block.end(), marker.begin(), marker.end());
    ASSERT_EQ(driver.configure({block}) & 0x101u, 0x101u);
  }
  for (size_t i = 0; i < fixture.packets.size(); ++i) {
    const CodedPacket& packet = fixture.packets[i];
    driver.addSpan(fixture.bytes.data() + packet.position, static_cast<uint32_t>(packet.size), timecodeOf(i),
                   packet.key ? 1 : 2);
    driver.decodeAll();
  }
  driver.finish();
  EXPECT_EQ(driver.writeFailures, 0);
  expectPicturesMatch(driver, fixture, 50.0);
  ASSERT_EQ(driver.sequences.size(), 1u);
  const auto& sequence = driver.sequences[0];
  EXPECT_EQ(sequence[0], c.width);
  EXPECT_EQ(sequence[1], c.height);
  EXPECT_EQ(sequence[2], c.aspect[0]);
  EXPECT_EQ(sequence[7], c.aspect[1]);
  EXPECT_EQ(sequence[8], c.aspect[2]);
  EXPECT_EQ(sequence[9], c.rateNum);
  EXPECT_EQ(sequence[10], c.rateDen);
}

INSTANTIATE_TEST_SUITE_P(
    Codecs, VideoDecoderStreamMpeg,
    ::testing::Values(
        MpegCase{"Mpeg2", "vds_mpeg2.m2v", "-c:v mpeg2video -bf 2 -g 12 -aspect 4:3 -f mpeg2video", 352, 288,
                 Mpeg4FamilyHint::Detect, true, 0, {2, 0, 0, 0}, 25, 1, true},
        // ffmpeg's MPEG-4 writes a variable VOP rate: no frame rate in the stream.
        MpegCase{"Mpeg4", "vds_mpeg4.m4v", "-vf setsar=16/15 -c:v mpeg4 -bf 2 -g 12 -f m4v", 352, 288,
                 Mpeg4FamilyHint::Detect, false, 0, {0, 16, 15, 0}, 0, 0, true},
        // CIF in H.263 has the format's own pixel shape, 12:11.
        MpegCase{"H263", "vds_h263.h263", "-c:v h263 -g 12 -f h263", 352, 288, Mpeg4FamilyHint::Detect, false, 0,
                 {0, 12, 11, 0}, 0, 0, false},
        MpegCase{"Spark", "vds_spark.flv", "-c:v flv -g 12", 320, 240, Mpeg4FamilyHint::Detect, false, 12,
                 {0, 0, 0, 0}, 0, 0, false}),
    [](const ::testing::TestParamInfo<MpegCase>& info) { return std::string(info.param.name); });

// H.263 has no reordering, so what the stream holds back is its own delay:
// a picture leaves when the next one starts. A second segment at a new size
// is reported as a sequence change just before its first picture.
TEST(VideoDecoderStreamLatency, OneFrameOfDelayAndASizeChangeInDisplayOrder) {
  StreamFixture large;
  StreamFixture small;
  if (!makeStreamFixture("vds_h263.h263", "-c:v h263 -g 12 -f h263", 352, 288, 20, large) ||
      !makeStreamFixture("vds_h263_qcif.h263", "-c:v h263 -g 12 -f h263", 176, 144, 6, small)) {
    GTEST_SKIP() << "ffmpeg is needed";
  }
  ClassDriver driver(openVideoDecoderStreamMpeg4(nullptr, nullptr, nullptr), kFourccYV12);
  size_t frames = 0;
  for (const StreamFixture* segment : {&large, &small}) {
    for (const CodedPacket& packet : segment->packets) {
      driver.addSpan(segment->bytes.data() + packet.position, static_cast<uint32_t>(packet.size), timecodeOf(frames),
                     packet.key ? 1 : 2);
      driver.decodeAll();
      ++frames;
      EXPECT_EQ(driver.pictures.size(), frames - 1) << "after frame " << frames;
    }
  }
  driver.finish();
  ASSERT_EQ(driver.pictures.size(), frames);
  EXPECT_EQ(driver.writeFailures, 0);
  ASSERT_EQ(driver.sequences.size(), 2u);
  EXPECT_EQ(driver.sequences[1][0], 176);
  EXPECT_EQ(driver.sequences[1][1], 144);
  for (size_t k = 0; k < frames; ++k) {
    EXPECT_EQ(driver.pictures[k].timecode, timecodeOf(k));
  }
  const size_t last = frames - 1;
  EXPECT_GT(psnr(driver.pictures[last].yuv.data(), small.referenceYuv.data() + 5 * small.pictureBytes(),
                 small.pictureBytes()),
            50.0);
}

// Bytes that are no video at all: no picture, no crash, whatever the opener.
TEST(VideoDecoderStreamGarbage, NoPictureAndNoCrash) {
  std::vector<uint8_t> noise(20000);
  uint32_t seed = 12345;
  for (uint8_t& byte : noise) {
    seed = seed * 1664525u + 1013904223u;
    byte = static_cast<uint8_t>(seed >> 24);
  }
  // Start-code look-alikes so the splitter cuts the noise into many units.
  for (size_t i = 0; i + 4 < noise.size(); i += 997) {
    noise[i] = 0;
    noise[i + 1] = 0;
    noise[i + 2] = 1;
    noise[i + 3] = static_cast<uint8_t>(i % 3 == 0 ? 0xB6 : i % 3 == 1 ? 0x65 : 0x00);
  }
  struct Opener {
    const char* name;
    bufstream_tt* (*open)();
  };
  const Opener openers[] = {
      {"h264", [] { return openVideoDecoderStreamH264(nullptr, nullptr, nullptr); }},
      {"mpeg2", [] { return openVideoDecoderStreamMpeg2(nullptr, nullptr, nullptr); }},
      {"mpeg4", [] { return openVideoDecoderStreamMpeg4(nullptr, nullptr, nullptr); }},
      {"h263", [] { return openVideoDecoderStreamMpeg4(nullptr, nullptr, nullptr, Mpeg4FamilyHint::H263); }},
      {"spark", [] { return openVideoDecoderStreamMpeg4(nullptr, nullptr, nullptr, Mpeg4FamilyHint::Spark); }},
  };
  for (const Opener& opener : openers) {
    SCOPED_TRACE(opener.name);
    ClassDriver driver(opener.open(), kFourccI420);
    ASSERT_NE(driver.stream(), nullptr);
    for (size_t i = 0; i < noise.size(); i += 1500) {
      driver.addSpan(noise.data() + i, static_cast<uint32_t>(std::min<size_t>(1500, noise.size() - i)), i, 1);
      driver.decodeAll();
    }
    driver.finish();
    EXPECT_EQ(driver.pictures.size(), 0u);
    void* values = nullptr;
    bufstream_tt* stream = driver.stream();
    EXPECT_NE(stream->auxinfo(stream, 0, decoder_info::kFetchSequence, &values, 44), 0u);
    EXPECT_EQ(values, nullptr);
  }
}

}  // namespace
}  // namespace cvx::test
