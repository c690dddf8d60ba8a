// The video decoder stream against a bare libavcodec loop over the same 720p
// H.264 stream (B-frames), single-threaded, both copying every picture out.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <cstring>
#include <deque>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "platform/bufstream/FrameRecord.h"
#include "support/ReferenceDecodeLoop.h"
#include "platform/videodecoder/VideoDecoderOpen.h"
#include "../tests/native/support/AnnexB.h"

namespace {

using cvx::test::Nal;
using cvx::test::splitNals;
using cvx::test::withStartCode;

constexpr int kWidth = 1280;
constexpr int kHeight = 720;
constexpr int kFrames = 60;

struct Clip {
  std::vector<uint8_t> bytes;
  std::vector<std::pair<size_t, size_t>> accessUnits;  // Annex B, delimiters included
  std::vector<std::vector<Nal>> frames;                 // the host's view: no delimiter or parameter sets
  std::vector<bool> key;
  std::vector<uint8_t> sps;
  std::vector<uint8_t> pps;
};

const Clip& clip() {
  static Clip clip = [] {
    Clip c;
    const std::string path = (std::filesystem::temp_directory_path() / "cvx-bench-vdec-720p.h264").string();
    if (!std::filesystem::exists(path)) {
      const std::string command =
          "ffmpeg -v error -y -f lavfi -i testsrc2=size=1280x720:rate=25 -frames:v " + std::to_string(kFrames) +
          " -c:v libx264 -preset veryfast -bf 2 -g 30 -x264-params aud=1 -pix_fmt yuv420p -f h264 " + path;
      if (std::system(command.c_str()) != 0) return c;
    }
    std::ifstream in(path, std::ios::binary);
    c.bytes.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    // Access units start at each delimiter.
    std::vector<size_t> starts;
    for (size_t i = 0; i + 4 < c.bytes.size(); ++i) {
      if (c.bytes[i] == 0 && c.bytes[i + 1] == 0 && c.bytes[i + 2] == 0 && c.bytes[i + 3] == 1 &&
          (c.bytes[i + 4] & 31) == 9) {
        starts.push_back(i);
      }
    }
    starts.push_back(c.bytes.size());
    for (size_t u = 0; u + 1 < starts.size(); ++u) {
      c.accessUnits.emplace_back(starts[u], starts[u + 1] - starts[u]);
      std::vector<Nal> frame;
      bool key = false;
      for (const Nal& nal : splitNals(c.bytes.data() + starts[u], starts[u + 1] - starts[u])) {
        const int type = nal.data[0] & 31;
        if (type == 7 && c.sps.empty()) c.sps = withStartCode(nal);
        if (type == 8 && c.pps.empty()) c.pps = withStartCode(nal);
        key = key || type == 5;
        if (type != 9 && type != 7 && type != 8) frame.push_back(nal);
      }
      c.frames.push_back(frame);
      c.key.push_back(key);
    }
    return c;
  }();
  return clip;
}

void BM_ReferenceLoop(benchmark::State& state) {
  const Clip& c = clip();
  if (c.accessUnits.empty()) {
    state.SkipWithError("ffmpeg with libx264 is needed");
    return;
  }
  const bool copy = state.range(0) != 0;
  std::vector<uint8_t> picture(static_cast<size_t>(kWidth) * kHeight * 3 / 2);
  cvx::ReferenceDecodeLoop loop;
  if (!loop.open(1)) {
    state.SkipWithError("no H.264 decoder");
    return;
  }
  int64_t pictures = 0;
  for (auto _ : state) {
    uint8_t* target = copy ? picture.data() : nullptr;
    for (const auto& unit : c.accessUnits) {
      pictures += loop.decode(c.bytes.data() + unit.first, unit.second, target, kWidth, kHeight);
    }
    pictures += loop.flush(target, kWidth, kHeight);
  }
  state.SetItemsProcessed(pictures);
}
BENCHMARK(BM_ReferenceLoop)->Arg(1)->Arg(0)->ArgName("copy")->Unit(benchmark::kMillisecond);

// Fed as the H.264 decoder class feeds it: one span per delimiter, parameter
// set, start code and unit, the parser run after each span.
void BM_DecoderStream(benchmark::State& state) {
  const Clip& c = clip();
  if (c.frames.empty()) {
    state.SkipWithError("ffmpeg with libx264 is needed");
    return;
  }
  static const uint8_t kStartCode[4] = {0, 0, 0, 1};
  static const uint8_t kAudKey[6] = {0, 0, 0, 1, 9, 0x10};
  static const uint8_t kAudInter[6] = {0, 0, 0, 1, 9, 0x30};
  struct Span {
    const uint8_t* data;
    uint32_t size;
  };
  struct UserData {
    uint32_t frameType;
    uint64_t timecode;
  };
  std::vector<uint8_t> picture(static_cast<size_t>(kWidth) * kHeight * 3 / 2);
  cvx::FrameRecord record{};
  record.width = kWidth;
  record.height = kHeight;
  record.fourcc = 0x32315659;
  record.plane[0] = picture.data();
  record.plane[1] = picture.data() + kWidth * kHeight;
  record.plane[2] = picture.data() + kWidth * kHeight * 5 / 4;
  record.planeStride[0] = kWidth;
  record.planeStride[1] = record.planeStride[2] = kWidth / 2;
  std::deque<Span> queue;
  int64_t pictures = 0;
  auto act = [&](cvx::bufstream_tt* bs, uint32_t run) {
    if ((run & 0x500000) == 0x500000) {
      void* user = nullptr;
      bs->auxinfo(bs, 0, cvx::decoder_info::kFetchUserData, &user, 8);
      if (bs->auxinfo(bs, 0, cvx::decoder_info::kWritePicture, &record, sizeof(record)) == 0) ++pictures;
    }
  };
  // Opened once, like the reference loop; each pass ends with done(0), which
  // drains the stream and leaves it open for the next.
  cvx::bufstream_tt* bs = cvx::openVideoDecoderStreamH264(nullptr, nullptr, nullptr);
  bs->auxinfo(bs, 0, cvx::decoder_info::kResetParser, nullptr, 0);
  bs->copybytes(bs, const_cast<uint8_t*>(c.sps.data()), static_cast<uint32_t>(c.sps.size()));
  bs->auxinfo(bs, 0, cvx::decoder_info::kRunParser, nullptr, 0);
  bs->copybytes(bs, const_cast<uint8_t*>(c.pps.data()), static_cast<uint32_t>(c.pps.size()));
  bs->auxinfo(bs, 0, cvx::decoder_info::kRunParser, nullptr, 0);
  for (auto _ : state) {
    for (size_t f = 0; f < c.frames.size(); ++f) {
      UserData user{c.key[f] ? 1u : 2u, f * 40};
      bs->auxinfo(bs, 0, cvx::decoder_info::kAttachUserData, &user, sizeof(user));
      queue.push_back({c.key[f] ? kAudKey : kAudInter, 6});
      queue.push_back({c.sps.data(), static_cast<uint32_t>(c.sps.size())});
      queue.push_back({c.pps.data(), static_cast<uint32_t>(c.pps.size())});
      for (const Nal& nal : c.frames[f]) {
        queue.push_back({kStartCode, 4});
        queue.push_back({nal.data, nal.size});
      }
      while (!queue.empty()) {
        Span span = queue.front();
        queue.pop_front();
        const uint32_t taken = bs->copybytes(bs, const_cast<uint8_t*>(span.data), span.size);
        if (taken < span.size) queue.push_front({span.data + taken, span.size - taken});
        const uint32_t run = bs->auxinfo(bs, 0, cvx::decoder_info::kRunParser, nullptr, 0);
        if ((run & 1) != 0) act(bs, run);
      }
    }
    bs->done(bs, 0);
    for (uint32_t run; ((run = bs->auxinfo(bs, 0, cvx::decoder_info::kRunParser, nullptr, 0)) & 1) != 0;) {
      act(bs, run);
    }
  }
  bs->free(bs);
  state.SetItemsProcessed(pictures);
}
BENCHMARK(BM_DecoderStream)->Unit(benchmark::kMillisecond);

}  // namespace
