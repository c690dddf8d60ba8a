// The scaler quality table: for each change of size, our scaled picture and
// libswscale's bicubic and area filters (and what the scaler did before,
// libyuv's box filter, or libswscale's bilinear for other codes), each against
// libswscale's lanczos (the ffmpeg command line's -vf scale=W:H:flags=lanczos)
// of the same picture: PSNR and SSIM of each plane, and the cost of a frame.
// Pictures are one frame of lavfi's testsrc2 and of its mandelbrot (fine
// detail), made with ffmpeg at each source size (CVX_BENCH_PICTURES, default
// /tmp/cvx-scaler-pictures). Runs as a Google Benchmark program; the cost of
// a frame is the best of all repetitions (run with --benchmark_repetitions
// and --benchmark_enable_random_interleaving, so that every scaler of a case
// meets the same load). Prints the full table, then a summary of luma, in
// Markdown at the end; bench/scaler_quality.sh runs it.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include <libyuv.h>
extern "C" {
#include <libswscale/swscale.h>
}

#include "platform/imagescaler/ScaleImage.h"
#include "platform/imagescaler/SwsConverter.h"

namespace {

// A picture in its planes. I420 pictures of odd size come two ways: in our
// layout (chroma planes of floor(w/2) x floor(h/2), the plane rule's) and in
// libswscale's (ceil), the extra column and row repeating the last one, so
// that both sides see the same samples.
struct Image {
  AVPixelFormat format = AV_PIX_FMT_YUV420P;
  int width = 0, height = 0;
  int cw = 0, ch = 0;  // chroma size in memory
  std::vector<uint8_t> bytes;
  uint8_t* plane[3] = {};
  int stride[3] = {};

