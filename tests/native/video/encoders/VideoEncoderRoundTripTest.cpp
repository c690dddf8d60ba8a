// Every video encoder behind IVideoEncoder, as the session drives it; ffmpeg decodes the output against a PSNR floor.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "dumps/DumpWriters.h"
#include "logging/LogCollector.h"
#include "media/FourCC.h"
#include "support/FakeRuntimeFixture.h"
#include "support/LogDrain.h"
#include "support/MediaFixtures.h"
#include "support/SyntheticClip.h"
#include "video/encoders/VideoEncoderH264.h"
#include "video/encoders/VideoEncoderH264IntelQuickSync2.h"
#include "video/encoders/VideoEncoderVPX.h"
#include "video/frames/VideoFrameBuffer.h"

namespace cvx {
namespace {

using Frames = std::vector<VideoFrameEncoded>;

// What a codec needs around it for the test's length.
struct NoEnvironment {};

struct H264Software {
  using Encoder = VideoEncoderH264;
  using Environment = NoEnvironment;
  static constexpr const char* kName = "VideoEncoderH264";
  static constexpr const char* kExtension = "h264";
  static constexpr double kPsnrFloor = 36.0;
  static void configure(Encoder& encoder) {
    encoder.setDefaults(2, 2);
    encoder.setParameterLong(10013, 1);  // one thread: the same pictures every run
    encoder.setParameterLong(10069, 3);  // B-frames: output leaves in another order
  }
  // Length prefixes back to start codes.
  static std::vector<uint8_t> stream(const Frames& frames, uint32_t, uint32_t) {
    std::vector<uint8_t> out;
    for (const VideoFrameEncoded& f : frames) {
      const uint8_t* b = f.block.data();
      for (uint32_t at = 0; at + 4 <= f.block.size();) {
        const uint32_t n = (uint32_t{b[at]} << 24) | (uint32_t{b[at + 1]} << 16) | (uint32_t{b[at + 2]} << 8) | b[at + 3];
        if (n > f.block.size() - at - 4) break;  // a broken prefix leaves the decode short
        out.insert(out.end(), {0, 0, 0, 1});
        out.insert(out.end(), b + at + 4, b + at + 4 + n);
        at += 4 + n;
      }
    }
    return out;
  }
};

// The Quick Sync encoder on the fake runtime, which encodes for real; its
// output is the software encoder's shape.
struct QuickSync : H264Software {
  using Encoder = VideoEncoderH264IntelQuickSync2;
  struct Environment {
    Environment() { fakeMfxReset(); }
    ~Environment() {
      EXPECT_EQ(fakeMfxOpenSessions(), 0) << "the encoder closed its session";
      fakeMfxReset();
    }
    test::RuntimeSelection runtime{CVX_FAKE_MFX};
  };
  static constexpr const char* kName = "VideoEncoderH264IntelQuickSync2";
  static constexpr double kPsnrFloor = 34.0;
  static void configure(Encoder& encoder) { encoder.setDefaults(2, 0); }
};

struct Vp8 {
  using Encoder = VideoEncoderVPX;
  using Environment = NoEnvironment;
  static constexpr const char* kName = "VideoEncoderVPX";
  static constexpr const char* kExtension = "ivf";
  static constexpr double kPsnrFloor = 34.0;
  static void configure(Encoder& encoder) { encoder.setDefaults(0, 0); }
  // The frames in the container the dump writers make.
  static std::vector<uint8_t> stream(const Frames& frames, uint32_t width, uint32_t height) {
    char* memory = nullptr;
    size_t size = 0;
    std::FILE* file = open_memstream(&memory, &size);
    IvfStreamConfig config;
    config.width = width;
    config.height = height;
    write_ivf_file_header(file, config, static_cast<uint32_t>(frames.size()));
    for (const VideoFrameEncoded& f : frames) {
      write_ivf_frame_header(file, f.block.size(), f.timecode);
      std::fwrite(f.block.data(), 1, f.block.size(), file);
    }
    std::fclose(file);
    const std::unique_ptr<char, decltype(&std::free)> owned(memory, &std::free);
    return std::vector<uint8_t>(memory, memory + size);
  }
};

template <class Codec>
class VideoEncoderRoundTrip : public ::testing::Test {
 protected:
  static constexpr uint32_t kWidth = 192;
  static constexpr uint32_t kHeight = 144;
  static constexpr int kCount = 40;
  static int64_t timecodeOf(int index) { return 5000 + 40 * index; }

