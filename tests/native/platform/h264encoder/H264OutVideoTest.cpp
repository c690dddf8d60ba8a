#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <functional>
#include <limits>
#include <set>
#include <string>
#include <vector>

#include "support/MediaFixtures.h"
#include "support/SyntheticClip.h"
#include "logging/LogCollector.h"
#include "platform/h264encoder/H264OutVideo.h"
#include "platform/h264encoder/H264ParamSummary.h"
#include "platform/librarylog/LibraryLog.h"
#include "support/LogDrain.h"

namespace cvx::test {
namespace {

constexpr uint32_t kWidth = 320;
constexpr uint32_t kHeight = 240;
constexpr int kPictures = 60;
constexpr uint8_t kDelimiterKey = 0x10;
constexpr uint8_t kDelimiterB = 0x50;

// As the encoder class leaves the record after its setters.
H264EncoderSettings liveSettings(uint32_t family, uint32_t preset, uint32_t bitrate) {
  H264EncoderSettings s;
  h264OutVideoDefaults(&s, family, preset);
  s.rateTolerancePercent = 100;
  s.interlaced = 0;
  s.width = kWidth;
  s.height = kHeight;
  s.frameRate = 30.0;
  s.rateMode = 2;
  s.bitrate = static_cast<int32_t>(bitrate);
  s.maxBitrate = static_cast<int32_t>(bitrate * 110u / 100u);
  return s;
}

std::vector<uint8_t> concatenate(const EncodeResult& run) {
  std::vector<uint8_t> all;
  for (const auto& picture : run.pictures) all.insert(all.end(), picture.bytes.begin(), picture.bytes.end());
  return all;
}

std::set<int64_t> keyFrameTimecodes(const EncodeResult& run) {
  std::set<int64_t> keys;
  for (const auto& picture : run.pictures) {
    if (scanAccessUnit(picture.bytes).delimiter == kDelimiterKey) keys.insert(picture.stamp.start / 10);
  }
  return keys;
}

std::set<int64_t> timecodesOf(const std::set<int>& indices) {
  std::set<int64_t> out;
  for (int i : indices) out.insert(clipTimecode(i));
  return out;
}

// The encoder class's round trip takes YV12; here the other chroma order.
TEST(H264OutVideo, PicturesArriveFramedWithOwnTimeStampsAndDecode) {
  const SyntheticClip clip = makeClip(kWidth, kHeight, kPictures, kFourCCI420, -1);
  H264EncoderSettings s = liveSettings(2, 2, 3000000);
  s.bFrames = 3;
  const EncodeResult run = encodeClip(s, clip);
  ASSERT_EQ(run.worstPutStatus, 0);
  EXPECT_EQ(run.doneStatus, 0);
  EXPECT_EQ(run.orderFaults, 0);
  ASSERT_EQ(run.pictures.size(), static_cast<size_t>(kPictures));

  std::set<int64_t> starts;
  std::vector<int64_t> order;
  int bPictures = 0;
  for (const auto& picture : run.pictures) {
    const AccessUnitScan scan = scanAccessUnit(picture.bytes);
    EXPECT_NE(scan.delimiter, 0) << "access unit without a leading delimiter";
    EXPECT_TRUE(scan.onlyFourByteStartCodes);
    bPictures += scan.delimiter == kDelimiterB ? 1 : 0;
    ASSERT_TRUE(picture.stamped);
    EXPECT_EQ(picture.stamp.stop, picture.stamp.start + 333) << "the whole record travels with its picture";
    starts.insert(picture.stamp.start);
    order.push_back(picture.stamp.start);
  }
  std::set<int64_t> expected;
  for (int i = 0; i < kPictures; ++i) expected.insert(clipTimecode(i) * 10);
  EXPECT_EQ(starts, expected);
  EXPECT_GT(bPictures, 0);
  EXPECT_FALSE(std::is_sorted(order.begin(), order.end())) << "B-frames leave in decode order";

  if (!haveFfmpeg()) GTEST_SKIP() << "ffmpeg is needed";
  const auto decoded = decodeWithFfmpeg(concatenate(run), kWidth, kHeight, "h264_roundtrip");
  ASSERT_EQ(decoded.size(), static_cast<size_t>(kPictures));
  for (int i = 0; i < kPictures; ++i) EXPECT_GT(psnrI420(decoded[i], clip, i), 35.0) << i;
}

TEST(H264OutVideo, KeyFramesFallOnRequestsOnlyUnderKeyFrameFollow) {
  const SyntheticClip clip = makeClip(kWidth, kHeight, kPictures, kFourCCI420, 23);
  const std::set<int> requests = {0, 10, 37, 50};
  H264EncoderSettings s = liveSettings(2, 2, 1000000);
  s.bFrames = 3;

  // Control: the encoder's own placement does cut at the scene change.
  EXPECT_EQ(keyFrameTimecodes(encodeClip(s, clip)).count(clipTimecode(23)), 1u);

  applyKeyFrameFollow(s);
  const EncodeResult follow = encodeClip(s, clip, requests);
  ASSERT_EQ(follow.pictures.size(), static_cast<size_t>(kPictures));
  EXPECT_EQ(keyFrameTimecodes(follow), timecodesOf(requests));
  for (const auto& picture : follow.pictures) {
    const AccessUnitScan scan = scanAccessUnit(picture.bytes);
    const bool idr = std::count(scan.nalTypes.begin(), scan.nalTypes.end(), 5) > 0;
    EXPECT_EQ(idr, scan.delimiter == kDelimiterKey) << "requested key frames are IDR pictures";
  }

  // Without IDR on request and with an open GOP the same pictures become
  // recovery point I pictures.
  s.idrOnRequest = 0;
  s.openGop = 1;
  const EncodeResult open = encodeClip(s, clip, requests);
  EXPECT_EQ(keyFrameTimecodes(open), timecodesOf(requests));
  int idrs = 0;
  for (const auto& picture : open.pictures) {
    const auto types = scanAccessUnit(picture.bytes).nalTypes;
    idrs += static_cast<int>(std::count(types.begin(), types.end(), 5));
  }
  EXPECT_EQ(idrs, 1) << "only the first picture is an IDR";
}

TEST(H264OutVideo, DoneWritesOutOrDropsHeldPictures) {
  const SyntheticClip clip = makeClip(kWidth, kHeight, 30, kFourCCI420, -1);
  H264EncoderSettings s = liveSettings(2, 5, 1000000);  // medium: lookahead and B-frames hold pictures
  EXPECT_EQ(encodeClip(s, clip, {}, 0).pictures.size(), 30u);
  EXPECT_LT(encodeClip(s, clip, {}, 1).pictures.size(), 30u);
}

struct SweepCase {
  const char* name;
  std::function<void(H264EncoderSettings&)> set;
  std::function<int32_t(const H264ParamSummary&)> get;
  int32_t expected;
};

TEST(H264OutVideo, EachMappedFieldReachesTheLibrary) {
  using S = H264EncoderSettings;
  using P = H264ParamSummary;
  const std::vector<SweepCase> cases = {
      {"baseline drops CABAC", [](S& s) { s.profile = 0; s.cabac = 1; }, [](const P& p) { return p.cabac; }, 0},
      {"baseline drops B-frames", [](S& s) { s.profile = 0; s.bFrames = 3; }, [](const P& p) { return p.bFrames; }, 0},
      {"main drops 8x8", [](S& s) { s.profile = 1; s.transform8x8 = 1; }, [](const P& p) { return p.transform8x8; }, 0},
      {"high keeps 8x8", [](S& s) { s.transform8x8 = 1; }, [](const P& p) { return p.transform8x8; }, 1},
      {"level automatic", [](S& s) { s.levelIdc = 0; }, [](const P& p) { return p.levelIdc; }, -1},
      {"ultrafast", [](S& s) { s.speedPreset = 0; }, [](const P& p) { return p.subpelRefine; }, 0},
      {"veryslow", [](S& s) { s.speedPreset = 8; }, [](const P& p) { return p.subpelRefine; }, 10},
      {"preset chosen refs", [](S& s) { s.speedPreset = 8; }, [](const P& p) { return p.refFrames; }, 16},
      {"tune stillimage", [](S& s) { s.tune = 4; }, [](const P& p) { return p.deblockAlpha; }, -3},
      {"key interval tenths", [](S& s) { s.keyIntervalMax = -20; s.frameRate = 25.0; }, [](const P& p) { return p.keyIntervalMax; }, 50},
      {"key interval none", [](S& s) { s.keyIntervalMax = 0; }, [](const P& p) { return p.keyIntervalMax; }, 1 << 30},
      {"scene cut off", [](S& s) { s.sceneCut = 0; }, [](const P& p) { return p.sceneCut; }, 0},
      {"constant quantiser", [](S& s) { s.rateMode = 0; s.quantiser = 30; }, [](const P& p) { return p.rateMethod * 100 + p.quantiser; }, 30},
      {"rate factor", [](S& s) { s.rateMode = 1; s.rateFactorX100 = 2150; }, [](const P& p) { return p.rateMethod * 10000 + p.rateFactorX100; }, 12150},
      {"average bitrate", [](S& s) { s.bitrate = 800000; }, [](const P& p) { return p.rateMethod * 10000 + p.bitrateKbps; }, 20800},
      {"maximum bitrate", [](S& s) { s.maxBitrate = 880000; }, [](const P& p) { return p.vbvMaxKbps; }, 880},
      {"buffer one second", [](S& s) { s.maxBitrate = 880000; }, [](const P& p) { return p.vbvBufferKbit; }, 880},
      {"no maximum", [](S& s) { s.maxBitrate = 0; }, [](const P& p) { return p.vbvMaxKbps; }, 0},
      {"constant bitrate", [](S& s) { s.rateMode = 3; s.bitrate = 600000; }, [](const P& p) { return p.vbvMaxKbps; }, 600},
      {"sample aspect", [](S& s) { s.sarWidth = 4; s.sarHeight = 3; }, [](const P& p) { return p.sarWidth * 10 + p.sarHeight; }, 43},
      {"zero latency: no B", [](S& s) { s.zeroLatency = 1; s.bFrames = 3; }, [](const P& p) { return p.bFrames; }, 0},
      {"zero latency: no lookahead", [](S& s) { s.zeroLatency = 1; s.rcLookahead = 30; }, [](const P& p) { return p.rcLookahead + p.syncLookahead; }, 0},
      {"zero latency: sliced", [](S& s) { s.zeroLatency = 1; s.slicedThreads = 0; }, [](const P& p) { return p.slicedThreads; }, 1},
      {"interlaced", [](S& s) { s.interlaced = 2; }, [](const P& p) { return p.interlaced * 10 + p.topFieldFirst; }, 10},
      {"motion search", [](S& s) { s.meMethod = 2; s.meRange = 24; }, [](const P& p) { return p.meMethod * 100 + p.meRange; }, 224},
      {"frame rate", [](S& s) { s.frameRate = 29.97; }, [](const P& p) { return static_cast<int32_t>(p.fpsNum * 10 + p.fpsDen % 10); }, 300001},
      {"spare fields have no effect", [](S& s) { s.spare2876 = 77; s.spare5492[3] = 9; }, [](const P& p) { return p.bFrames; }, 3},
  };
  for (const SweepCase& c : cases) {
    SCOPED_TRACE(c.name);
    H264EncoderSettings s = liveSettings(2, 5, 1000000);
    c.set(s);
    H264ParamSummary summary;
    ASSERT_EQ(h264OutVideoDescribe(&s, &summary), 0);
    EXPECT_EQ(c.get(summary), c.expected);
    EXPECT_EQ(summary.annexB * 10 + summary.accessUnitDelimiters, 10) << "our own delimiters, Annex B codes";
  }
}

// Fields the library takes as they stand, all set at once.
TEST(H264OutVideo, PlainFieldsReachTheLibraryUnchanged) {
  H264EncoderSettings s = liveSettings(2, 5, 1000000);
  s.levelIdc = 31; s.keyIntervalMax = 48; s.keyIntervalMin = 5; s.sceneCut = 55;
  s.openGop = 1; s.intraRefresh = 1; s.bFrames = 2; s.bAdapt = 2;
  s.bBias = -20; s.bPyramid = 1; s.refFrames = 4; s.vbvBufferBits = 2000000;
  s.vbvInitPercent = 50; s.rateTolerancePercent = 150; s.qpMin = 12; s.qpMax = 40;
  s.qpStep = 3; s.ipRatioX100 = 150; s.aqMode = 2; s.mbTree = 0;
  s.rcLookahead = 12; s.nalHrd = 1; s.cabac = 0; s.deblock = 0;
  s.deblockOffsets[1] = 2; s.vui[1] = 1; s.colourMatrix = 1; s.threads = 3;
  s.slicedThreads = 1; s.sliceCount = 4; s.trellis = 2; s.psyRdX100 = 80;
  s.weightedPredP = 1; s.directMode = 2; s.interPartitions = 0x10; s.deadzoneIntra = 9;
  s.chromaQpOffset = -2; s.cabacInitIdc = 2; s.repeatHeaders = 0; s.logLevel = -1;
  H264ParamSummary p;
  ASSERT_EQ(h264OutVideoDescribe(&s, &p), 0);
  const std::vector<int32_t> got = {
      p.levelIdc, p.keyIntervalMax, p.keyIntervalMin, p.sceneCut, p.openGop, p.intraRefresh,
      p.bFrames, p.bAdapt, p.bBias, p.bPyramid, p.refFrames, p.vbvBufferKbit,
      p.vbvInitPercent, p.rateTolerancePercent, p.qpMin, p.qpMax, p.qpStep, p.ipRatioX100,
      p.aqMode, p.mbTree, p.rcLookahead, p.nalHrd, p.cabac, p.deblock,
      p.deblockBeta, p.fullRange, p.colourMatrix, p.threads, p.slicedThreads, p.sliceCount,
      p.trellis, p.psyRdX100, p.weightedPredP, p.directMode, p.interPartitions, p.deadzoneIntra,
      p.chromaQpOffset, p.cabacInitIdc, p.repeatHeaders, p.logLevel};
  const std::vector<int32_t> want = {31, 48, 5, 55, 1, 1, 2, 2, -20, 1, 4, 2000, 50, 150, 12, 40, 3, 150, 2, 0, 12, 1, 0, 0, 2, 1, 1, 3, 1, 4, 2, 80, 1, 2, 0x10, 9, -2, 2, 0, -1};
  EXPECT_EQ(got, want);
}

std::vector<std::string> g_errors;
std::vector<std::string> g_infos;

template <std::vector<std::string>* lines>
void record(const char* format, ...) {
  char text[256];
  va_list arguments;
  va_start(arguments, format);
  vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  lines->emplace_back(text);
}

H264GenericFunction resolve(const char* name) {
  const std::string n = name;
  if (n == "err_printf") return reinterpret_cast<H264GenericFunction>(&record<&g_errors>);
  return n == "inf_printf" ? reinterpret_cast<H264GenericFunction>(&record<&g_infos>) : nullptr;
}

TEST(H264OutVideo, CheckRefusesUnusableRecordsAndSaysWhy) {
  struct Case { const char* name; std::function<void(H264EncoderSettings&)> set; int status; };
  const std::vector<Case> cases = {
      {"usable", [](H264EncoderSettings&) {}, kH264Ok},
      {"no size", [](H264EncoderSettings& s) { s.width = 0; }, kH264InvalidSize},
      {"odd height", [](H264EncoderSettings& s) { s.height = 241; }, kH264InvalidSize},
      {"no frame rate", [](H264EncoderSettings& s) { s.frameRate = 0; }, kH264InvalidFrameRate},
      {"NaN frame rate", [](H264EncoderSettings& s) { s.frameRate = std::nan(""); }, kH264InvalidFrameRate},
      {"unknown profile", [](H264EncoderSettings& s) { s.profile = 7; }, kH264InvalidProfile},
      {"interlaced baseline", [](H264EncoderSettings& s) { s.profile = 0; s.interlaced = 1; }, kH264InvalidProfile},
      {"unknown preset", [](H264EncoderSettings& s) { s.speedPreset = 12; }, kH264InvalidChoice},
      {"unknown tune", [](H264EncoderSettings& s) { s.tune = 8; }, kH264InvalidChoice},
      {"unknown rate mode", [](H264EncoderSettings& s) { s.rateMode = 9; }, kH264InvalidRateControl},
      {"no bit rate", [](H264EncoderSettings& s) { s.bitrate = 0; }, kH264InvalidRateControl},
      {"quantiser too large", [](H264EncoderSettings& s) { s.rateMode = 0; s.quantiser = 60; }, kH264InvalidRateControl},
  };
  // A record that passes our checks but that the library refuses when it
  // opens: what the library copied out of it must not outlive the refusal
  // (the sanitizer build's leak check sees it).
  H264EncoderSettings refused = liveSettings(1, 2, 1000000);
  refused.bitrate = -1;  // 2^32 - 1 bits per second: 0 kbit/s once rounded in 32 bits
  EXPECT_EQ(h264OutVideoChkSettings(nullptr, &refused, 0, 0), kH264Ok);
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(h264OutVideoNew(nullptr, &refused, 0, 0xFFFFFFFF, 0, nullptr), nullptr);
  }
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    H264EncoderSettings s = liveSettings(1, 2, 1000000);
    c.set(s);
    g_errors.clear();
    EXPECT_EQ(h264OutVideoChkSettings(&resolve, &s, 0, 0), c.status);
    EXPECT_EQ(g_errors.empty(), c.status == kH264Ok);
    EXPECT_EQ(h264OutVideoChkSettings(nullptr, &s, 0, 0), c.status) << "no resolver: same answer, silently";
    std::unique_ptr<H264OutVideo, H264OutVideoDeleter> handle(h264OutVideoNew(nullptr, &s, 0, 0xFFFFFFFF, 0, nullptr));
    EXPECT_EQ(handle != nullptr, c.status == kH264Ok);
  }
  H264EncoderSettings defaults;
  h264OutVideoDefaults(&defaults, 0, 2);
  EXPECT_EQ(h264OutVideoChkSettings(nullptr, &defaults, 0, 0), kH264InvalidSize) << "the host sets the size";
  EXPECT_EQ(h264OutVideoChkSettings(nullptr, nullptr, 0, 0), kH264InvalidArgument);
  EXPECT_EQ(h264OutVideoDefaults(nullptr, 0, 0), kH264InvalidArgument);
}

