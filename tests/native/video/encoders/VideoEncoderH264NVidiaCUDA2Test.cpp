// The CUDA H.264 encoder class over the fake driver.
#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "media/FourCC.h"
#include "parameters/IParameterTarget.h"
#include "support/AnnexB.h"
#include "support/EncoderFixture.h"
#include "support/FakeNvidiaDriver.h"
#include "support/LogDrain.h"
#include "video/encoders/VideoEncoderH264NVidiaCUDA2.h"
#include "video/frames/VideoFrameBuffer.h"

namespace cvx {
namespace {

using testing::FakeNvidiaDriver;

constexpr uint32_t kWidth = 64;
constexpr uint32_t kHeight = 48;
constexpr uint32_t kSelectedGPU = 30010;
constexpr uint32_t kGpuCount = 30007;

int64_t setting(VideoEncoderH264NVidiaCUDA2& e, uint32_t index) {
  int64_t value = -99;
  e.getParameterLong(index, &value);
  return value;
}

class CudaEncoderTest : public test::EncoderFixture<VideoEncoderH264NVidiaCUDA2> {
 protected:
  // A fresh encoder as the session sets it up, on a fresh driver script when one is given.
  void configure(bool keyFrameFollow = true, const std::string& script = "") {
    encoder.reset();  // ends on the script it began with
    if (!script.empty()) driver.script(script);
    setUp(kWidth, kHeight, 300000, keyFrameFollow);
  }
  // Frames of timecode 40 * i, a key frame wherever `keys` says.
  void feed(int count, const std::vector<int>& keys, int first = 0) {
    frame.allocBuffer(kWidth, kHeight, kFourCCYV12);
    for (int i = first; i < first + count; ++i) {
      std::memset(frame.getBytes(), 20 + 3 * i, frame.getByteCount());
      frame.setTimecode(40 * i);
      bool key = false;
      for (int k : keys) key |= k == i;
      frame.setFrameType(key ? 1 : 2);
      ASSERT_EQ(encoder->addFrame(frame, 0), 0) << i;
    }
  }
  // Pulls until `count` frames are out or twenty seconds passed.
  void collect(size_t count) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (out.size() < count && std::chrono::steady_clock::now() < deadline) {
      encoder->getEncodedFrames(out);
      std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
  }
  // As collect, then a while longer for frames that should not come.
  void settle(size_t count) {
    collect(count);
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    encoder->getEncodedFrames(out);
  }
  std::vector<int64_t> timecodes() const {
    std::vector<int64_t> t;
    for (const VideoFrameEncoded& f : out) t.push_back(f.timecode);
    return t;
  }