  void SetUp() override {
    encoder->setLogger(&log);
    Codec::configure(*encoder);
    ASSERT_EQ(encoder->setFrameSize(kWidth, kHeight), 0);
    encoder->setFrameRate(25.0);
    encoder->setBitrate(600000);
    ASSERT_EQ(encoder->initialize(), 0);
    ASSERT_EQ(frame.allocBuffer(kWidth, kHeight, kFourCCYV12), 0);
  }

  typename Codec::Environment environment;
  LogCollector log;
  // Codec destructors may throw, so tests hold encoders through a pointer.
  std::unique_ptr<typename Codec::Encoder> encoder = std::make_unique<typename Codec::Encoder>();
  VideoFrameBuffer frame;
  const test::SyntheticClip clip = test::makeClip(kWidth, kHeight, kCount, kFourCCYV12, kCount / 2);
};

using Encoders = ::testing::Types<H264Software, QuickSync, Vp8>;
TYPED_TEST_SUITE(VideoEncoderRoundTrip, Encoders);

TYPED_TEST(VideoEncoderRoundTrip, EveryFrameDecodesAboveTheFloorWithItsOwnTimecodeThenTheEndRefusesFrames) {
  Frames out;
  for (int i = 0; i < this->kCount; ++i) {
    std::copy(this->clip.pictures[i].begin(), this->clip.pictures[i].end(), this->frame.getBytes());
    this->frame.setTimecode(this->timecodeOf(i));
    this->frame.setFrameType(2);
    ASSERT_EQ(this->encoder->addFrame(this->frame, 0), 0);
    this->encoder->getEncodedFrames(out);
  }
  ASSERT_EQ(this->encoder->endOfStream(), 0);
  ASSERT_EQ(this->encoder->getEncodedFrames(out), 0);
  ASSERT_EQ(out.size(), static_cast<size_t>(this->kCount)) << "every frame once, the held ones after the end";
  EXPECT_EQ(out.front().frameType, 1u);
  std::vector<int> indexByDisplay;
  for (const VideoFrameEncoded& f : out) indexByDisplay.push_back(static_cast<int>((f.timecode - 5000) / 40));
  std::set<int> sorted(indexByDisplay.begin(), indexByDisplay.end());
  ASSERT_EQ(sorted.size(), out.size()) << "a timecode twice";
  ASSERT_EQ(*sorted.begin(), 0);
  ASSERT_EQ(*sorted.rbegin(), this->kCount - 1);

  if (!test::haveFfmpeg()) GTEST_SKIP() << "ffmpeg is needed";
  const auto decoded = test::decodeWithFfmpeg(TypeParam::stream(out, this->kWidth, this->kHeight), this->kWidth,
                                              this->kHeight, std::string("roundtrip_") + TypeParam::kName,
                                              TypeParam::kExtension);
  ASSERT_EQ(decoded.size(), out.size());
  double worst = 99;
  int k = 0;
  for (int index : sorted) worst = std::min(worst, test::psnrI420(decoded[k++], this->clip, index));
  EXPECT_GT(worst, TypeParam::kPsnrFloor);
  ::testing::Test::RecordProperty("worstPsnr", std::to_string(worst));

  // After the end: a second end gives nothing, a frame is refused with one line.
  EXPECT_TRUE(test::drainTexts(this->log, 3).empty());
  ASSERT_EQ(this->encoder->endOfStream(), 0);
  EXPECT_EQ(this->encoder->getEncodedFrameCount(), 0u);
  EXPECT_EQ(this->encoder->addFrame(this->frame), -1);
  EXPECT_EQ(test::drainTexts(this->log, 3),
            std::vector<std::string>{std::string(TypeParam::kName) +
                                     ".addFrame[{context}]: frame refused: the stream has ended"});
}

}  // namespace
}  // namespace cvx
