// The H.264 encoder against the same library driven directly, with the same
// parameters on the same raw pictures: what the sink framing, the delimiter
// and start code rewriting and the time stamp bookkeeping cost.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <vector>

#include "support/H264DirectEncode.h"
#include "platform/h264encoder/H264OutVideo.h"

namespace {

using namespace cvx;

constexpr uint32_t kWidth = 640;
constexpr uint32_t kHeight = 360;
constexpr int kPictures = 60;

struct Clip {
  std::vector<std::vector<uint8_t>> blocks;
  std::vector<const uint8_t*> pictures;
};

const Clip& clip() {
  static const Clip made = [] {
    Clip c;
    const size_t luma = static_cast<size_t>(kWidth) * kHeight;
    for (int t = 0; t < kPictures; ++t) {
      std::vector<uint8_t> block(luma * 3 / 2, 128);
      for (uint32_t y = 0; y < kHeight; ++y) {
        for (uint32_t x = 0; x < kWidth; ++x) {
          const uint32_t texture = ((x * 7919u) ^ (y * 104729u)) >> 3 & 15u;
          block[y * kWidth + x] = static_cast<uint8_t>(16 + (x + y / 2 + 4u * t) % 200u + texture);
        }
      }
      c.blocks.push_back(std::move(block));
    }
    for (const auto& block : c.blocks) {
      c.pictures.push_back(block.data());
    }
    return c;
  }();
  return made;
}

// family, speed preset, threads
H264EncoderSettings settingsFor(const benchmark::State& state) {
  H264EncoderSettings s;
  h264OutVideoDefaults(&s, static_cast<uint32_t>(state.range(0)), static_cast<uint32_t>(state.range(1)));
  s.rateTolerancePercent = 100;
  s.width = kWidth;
  s.height = kHeight;
  s.frameRate = 30.0;
  s.rateMode = 2;
  s.bitrate = 1500000;
  s.maxBitrate = 1650000;
  s.threads = static_cast<int32_t>(state.range(2));
  return s;
}

// Keeps each access unit in one reused block, as the encoder's real output
// stream does.
struct CountingSink {
  bufstream_tt stream{};
  std::vector<uint8_t> buffer = std::vector<uint8_t>(256 * 1024);
  uint32_t used = 0;
  int64_t total = 0;

  CountingSink() {
    stream.privateData = this;
    stream.copybytes = [](bufstream_tt* bs, uint8_t* data, uint32_t n) -> uint32_t {
      auto& self = *static_cast<CountingSink*>(bs->privateData);
      if (self.used + n > self.buffer.size()) {
        return 0;
      }
      std::copy(data, data + n, self.buffer.data() + self.used);
      self.used += n;
      return n;
    };
    stream.auxinfo = [](bufstream_tt* bs, uint32_t, uint32_t code, void*, uint32_t) -> uint32_t {
      auto& self = *static_cast<CountingSink*>(bs->privateData);
      if (code == bufstream_info::kVideoFrameEnd) {
        self.total += self.used;
        self.used = 0;
      }
      return 0;
    };
  }
};

void BM_H264Encoder(benchmark::State& state) {
  const H264EncoderSettings s = settingsFor(state);
  int64_t bytes = 0;
  for (auto _ : state) {
    CountingSink sink;
    int32_t keyFrameRequest[4] = {-1, 0, -1, 0};
    void* options[1] = {keyFrameRequest};
    std::unique_ptr<H264OutVideo, H264OutVideoDeleter> encoder(h264OutVideoNew(nullptr, &s, 0, 0xFFFFFFFF, 0, nullptr));
    if (!encoder || h264OutVideoInit(encoder.get(), &sink.stream, 4096, options) != 0) {
      state.SkipWithError("encoder refused the settings");
      return;
    }
    for (int i = 0; i < kPictures; ++i) {
      time_stamp_info stamp{i * 333, i * 333 + 333, 0, 0};
      void* extInfo = &stamp;
      h264OutVideoPutFrame(encoder.get(), clip().pictures[i], kWidth, kWidth, kHeight, kFourCCI420, 0x10000000,
                           &extInfo);
    }
    h264OutVideoDone(encoder.get(), 0);
    bytes = sink.total;
  }
  state.SetItemsProcessed(state.iterations() * kPictures);
  state.counters["kbit_per_s"] = static_cast<double>(bytes) * 8.0 / (kPictures / 30.0) / 1000.0;
}

void BM_DirectX264(benchmark::State& state) {
  const H264EncoderSettings s = settingsFor(state);
  int64_t bytes = 0;
  for (auto _ : state) {
    bytes = h264DirectEncode(s, clip().pictures.data(), kPictures, kFourCCI420);
    if (bytes < 0) {
      state.SkipWithError("library refused the settings");
      return;
    }
  }
  state.SetItemsProcessed(state.iterations() * kPictures);
  state.counters["kbit_per_s"] = static_cast<double>(bytes) * 8.0 / (kPictures / 30.0) / 1000.0;
}

// Each case runs the encoder and then the direct loop, so that both sides of a
// pair see the same machine load.
#define CVX_H264_PAIR(family, preset, threads)                                                         \
  BENCHMARK(BM_H264Encoder)->ArgNames({"family", "preset", "threads"})->Args({family, preset, threads}) \
      ->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(1.0);                                     \
  BENCHMARK(BM_DirectX264)->ArgNames({"family", "preset", "threads"})->Args({family, preset, threads})  \
      ->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(1.0)
CVX_H264_PAIR(0, 2, 1);
CVX_H264_PAIR(2, 2, 1);
CVX_H264_PAIR(2, 5, 1);
CVX_H264_PAIR(0, 2, 0);

}  // namespace