  FakeNvidiaDriver driver;
  VideoFrameBuffer frame;
};

TEST_F(CudaEncoderTest, SettersFillTheRecord) {
  configure(false);
  const NVCUDAEncoderParams& p = encoder->getParams();
  EXPECT_EQ(p.profileLevel, 0xFF4D);
  EXPECT_EQ(p.outputSize[0], 64);
  EXPECT_EQ(p.inputSize[1], 48);
  encoder->setDefaults(1, 7);
  EXPECT_EQ(p.profileLevel, 0xFF42);

  struct Rate {
    double fps;
    int32_t denominator, numerator;
    uint64_t duration;
  } rates[] = {{30.0, 1, 30, 333}, {29.97, 1001, 30000, 334}, {23.5, 10000, 235000, 426}, {0.0, 1, 0, 0}};
  for (const Rate& r : rates) {
    SCOPED_TRACE(r.fps);
    encoder->setFrameRate(r.fps);
    EXPECT_EQ(p.frameRate[0], r.denominator);
    EXPECT_EQ(p.frameRate[1], r.numerator);
    EXPECT_EQ(encoder->getFrameDuration(), r.duration);
  }
  encoder->setBitrate(8000000);
  EXPECT_EQ(p.avgBitrate, 8000000);
  EXPECT_EQ(p.peakBitrate, 10000000);
  encoder->setBitrate(40000000);  // the peak wraps in 32 bits
  EXPECT_EQ(static_cast<uint32_t>(p.peakBitrate), (40000000u * 125u) / 100u);
  encoder->setKeyFrameFollow(false);
  EXPECT_EQ(p.idrPeriod, 0x7fffffff);
  EXPECT_TRUE(encoder->isKeyFrameFollow());
}

TEST_F(CudaEncoderTest, SettingSpaceFrom30000) {
  configure();
  VideoEncoderH264NVidiaCUDA2& e = *encoder;
  struct Type {
    uint32_t index;
    int type;
    uint32_t length;
  } types[] = {{29999, 0, 0}, {30000, 1, 0}, {30010, 1, 0}, {30011, 2, 2}, {30012, 2, 2}, {30013, 3, 0},
               {30014, 2, 3}, {30015, 1, 0}, {30024, 1, 0}, {30025, 2, 2}, {30026, 1, 0}, {30040, 1, 0},
               {30041, 0, 0}};
  for (const Type& t : types) {
    SCOPED_TRACE(t.index);
    uint32_t length = 99;
    EXPECT_EQ(e.getParameterType(t.index, &length), t.type);
    EXPECT_EQ(length, t.length);
  }
  // Named fields by number, written cut to 32 bits.
  e.setParameterLong(30003, 4);
  EXPECT_EQ(e.getParams().surfaceFormat, 4);
  e.setParameterLong(30019, 0x100000002LL);
  EXPECT_EQ(e.getParams().rcType, 2);
  e.setParameterLong(30032, -1);
  EXPECT_EQ(setting(e, 30032), -1);
  e.setParameterLong(30037, 5);
  EXPECT_EQ(e.getParams().gpuOffloadLevelCurrent, 5);
  e.setParameterLong(30040, 9);
  EXPECT_EQ(e.getParams().furtherWords[2], 9);
  EXPECT_EQ(setting(e, 30041), 0);
  // Arrays take at most their count; reading one gives nothing back.
  const int64_t four[] = {16, 9, 1, 77};
  e.setParameterLongArray(30014, four, 4);
  EXPECT_EQ(e.getParams().aspectRatio[2], 1);
  EXPECT_EQ(e.getParams().idrPeriod, 0x7fffffff);
  int64_t read[3] = {5, 5, 5};
  uint32_t count = 3;
  e.getParameterLongArray(30014, read, &count);
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(read[0], 5);
  // 30013 is a float behind a double; no other setting is.
  e.setParameterDouble(30013, 1.5);
  double aspect = 0;
  e.getParameterDouble(30013, &aspect);
  EXPECT_EQ(aspect, 1.5);
  e.setParameterDouble(30012, 2.0);
  e.getParameterDouble(30012, &aspect);
  EXPECT_EQ(aspect, 0.0);
}

TEST_F(CudaEncoderTest, FramesComeBackInOrderWithTheirTimecodesAndKeyFramesFromTheHints) {
  configure(true, "devices=1");
  EXPECT_EQ(encoder->initialize(), 0);
  EXPECT_EQ(test::drainTexts(log, 3), std::vector<std::string>{});
  feed(25, {0, 7, 19});
  collect(25);
  ASSERT_EQ(out.size(), 25u);
  for (size_t i = 0; i < out.size(); ++i) {
    SCOPED_TRACE(i);
    EXPECT_EQ(out[i].timecode, static_cast<int64_t>(40 * i));
    EXPECT_EQ(out[i].frameType, i == 0 || i == 7 || i == 19 ? 1u : 2u);
    EXPECT_FALSE(test::prefixedNalTypes(out[i].block.data(), out[i].block.size()).empty());
  }
  EXPECT_EQ(encoder->getPendingFrameCount(), 0u);
  EXPECT_EQ(encoder->getEncodedFrameCount(), 0u);
  // The library made no key frames of its own: the fake received exactly
  // the forced ones.
  EXPECT_TRUE(driver.traced("idr 7"));
  EXPECT_NE(driver.tracedLine("init ").find(" gop 4294967295 "), std::string::npos) << driver.tracedLine("init ");
}

TEST_F(CudaEncoderTest, TheHostPullsWhileTheLibraryDeliversFromItsOwnThread) {
  configure(true, "devices=1\nencodeDelayMs=2");
  ASSERT_EQ(encoder->initialize(), 0);
  std::vector<VideoFrameEncoded> pulled;
  std::thread host([&] {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (pulled.size() < 40 && std::chrono::steady_clock::now() < deadline) {
      encoder->getEncodedFrames(pulled);
      std::this_thread::yield();
    }
  });
  feed(40, {0, 20});
  host.join();
  ASSERT_EQ(pulled.size(), 40u);
  for (size_t i = 0; i < pulled.size(); ++i) EXPECT_EQ(pulled[i].timecode, static_cast<int64_t>(40 * i));
  out = std::move(pulled);
}

// At the end every frame still on the GPU is back before endOfStream
// returns, with its own timecode; a frame after it is refused with a line.
TEST_F(CudaEncoderTest, EndOfStreamReturnsOnceEveryFrameCameBack) {
  configure(true, "devices=1\nencodeDelayMs=20");
  ASSERT_EQ(encoder->initialize(), 0);
  feed(6, {0});
  ASSERT_EQ(encoder->endOfStream(), 0);
  EXPECT_EQ(encoder->getPendingFrameCount(), 0u);
  encoder->getEncodedFrames(out);
  ASSERT_EQ(out.size(), 6u);
  for (size_t i = 0; i < out.size(); ++i) EXPECT_EQ(out[i].timecode, static_cast<int64_t>(40 * i)) << i;
  EXPECT_EQ(encoder->endOfStream(), 0) << "a second end does nothing";
  EXPECT_EQ(encoder->addFrame(frame, 0), -1);
  EXPECT_EQ(test::drainTexts(log, 3),
            std::vector<std::string>{"VideoEncoderH264NVidiaCUDA2.addFrame[{context}]: frame refused: the stream has ended"});
}

TEST_F(CudaEncoderTest, BestGpuRuleAndSetGPUID) {
  const std::string two = "devices=2\ndevice0=A|2|0|1000000|8|1\ndevice1=B|2|1|1000000|8|1";
  struct Case {
    const char* name;
    std::string script;
    int gpuId;
    int selected;
    std::vector<std::string> info;
    std::vector<std::string> errors;
  } cases[] = {
      {"no GPUID: the faster one", two, -1, 1, {}, {}},
      {"equal performance: the lowest number", "devices=2\ndevice0=A|2|0|1000|48|1\ndevice1=B|2|1|1000|32|1", -1, 0,
       {}, {}},
      {"an unknown architecture never leads", "devices=2\ndevice0=A|1|0|100|1|1\ndevice1=B|3|0|9000000|80|1", -1, 0,
       {}, {}},
      {"GPUID over the rule", two, 0, 0, {"VideoEncoderH264NVidiaCUDA2.initialize[{context}]: setGPUID: 0"}, {}},
      {"GPUID past the devices", two, 2, 1, {},
       {"VideoEncoderH264NVidiaCUDA2.initialize[{context}]: GPUID does not exist: setGPUID: 2 deviceCount: 2"}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    configure(true, c.script);
    encoder->setGPUID(c.gpuId);
    ::testing::internal::CaptureStdout();
    ASSERT_EQ(encoder->initialize(), 0);
    const std::string printed = ::testing::internal::GetCapturedStdout();
    EXPECT_EQ(setting(*encoder, kSelectedGPU), c.selected);
    EXPECT_EQ(setting(*encoder, kGpuCount), 2);
    EXPECT_TRUE(driver.traced("cuCtxCreate_v2 " + std::to_string(c.selected)));
    std::vector<LogStatement> all = test::drain(log);
    std::vector<std::string> info, errors;
    for (const LogStatement& s : all) (s.level == 2 ? info : errors).push_back(s.statement);
    EXPECT_EQ(info, c.info);
    EXPECT_EQ(errors, c.errors);
    EXPECT_EQ(printed.find("MapSMtoCores undefined SMversion 3.0!") != std::string::npos,
              c.script.find("|3|0|") != std::string::npos)
        << printed;
  }
}

TEST_F(CudaEncoderTest, EveryCheckedCallThatFailsSaysSoAndInitializeStillAnswers0) {
  struct Case {
    const char* name;
    const char* script;
    uint32_t setting;
    int64_t value;
    const char* line;
    bool encodes;
    bool detail = false;  // a second line with the driver's words
  } cases[] = {
      {"no driver", "devices=1\nfail=cuInit", 0, 0, "NVCUDAVideoEncoder.InitEncoder[{context}]: NVCreateEncoder failed",
       false},
      {"a codec the library lacks", "devices=1", 30006, 5, "NVCUDAVideoEncoder.SetCodecType[{context}]: SetCodecType FAIL",
       true},
      // The push stops there; what follows keeps the library's defaults.
      {"a rate control it does not know", "devices=1", 30019, 9,
       "NVCUDAVideoEncoder.SetEncodeParameters[{context}]: NVSetParamValue failed: NVVE_RC_TYPE", true},
      {"the hardware refuses the configuration", "devices=1\nfail=nvEncInitializeEncoder", 0, 0,
       "NVCUDAVideoEncoder.InitEncoder[{context}]: NVCreateHWEncoder failed", false, true},
      {"every frame refused", "devices=1\nfail=nvEncEncodePicture", 0, 0,
       "VideoEncoderH264NVidiaCUDA2.addFrame[{context}]: NVEncodeFrame failed: nvEncEncodePicture: NV_ENC_ERR_GENERIC",
       false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    configure(true, c.script);
    if (c.setting != 0) encoder->setParameterLong(c.setting, c.value);
    EXPECT_EQ(encoder->initialize(), 0);
    feed(3, {0});
    settle(c.encodes ? 3 : 0);
    EXPECT_EQ(out.size(), c.encodes ? 3u : 0u);
    EXPECT_EQ(encoder->getPendingFrameCount(), 0u);
    // The failing phase speaks; the phases after it stay quiet when they
    // have no encoder to work on.
    const std::vector<std::string> errors = test::drainTexts(log, 3);
    ASSERT_FALSE(errors.empty());
    EXPECT_EQ(errors[0], c.line);
    EXPECT_EQ(errors.size(), c.detail ? 2u : 1u);
  }
}

TEST_F(CudaEncoderTest, AFrameTheLibraryLosesTakesOnlyItsOwnTimecode) {
  struct Case {
    const char* fail;
    std::vector<int64_t> timecodes;
  } cases[] = {{"nvEncEncodePicture@3", {0, 40, 120, 160}}, {"nvEncLockBitstream@2", {0, 80, 120, 160}}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.fail);
    configure(true, std::string("devices=1\nfail=") + c.fail);
    ASSERT_EQ(encoder->initialize(), 0);
    feed(5, {0});
    settle(4);
    EXPECT_EQ(timecodes(), c.timecodes);
    EXPECT_EQ(encoder->getPendingFrameCount(), 0u);
  }
}

TEST_F(CudaEncoderTest, FramesThatDoNotFitAreRefusedWithOneLine) {
  configure(true, "devices=1");
  EXPECT_EQ(encoder->addFrame(frame, 1), -1);  // not initialised
  ASSERT_EQ(encoder->initialize(), 0);
  EXPECT_EQ(encoder->initialize(), -1);
  VideoFrameBuffer other;
  other.allocBuffer(kWidth + 2, kHeight, kFourCCYV12);
  EXPECT_EQ(encoder->addFrame(other, 1), -1);
  EXPECT_EQ(encoder->addFrame(other, 1), -1);
  VideoFrameBuffer bgra;
  bgra.allocBuffer(kWidth, kHeight, kFourCCBGRA);
  EXPECT_EQ(encoder->addFrame(bgra, 1), -1);
  VideoFrameBuffer empty;
  EXPECT_EQ(encoder->addFrame(empty, 1), -1);
  EXPECT_EQ(test::drainTexts(log, 3).size(), 1u);
  EXPECT_EQ(encoder->getPendingFrameCount(), 0u);
  feed(1, {0});
  collect(1);
  EXPECT_EQ(timecodes(), std::vector<int64_t>{0});
}

TEST_F(CudaEncoderTest, AnOffloadLevelAboveTheMaximumIsLoweredWithALine) {
  struct Case {
    int64_t level;
    int64_t pushed;
    std::vector<std::string> info;
  } cases[] = {{16, 16, {}}, {8, 8, {}}, {20, 16, {"NVCUDAVideoEncoder.SetGPUOffloadLevel[{context}]: Offload Full Encode"}}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.level);
    configure(true, "devices=1");
    encoder->setParameterLong(30036, c.level);
    ASSERT_EQ(encoder->initialize(), 0);
    EXPECT_EQ(setting(*encoder, 30036), c.pushed);
    EXPECT_EQ(setting(*encoder, 30037), 16);
    EXPECT_EQ(test::drainTexts(log, 2), c.info);
  }
}

}  // namespace
}  // namespace cvx