TEST(H264OutVideo, LibraryWarningsGoIntoTheProcessLogAndNowhereElse) {
  H264EncoderSettings s = liveSettings(1, 2, 1000000);
  s.levelIdc = 10;  // far too small a level for the picture: the library warns
  g_errors.clear();
  g_infos.clear();
  LogCollector processLog;
  routeLibraryLogs(&processLog);
  testing::internal::CaptureStderr();
  std::unique_ptr<H264OutVideo, H264OutVideoDeleter> handle(h264OutVideoNew(&resolve, &s, 0, 0xFFFFFFFF, 0, nullptr));
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  routeLibraryLogs(getDefaultLogger());
  ASSERT_NE(handle, nullptr);
  std::vector<LogStatement> lines = test::drain(processLog);
  ASSERT_FALSE(lines.empty());
  EXPECT_TRUE(std::any_of(lines.begin(), lines.end(), [](const LogStatement& line) {
    return line.level == 2 && line.statement.rfind("x264: ", 0) == 0 && line.statement.find("level") != std::string::npos;
  }));
  EXPECT_TRUE(std::none_of(lines.begin(), lines.end(), [](const LogStatement& line) {
    return line.statement.back() == '\n';
  }));
  EXPECT_TRUE(g_errors.empty() && g_infos.empty()) << "the caller's functions get only the stand-in's own lines";
}

