// The software H.264 encoder class against the ffmpeg command line's libx264
// encoder, side by side: each iteration encodes the same raw 4:2:0 frames
// once through VideoEncoderH264 (frames handed over in place, output taken
// as length-prefixed units and freed, as a session does) and once through
// `ffmpeg -f rawvideo ... -c:v libx264 -f null -` with the same preset,
// profile, size, rate, bit rate, VBV and key frame interval. Both sides run
// in the same iteration, so they see the same machine load.
//
// Reported per case: frames per second by wall time and by CPU time (our
// process's own CPU, ffmpeg's as a child), and ours over ffmpeg's for both.
// ffmpeg's totals include its process start, raw file reading and frame
// copying; the same command with `-c:v rawvideo` runs beside them, and the
// *_net figures take that baseline off, leaving ffmpeg's encoder alone: the
// comparison least favourable to us.
#include <benchmark/benchmark.h>

#include <sys/resource.h>
#include <sys/time.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "video/encoders/VideoEncoderH264.h"
#include "video/frames/VideoFrameBuffer.h"

namespace {

using namespace cvx;

constexpr uint32_t kWidth = 640;
constexpr uint32_t kHeight = 360;
constexpr int kFrames = 300;
constexpr double kRate = 30.0;
constexpr uint32_t kBitrate = 1500000;
constexpr uint32_t kFamilyHigh = 2;
constexpr uint32_t kFourCCI420 = 0x30323449;
const char* const kPresetNames[] = {"ultrafast", "superfast", "veryfast", "faster", "fast", "medium"};

std::string rawPath() {
  const char* dir = std::getenv("CVX_BENCH_TMPDIR");
  return std::string(dir != nullptr ? dir : "/tmp") + "/cvx-h264-bench-640x360.yuv";
}

// The clip, made once by ffmpeg's test pattern and kept in memory.
const std::vector<uint8_t>& rawFrames() {
  static const std::vector<uint8_t> frames = [] {
    const std::string path = rawPath();
    const std::string make = "ffmpeg -v error -y -f lavfi -i testsrc2=size=" + std::to_string(kWidth) + "x" +
                             std::to_string(kHeight) + ":rate=30 -frames:v " + std::to_string(kFrames) +
                             " -pix_fmt yuv420p -f rawvideo '" + path + "'";
    std::ifstream probe(path, std::ios::binary | std::ios::ate);
    const auto expected = static_cast<std::streamoff>(kWidth) * kHeight * 3 / 2 * kFrames;
    if (!probe || probe.tellg() != expected) {
      if (std::system(make.c_str()) != 0) return std::vector<uint8_t>{};
    }
    std::ifstream file(path, std::ios::binary);
    return std::vector<uint8_t>((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  }();
  return frames;
}

double cpuSeconds(int who) {
  rusage usage{};
  getrusage(who, &usage);
  return static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
         static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

struct Timing {
  double wall = 0;
  double cpu = 0;
};

// One pass of the clip through the encoder class; false if it refused.
bool encodeOurs(int preset, int threads, Timing& timing, int64_t& bytes) {
  const auto& raw = rawFrames();
  const size_t frameBytes = static_cast<size_t>(kWidth) * kHeight * 3 / 2;
  const auto wall0 = std::chrono::steady_clock::now();
  const double cpu0 = cpuSeconds(RUSAGE_SELF);
  {
    auto encoder = std::make_unique<VideoEncoderH264>();
    encoder->setDefaults(kFamilyHigh, static_cast<uint32_t>(preset));
    encoder->setFrameSize(kWidth, kHeight);
    encoder->setFrameRate(kRate);
    encoder->setBitrate(kBitrate);
    encoder->setParameterLong(10013, threads);
    if (encoder->initialize() != 0) return false;
    VideoFrameBuffer frame;
    std::vector<VideoFrameEncoded> out;
    out.reserve(16);
    for (int i = 0; i < kFrames; ++i) {
      auto* luma = const_cast<uint8_t*>(raw.data() + i * frameBytes);
      uint8_t* const planes[4] = {luma, luma + kWidth * kHeight, luma + kWidth * kHeight * 5 / 4, nullptr};
      const int32_t strides[4] = {kWidth, kWidth / 2, kWidth / 2, 0};
      frame.attachExternal(kWidth, kHeight, kFourCCI420, planes, strides, frameBytes);
      frame.setTimecode(static_cast<int64_t>(i) * 1000 / 30);
      frame.setFrameType(0);
      encoder->addFrame(frame);
      encoder->getEncodedFrames(out);
      for (auto& f : out) {
        bytes += f.block.size();
      }
      out.clear();
    }
    // The destructor ends the stream: the held pictures are still encoded.
  }
  timing.wall += std::chrono::duration<double>(std::chrono::steady_clock::now() - wall0).count();
  timing.cpu += cpuSeconds(RUSAGE_SELF) - cpu0;
  return true;
}

// With `encode` false: the same read, demux and hand-over, without encoding.
bool runFfmpeg(int preset, int threads, bool encode, Timing& timing) {
  const int kbps = static_cast<int>(kBitrate / 1000);
  const int maxKbps = static_cast<int>(kBitrate * 110ull / 100 / 1000);
  const std::string codec = encode ? "-c:v libx264 -preset " + std::string(kPresetNames[preset]) +
                                         " -profile:v high -b:v " + std::to_string(kbps) + "k -maxrate " +
                                         std::to_string(maxKbps) + "k -bufsize " + std::to_string(maxKbps) +
                                         "k -g 60"
                                   : "-c:v rawvideo";
  const std::string command = "ffmpeg -v error -nostdin -y -f rawvideo -pix_fmt yuv420p -s " +
                              std::to_string(kWidth) + "x" + std::to_string(kHeight) + " -r 30 -i '" + rawPath() +
                              "' " + codec + " -threads " + std::to_string(threads) + " -f null - > /dev/null 2>&1";
  const auto wall0 = std::chrono::steady_clock::now();
  const double cpu0 = cpuSeconds(RUSAGE_CHILDREN);
  const int status = std::system(command.c_str());
  timing.wall += std::chrono::duration<double>(std::chrono::steady_clock::now() - wall0).count();
  timing.cpu += cpuSeconds(RUSAGE_CHILDREN) - cpu0;
  return status == 0;
}

// Arguments: speed preset, threads (0 automatic).
void BM_H264SideBySide(benchmark::State& state) {
  const int preset = static_cast<int>(state.range(0));
  const int threads = static_cast<int>(state.range(1));
  if (rawFrames().empty()) {
    state.SkipWithError("ffmpeg could not make the raw clip");
    return;
  }
  Timing ours;
  Timing theirs;
  Timing baseline;
  int64_t bytes = 0;
  for (auto _ : state) {
    const auto wall0 = std::chrono::steady_clock::now();
    // Alternate which side goes first, so neither always meets a warm cache.
    const bool oursFirst = state.iterations() % 2 == 0;
    if (!oursFirst && !runFfmpeg(preset, threads, true, theirs)) {
      state.SkipWithError("ffmpeg with libx264 failed");
      return;
    }
    if (!encodeOurs(preset, threads, ours, bytes)) {
      state.SkipWithError("the encoder refused the settings");
      return;
    }
    if (oursFirst && !runFfmpeg(preset, threads, true, theirs)) {
      state.SkipWithError("ffmpeg with libx264 failed");
      return;
    }
    if (!runFfmpeg(preset, threads, false, baseline)) {
      state.SkipWithError("ffmpeg without encoding failed");
      return;
    }
    // The iteration takes all three runs.
    state.SetIterationTime(std::chrono::duration<double>(std::chrono::steady_clock::now() - wall0).count());
  }
  const double frames = static_cast<double>(kFrames) * static_cast<double>(state.iterations());
  state.counters["ours_fps_wall"] = frames / ours.wall;
  state.counters["ffmpeg_fps_wall"] = frames / theirs.wall;
  state.counters["ours_fps_cpu"] = frames / ours.cpu;
  state.counters["ffmpeg_fps_cpu"] = frames / theirs.cpu;
  state.counters["wall_ratio"] = theirs.wall / ours.wall;
  state.counters["cpu_ratio"] = theirs.cpu / ours.cpu;
  state.counters["wall_ratio_net"] = (theirs.wall - baseline.wall) / ours.wall;
  state.counters["cpu_ratio_net"] = (theirs.cpu - baseline.cpu) / ours.cpu;
  state.counters["ours_kbit_s"] = static_cast<double>(bytes) * 8.0 / (frames / kRate) / 1000.0;
}

BENCHMARK(BM_H264SideBySide)
    ->ArgNames({"preset", "threads"})
    ->Args({2, 1})
    ->Args({2, 0})
    ->Args({5, 1})
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(4);

}  // namespace
