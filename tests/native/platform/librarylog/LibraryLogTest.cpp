#include "platform/librarylog/LibraryLog.h"

#include <gtest/gtest.h>

#include <chrono>
#include <random>
#include <string>
#include <vector>

#include "audio/decoders/AudioDecoderAAC.h"
#include "audio/samples/AudioSampleBuffer.h"
#include "logging/LogCollector.h"
#include "platform/librarylog/LogRateLimit.h"
#include "support/H264Clip.h"
#include "video/decoders/VideoDecoderH264.h"
#include "support/LogDrain.h"

namespace cvx {
namespace {

using std::chrono::milliseconds;

TEST(LogRateLimit, LetsABurstThroughThenOneLinePerPeriodAndCountsTheRest) {
  struct Step {
    int atMs;
    bool admitted;
    uint32_t dropped;  // reported with an admitted line
  };
  // Burst of three, one more every second.
  const Step steps[] = {
      {0, true, 0},    {0, true, 0},     {10, true, 0},    {20, false, 0},   {30, false, 0},
      {999, false, 0}, {1000, true, 3},  {1001, false, 0}, {3500, true, 1},  {3600, true, 0},
      {3700, false, 0},
      // A quiet hour refills the burst, no more.
      {3603700, true, 1}, {3603700, true, 0}, {3603700, true, 0}, {3603700, false, 0},
  };
  LogRateLimit limit(3, std::chrono::seconds(1));
  const LogRateLimit::Clock::time_point start{};
  for (const Step& step : steps) {
    SCOPED_TRACE(step.atMs);
    uint32_t dropped = 99;
    EXPECT_EQ(limit.admit(start + milliseconds(step.atMs), dropped), step.admitted);
    EXPECT_EQ(dropped, step.dropped);
  }
}

// Sends the libraries' lines to a collector of the test's for its lifetime.
class RoutedLibraryLog {
 public:
  RoutedLibraryLog() { routeLibraryLogs(&log); }
  ~RoutedLibraryLog() { routeLibraryLogs(getDefaultLogger()); }
  std::vector<LogStatement> drain() {
    return test::drain(log);
  }
  LogCollector log;
};

TEST(LibraryLog, ErrorsAndWarningsReachTheProcessLogWithoutTheirLineFeeds) {
  routeLibraryLogs(nullptr);
  writeLibraryLine(LogLibrary::Libva, kLibraryLogError, "libva: ", "before any sink\n");
  RoutedLibraryLog routed;
  writeLibraryLine(LogLibrary::Libva, kLibraryLogError, "libva: ", "vaInitialize failed\n");
  writeLibraryLine(LogLibrary::Libva, kLibraryLogWarning, "libva: ", "driver is old");
  writeLibraryLine(LogLibrary::Libva, 1, "libva: ", "information is not passed on");
  writeLibraryLine(LogLibrary::Libva, kLibraryLogError, "libva: ", "\n");
  const std::vector<LogStatement> lines = routed.drain();
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0].statement, "libva: vaInitialize failed");
  EXPECT_EQ(lines[0].level, 3);
  EXPECT_EQ(lines[0].contextType, -1);
  EXPECT_EQ(lines[1].statement, "libva: driver is old");
  EXPECT_EQ(lines[1].level, 2);
}

// libavcodec complains about nearly every damaged packet: nothing on stderr, at most a burst in the log.
TEST(LibraryLog, DamagedInputIntoTheDecodersWritesNothingToStandardError) {
  test::H264Clip clip;
  if (!test::makeH264Clip("library-log.h264", 160, 96, 12, "-preset veryfast -bf 0 -g 12", clip)) {
    GTEST_SKIP() << "ffmpeg could not make the clip";
  }
  AudioDecoderAAC aac;
  VideoDecoderH264 h264;
  RoutedLibraryLog routed;  // after the decoders, which route to the process log
  const auto start = std::chrono::steady_clock::now();
  testing::internal::CaptureStderr();

  ASSERT_EQ(aac.initialize(), 0);
  uint8_t config[2] = {0x12, 0x10};
  ASSERT_EQ(aac.decodeCodecConfig(config, 0, 2), 0);
  AudioSampleBuffer buffer;
  ASSERT_EQ(buffer.allocBuffer(2048, 2, 44100), 0);
  std::mt19937 random(12);
  for (int i = 0; i < 200; ++i) {
    std::vector<uint8_t> packet(AudioDecoderAAC::kHeaderSize + 20 + random() % 400);
    for (uint8_t& b : packet) b = static_cast<uint8_t>(random());
    aac.decodeFrame(packet.data(), 0, static_cast<uint32_t>(packet.size()), static_cast<uint64_t>(i) * 23, buffer);
  }

  ASSERT_EQ(h264.initialize(), 0);
  ASSERT_EQ(h264.decodeCodecConfig(clip.config.data(), 0, static_cast<uint32_t>(clip.config.size())), 0);
  for (int round = 0; round < 10; ++round) {
    for (const test::H264Clip::Frame& source : clip.frames) {
      std::vector<uint8_t> frame = source.data;
      for (size_t b = 5 + static_cast<size_t>(round); b < frame.size(); b += 11) frame[b] ^= 0xA5;
      h264.addFrame(frame.data(), 0, static_cast<uint32_t>(frame.size()), source.timecode, source.frameType);
      uint32_t flags = 0;
      for (int calls = 0; calls < 64 && (flags & kDecodeInputEmpty) == 0; ++calls) h264.decode(flags);
    }
  }

  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now() - start);
  size_t libraryLines = 0;
  for (const LogStatement& line : routed.drain()) {
    if (line.statement.rfind("libav [", 0) != 0) continue;
    ++libraryLines;
    EXPECT_LE(line.level, 3);
  }
  // The burst, and one line for each second the test ran.
  EXPECT_LE(libraryLines, 20u + static_cast<size_t>(seconds.count()) + 1) << "the rate limit holds";
}

}  // namespace
}  // namespace cvx