  static Image i420(int w, int h, bool ceilChroma) {
    Image image;
    image.width = w;
    image.height = h;
    image.cw = ceilChroma ? (w + 1) / 2 : w / 2;
    image.ch = ceilChroma ? (h + 1) / 2 : h / 2;
    // Ours by the plane rule (plane 2 a quarter of the luma after plane 1);
    // libswscale writes whole vector blocks past a row: room after the picture.
    const size_t luma = static_cast<size_t>(w) * h;
    const size_t chroma = ceilChroma ? static_cast<size_t>(image.cw) * image.ch : luma / 4;
    image.bytes.assign(luma + chroma + static_cast<size_t>(image.cw) * image.ch + 256, 0);
    image.plane[0] = image.bytes.data();
    image.plane[1] = image.plane[0] + luma;
    image.plane[2] = image.plane[1] + chroma;
    image.stride[0] = w;
    image.stride[1] = image.stride[2] = image.cw;
    return image;
  }
  static Image packed(AVPixelFormat format, int bytesPerPixel, int w, int h) {
    Image image;
    image.format = format;
    image.width = w;
    image.height = h;
    image.bytes.assign(static_cast<size_t>(w) * h * bytesPerPixel + 256, 0);
    image.plane[0] = image.bytes.data();
    image.stride[0] = w * bytesPerPixel;
    return image;
  }
  static Image bgra(int w, int h) { return packed(AV_PIX_FMT_BGRA, 4, w, h); }
  static Image uyvy(int w, int h) { return packed(AV_PIX_FMT_UYVY422, 2, w, h); }
  static Image of(uint32_t fourcc, int w, int h, bool ceilChroma) {
    if (fourcc == cvx::kFourCCBGRA) return bgra(w, h);
    if (fourcc == cvx::kFourCCUYVY) return uyvy(w, h);
    return i420(w, h, ceilChroma);
  }
  bool isI420() const { return format == AV_PIX_FMT_YUV420P; }
};

std::string picturesDir() {
  const char* dir = std::getenv("CVX_BENCH_PICTURES");
  return dir != nullptr ? dir : "/tmp/cvx-scaler-pictures";
}

// One frame of a lavfi source at a size, as raw yuv420p (ceil chroma).
std::vector<uint8_t> lavfiFrame(const std::string& source, int w, int h) {
  const std::string dir = picturesDir();
  const std::string path = dir + "/" + source + "_" + std::to_string(w) + "x" + std::to_string(h) + ".yuv";
  std::ifstream cached(path, std::ios::binary);
  if (!cached) {
    // testsrc2 draws 4:2:0 at even sizes only: an odd size is cut from RGB.
    const std::string even = std::to_string((w + 1) & ~1) + "x" + std::to_string((h + 1) & ~1);
    const std::string filter =
        source == "testsrc2" ? "testsrc2=size=" + even : "mandelbrot=start_scale=0.3:size=" + even;
    const std::string command = "mkdir -p " + dir + " && ffmpeg -v error -y -f lavfi -i " + filter +
                                " -frames:v 1 -vf format=rgb24,crop=" + std::to_string(w) + ":" + std::to_string(h) +
                                ":0:0 -pix_fmt yuv420p -f rawvideo " + path;
    if (std::system(command.c_str()) != 0) {
      std::fprintf(stderr, "could not make %s with ffmpeg\n", path.c_str());
      std::exit(1);
    }
    cached.open(path, std::ios::binary);
  }
  std::vector<uint8_t> bytes{std::istreambuf_iterator<char>(cached), std::istreambuf_iterator<char>()};
  if (bytes.size() != static_cast<size_t>(w) * h + 2 * static_cast<size_t>((w + 1) / 2) * ((h + 1) / 2)) {
    std::fprintf(stderr, "%s is not a %dx%d picture\n", path.c_str(), w, h);
    std::exit(1);
  }
  return bytes;
}

// The source in both layouts; they differ only for odd sizes.
struct Source {
  Image ours;    // the plane rule's layout
  Image theirs;  // libswscale's
};

Source loadSource(const std::string& name, int w, int h) {
  const std::vector<uint8_t> raw = lavfiFrame(name, w, h);
  Source source{Image::i420(w, h, false), Image::i420(w, h, true)};
  const int rw = (w + 1) / 2, rh = (h + 1) / 2;
  const uint8_t* rawPlanes[3] = {raw.data(), raw.data() + static_cast<size_t>(w) * h,
                                 raw.data() + static_cast<size_t>(w) * h + static_cast<size_t>(rw) * rh};
  std::memcpy(source.ours.plane[0], rawPlanes[0], static_cast<size_t>(w) * h);
  std::memcpy(source.theirs.plane[0], rawPlanes[0], static_cast<size_t>(w) * h);
  for (int p = 1; p < 3; ++p) {
    for (int y = 0; y < rh; ++y) {
      const uint8_t* row = rawPlanes[p] + static_cast<size_t>(std::min(y, source.ours.ch - 1)) * rw;
      if (y < source.ours.ch) std::memcpy(source.ours.plane[p] + y * source.ours.cw, row, source.ours.cw);
      uint8_t* out = source.theirs.plane[p] + y * rw;
      std::memcpy(out, row, source.ours.cw);
      std::memset(out + source.ours.cw, row[source.ours.cw - 1], rw - source.ours.cw);
    }
  }
  return source;
}

uint32_t fourccOf(const Image& image) {
  return image.format == AV_PIX_FMT_BGRA ? cvx::kFourCCBGRA
                                         : image.format == AV_PIX_FMT_UYVY422 ? cvx::kFourCCUYVY : cvx::kFourCCI420;
}

// The I420 source converted (at its own size) into a packed code.
Image converted(const Image& i420, uint32_t fourcc) {
  Image out = Image::of(fourcc, i420.width, i420.height, false);
  cvx::scaleImage(0, cvx::kFourCCI420, i420.plane[0], i420.stride[0], i420.width, i420.height, fourcc,
                  out.plane[0], out.stride[0], out.width, out.height, nullptr, 1, nullptr, nullptr);
  return out;
}

struct SwsDeleter {
  void operator()(SwsContext* c) const { sws_freeContext(c); }
};
using SwsPtr = std::unique_ptr<SwsContext, SwsDeleter>;

SwsPtr swsContext(const Image& src, const Image& dst, int flags) {
  SwsPtr context(sws_getContext(src.width, src.height, src.format, dst.width, dst.height, dst.format, flags, nullptr,
                                nullptr, nullptr));
  const int* bt709 = sws_getCoefficients(SWS_CS_ITU709);
  sws_setColorspaceDetails(context.get(), bt709, 0, bt709, 0, 0, 1 << 16, 1 << 16);
  return context;
}

void swsRun(SwsContext* context, const Image& src, Image& dst) {
  sws_scale(context, src.plane, src.stride, 0, src.height, dst.plane, dst.stride);
}

// Planes compared: Y, U and V of I420 (chroma over the samples both
// layouts hold), or B, G and R of BGRA. Sample x, y is data[y * stride + x * step].
struct PlaneView {
  const uint8_t* data;
  int stride, width, height, step;
};

std::vector<PlaneView> planesOf(const Image& image, const Image& other) {
  if (!image.isI420()) {
    std::vector<PlaneView> channels;
    for (int c = 0; c < 3; ++c) channels.push_back({image.plane[0] + c, image.stride[0], image.width, image.height, 4});
    return channels;
  }
  const int cw = std::min(image.cw, other.cw), ch = std::min(image.ch, other.ch);
  return {{image.plane[0], image.stride[0], image.width, image.height, 1},
          {image.plane[1], image.stride[1], cw, ch, 1},
          {image.plane[2], image.stride[2], cw, ch, 1}};
}

int sample(const PlaneView& p, int x, int y) { return p.data[static_cast<ptrdiff_t>(y) * p.stride + x * p.step]; }

double psnr(const PlaneView& a, const PlaneView& b) {
  double error = 0;
  for (int y = 0; y < a.height; ++y) {
    for (int x = 0; x < a.width; ++x) {
      const int d = sample(a, x, y) - sample(b, x, y);
      error += d * d;
    }
  }
  return error == 0 ? 99.0 : 10 * std::log10(255.0 * 255.0 * a.width * a.height / error);
}

// SSIM over 8 x 8 windows every 4 pixels (the scheme of ffmpeg's ssim filter).
double ssim(const PlaneView& a, const PlaneView& b) {
  const double c1 = 0.01 * 255 * 0.01 * 255, c2 = 0.03 * 255 * 0.03 * 255;
  double total = 0;
  int windows = 0;
  for (int y = 0; y + 8 <= a.height; y += 4) {
    for (int x = 0; x + 8 <= a.width; x += 4) {
      double sa = 0, sb = 0, saa = 0, sbb = 0, sab = 0;
      for (int j = 0; j < 8; ++j) {
        for (int i = 0; i < 8; ++i) {
          const int u = sample(a, x + i, y + j), v = sample(b, x + i, y + j);
          sa += u;
          sb += v;
          saa += u * u;
          sbb += v * v;
          sab += u * v;
        }
      }
      const double ma = sa / 64, mb = sb / 64;
      const double va = saa / 64 - ma * ma, vb = sbb / 64 - mb * mb, cov = sab / 64 - ma * mb;
      total += (2 * ma * mb + c1) * (2 * cov + c2) / ((ma * ma + mb * mb + c1) * (va + vb + c2));
      ++windows;
    }
  }
  return windows != 0 ? total / windows : 1.0;
}

// One change of size (or of code) that the table reports.
struct Case {
  const char* label;
  int sw, sh;
  uint32_t srcCode;
  int dw, dh;
  uint32_t dstCode;
};

constexpr uint32_t kI420 = cvx::kFourCCI420, kBgra = cvx::kFourCCBGRA, kUyvy = cvx::kFourCCUYVY;

const Case kCases[] = {
    {"1080p into 1746x982 (1.1x)", 1920, 1080, kI420, 1746, 982, kI420},
    {"720p into 960x540 (1.33x)", 1280, 720, kI420, 960, 540, kI420},
    {"1080p into 1280x720 (1.5x)", 1920, 1080, kI420, 1280, 720, kI420},
    {"1080p into 960x540 (2x)", 1920, 1080, kI420, 960, 540, kI420},
    {"1080p into 854x480 (2.25x)", 1920, 1080, kI420, 854, 480, kI420},
    {"1919x1079 into 853x479 (odd)", 1919, 1079, kI420, 853, 479, kI420},
    {"720p into 480x270 (2.67x)", 1280, 720, kI420, 480, 270, kI420},
    {"1080p into 640x360 (3x)", 1920, 1080, kI420, 640, 360, kI420},
    {"1080p into 480x270 (4x)", 1920, 1080, kI420, 480, 270, kI420},
    {"1080p into 426x240 (4.5x)", 1920, 1080, kI420, 426, 240, kI420},
    {"640x360 into 1280x720 (2x up)", 640, 360, kI420, 1280, 720, kI420},
    {"720p into 1920x1080 (1.5x up)", 1280, 720, kI420, 1920, 1080, kI420},
    {"BGRA read of 720p, same size", 1280, 720, kI420, 1280, 720, kBgra},
    {"BGRA read of 1080p at 640x360", 1920, 1080, kI420, 640, 360, kBgra},
    {"BGRA overlay 640x360 into 960x540", 640, 360, kBgra, 960, 540, kI420},
    {"UYVY 1080p into 1280x720", 1920, 1080, kUyvy, 1280, 720, kI420},
};

// One scaler of the table: how to run it once, on a source of either layout.
struct Scaler {
  std::string name;
  std::function<void(const Source&, Image&)> run;
};

// The sources of a case: I420 as loaded, and packed when the case starts
// from a packed code (both layouts the same: no odd chroma edge there).
struct CaseSource {
  Source yuv;
  Source packed;
};

Image outputFor(const Case& c, bool ours) { return Image::of(c.dstCode, c.dw, c.dh, !ours); }

std::function<void(const Source&, Image&)> libraryScaler(int flags) {
  return [flags, context = std::shared_ptr<SwsContext>()](const Source& s, Image& out) mutable {
    if (!context) context.reset(swsContext(s.theirs, out, flags).release(), SwsDeleter());
    swsRun(context.get(), s.theirs, out);
  };
}

std::vector<Scaler> scalersFor(const Case& c) {
  std::vector<Scaler> scalers;
  scalers.push_back({"ours", [](const Source& s, Image& out) {
                       const Image& in = s.ours;
                       cvx::scaleImage(0, fourccOf(in), in.plane[0], in.stride[0], in.width, in.height, fourccOf(out),
                                       out.plane[0], out.stride[0], out.width, out.height, nullptr, 1, nullptr,
                                       nullptr);
                     }});
  scalers.push_back({"bicubic", libraryScaler(SWS_BICUBIC)});
  scalers.push_back({"area", libraryScaler(SWS_AREA)});
  scalers.push_back({"lanczos", libraryScaler(SWS_LANCZOS)});  // the reference itself: its cost only
  if (c.srcCode == kI420 && c.dstCode == kI420) {
    scalers.push_back({"before (libyuv box)", [](const Source& s, Image& out) {
                         const Image& in = s.ours;
                         libyuv::I420Scale(in.plane[0], in.stride[0], in.plane[1], in.stride[1], in.plane[2],
                                           in.stride[2], in.width & ~1, in.height & ~1, out.plane[0], out.stride[0],
                                           out.plane[1], out.stride[1], out.plane[2], out.stride[2], out.width & ~1,
                                           out.height & ~1, libyuv::kFilterBox);
                       }});
  } else {
    scalers.push_back({"before (bilinear)", libraryScaler(SWS_BILINEAR)});
  }
  return scalers;
}

struct Row {
  std::string caseLabel, picture, scaler;
  std::vector<double> psnr, ssim;
  double milliseconds = 0;  // CPU time, best of the repetitions
};

std::vector<Row> rows;
std::map<std::string, size_t> rowOfBenchmark;

void registerCase(const Case& c, const std::string& picture) {
  auto source = std::make_shared<CaseSource>();
  source->yuv = loadSource(picture, c.sw, c.sh);
  if (c.srcCode != kI420) {
    source->packed = Source{converted(source->yuv.ours, c.srcCode), converted(source->yuv.ours, c.srcCode)};
  }
  const bool packed = c.srcCode != kI420;
  const Source& input = packed ? source->packed : source->yuv;
  Image reference = outputFor(c, false);
  swsRun(swsContext(input.theirs, reference, SWS_LANCZOS).get(), input.theirs, reference);
  for (Scaler& scaler : scalersFor(c)) {
    auto output = std::make_shared<Image>(outputFor(c, scaler.name == "ours"));
    scaler.run(input, *output);
    std::string label = scaler.name;
    if (label == "ours") {
      const bool lanczos = (cvx::imagescaler::swsFilterFor(c.sw, c.sh, c.dw, c.dh) & SWS_LANCZOS) != 0;
      label += lanczos ? " (lanczos)" : " (bicubic)";
    }
    Row row{c.label, picture, label, {}, {}, 0};
    const std::vector<PlaneView> mine = planesOf(*output, reference), theirs = planesOf(reference, *output);
    for (size_t p = 0; p < mine.size(); ++p) {
      row.psnr.push_back(psnr(mine[p], theirs[p]));
      row.ssim.push_back(ssim(mine[p], theirs[p]));
    }
    const std::string name = std::string(c.label) + "/" + picture + "/" + scaler.name;
    rowOfBenchmark[name] = rows.size();
    rows.push_back(row);
    benchmark::RegisterBenchmark(name.c_str(), [source, output, packed, run = scaler.run](benchmark::State& state) {
      const Source& in = packed ? source->packed : source->yuv;
      for (auto _ : state) {
        run(in, *output);
        benchmark::ClobberMemory();
      }
    })->Unit(benchmark::kMillisecond);
  }
}

// Keeps each scaler's best CPU time per frame over the repetitions: on a
// machine shared with other work, CPU time leaves out the waits for a core.
class TableReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      const auto found = rowOfBenchmark.find(run.run_name.str());
      if (found == rowOfBenchmark.end() || run.run_type != Run::RT_Iteration) continue;
      double& best = rows[found->second].milliseconds;
      const double ms = run.GetAdjustedCPUTime();
      best = best == 0 ? ms : std::min(best, ms);
    }
    ConsoleReporter::ReportRuns(runs);
  }
};