TEST(H264OutVideo, RefusesBadCallsWithoutHarm) {
  const SyntheticClip clip = makeClip(kWidth, kHeight, 2, kFourCCI420, -1);
  H264EncoderSettings s = liveSettings(0, 2, 1000000);
  uint8_t* picture = const_cast<uint8_t*>(clip.pictures[0].data());
  std::unique_ptr<H264OutVideo, H264OutVideoDeleter> handle;
  auto put = [&](uint8_t* pixels, uint32_t height = kHeight, uint32_t code = kFourCCI420) {
    return h264OutVideoPutFrame(handle.get(), pixels, kWidth, kWidth, height, code, 0, nullptr);
  };

  EXPECT_EQ(h264OutVideoInit(nullptr, nullptr, 4096, nullptr), kH264InvalidArgument);
  EXPECT_EQ(put(picture), kH264InvalidArgument);
  EXPECT_EQ(h264OutVideoDone(nullptr, 1), kH264InvalidArgument);
  h264OutVideoFree(nullptr);
  EXPECT_EQ(h264OutVideoNew(nullptr, nullptr, 0, 0, 0, nullptr), nullptr);

  handle.reset(h264OutVideoNew(nullptr, &s, 0, 0xFFFFFFFF, 0, nullptr));
  ASSERT_NE(handle, nullptr);
  EXPECT_EQ(put(picture), kH264InvalidArgument) << "no sink yet";
  bufstream_tt incomplete{};
  EXPECT_EQ(h264OutVideoInit(handle.get(), &incomplete, 4096, nullptr), kH264InvalidArgument);

  RecordingSink sink;
  ASSERT_EQ(h264OutVideoInit(handle.get(), sink.sink(), 4096, nullptr), 0);
  EXPECT_EQ(put(picture, kHeight, 0x32595559), kH264UnsupportedPicture);
  EXPECT_EQ(put(picture, kHeight - 2), kH264UnsupportedPicture);
  EXPECT_EQ(put(nullptr), kH264UnsupportedPicture);
  sink.refuseCopies = 1;
  EXPECT_EQ(put(picture), kH264OutputFailed);
  EXPECT_EQ(put(picture), 0);
  EXPECT_EQ(sink.pictures.size(), 1u) << "the refused picture is lost whole, the next one arrives";
  EXPECT_EQ(sink.pictures[0].stamp.start, 4) << "without a record the picture number stands in";
  EXPECT_EQ(h264OutVideoDone(handle.get(), 0), 0);
  EXPECT_EQ(h264OutVideoDone(handle.get(), 0), 0);
  EXPECT_EQ(put(picture), kH264InvalidArgument);
}

}  // namespace
}  // namespace cvx::test