std::string planes(const std::vector<double>& values, const char* format) {
  std::string text;
  for (double v : values) {
    char cell[32];
    std::snprintf(cell, sizeof cell, format, v);
    text += (text.empty() ? "" : " / ") + std::string(cell);
  }
  return text;
}

void printTable() {
  std::printf("\n| case | picture | scaler | PSNR dB (Y / U / V; B / G / R) | SSIM | CPU ms per frame |\n");
  std::printf("|---|---|---|---|---|---:|\n");
  for (const Row& row : rows) {
    std::printf("| %s | %s | %s | %s | %s | %.3f |\n", row.caseLabel.c_str(), row.picture.c_str(),
                row.scaler.c_str(), planes(row.psnr, "%.2f").c_str(), planes(row.ssim, "%.4f").c_str(),
                row.milliseconds);
  }
}

// One line per case and picture: the first plane (Y, or B of BGRA) of ours,
// bicubic and area, our margin over bicubic, and the costs. Rows of a case
// come in the order scalersFor gives them: ours, bicubic, area, lanczos.
void printSummary() {
  std::printf("\n| case | picture | ours | PSNR ours / bicubic / area (dB) | ours - bicubic (dB) |"
              " SSIM ours / bicubic / area | CPU ms ours / bicubic / area / lanczos |\n");
  std::printf("|---|---|---|---|---:|---|---|\n");
  for (size_t i = 0; i + 3 < rows.size(); ++i) {
    if (rows[i].scaler.rfind("ours", 0) != 0) continue;
    const Row &ours = rows[i], &bicubic = rows[i + 1], &area = rows[i + 2], &lanczos = rows[i + 3];
    std::printf("| %s | %s | %s | %.2f / %.2f / %.2f | %+.2f | %.4f / %.4f / %.4f | %.2f / %.2f / %.2f / %.2f |\n",
                ours.caseLabel.c_str(), ours.picture.c_str(), ours.scaler.substr(5).c_str(), ours.psnr[0],
                bicubic.psnr[0], area.psnr[0], ours.psnr[0] - bicubic.psnr[0], ours.ssim[0], bicubic.ssim[0],
                area.ssim[0], ours.milliseconds, bicubic.milliseconds, area.milliseconds, lanczos.milliseconds);
  }
}

}  // namespace

int main(int argc, char** argv) {
  for (const Case& c : kCases) {
    for (const char* picture : {"testsrc2", "mandelbrot"}) registerCase(c, picture);
  }
  benchmark::Initialize(&argc, argv);
  TableReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  printTable();
  printSummary();
  benchmark::Shutdown();
  return 0;
}
