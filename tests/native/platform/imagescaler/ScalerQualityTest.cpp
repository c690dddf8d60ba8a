#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "platform/imagescaler/ScaleImage.h"
#include "support/MediaFixtures.h"

namespace cvx {
namespace {

// A 4:2:0 picture as ffmpeg writes it raw: chroma planes of ceil(w/2) x
// ceil(h/2), one after the other.
struct RawPicture {
  int width = 0, height = 0;
  std::vector<uint8_t> bytes;
  int chromaWidth() const { return (width + 1) / 2; }
  int chromaHeight() const { return (height + 1) / 2; }
  const uint8_t* plane(int p) const {
    const size_t luma = static_cast<size_t>(width) * height;
    const size_t chroma = static_cast<size_t>(chromaWidth()) * chromaHeight();
    return bytes.data() + (p == 0 ? 0 : luma + chroma * static_cast<size_t>(p - 1));
  }
  int stride(int p) const { return p == 0 ? width : chromaWidth(); }
};

std::string sizeText(int w, int h) { return std::to_string(w) + "x" + std::to_string(h); }

bool readRaw(const std::string& path, int w, int h, RawPicture& out) {
  out.width = w;
  out.height = h;
  out.bytes = test::readFile(path);
  return out.bytes.size() == static_cast<size_t>(w) * h + 2 * static_cast<size_t>((w + 1) / 2) * ((h + 1) / 2);
}

// The source as the plane rule lays it out (chroma of floor(w/2) x
// floor(h/2)), and the raw picture ffmpeg is given for the reference: the
// same samples, a last chroma column or row of an odd size repeating the one
// before, which is what our scaler makes of the sample the plane rule lacks.
struct Source {
  std::vector<uint8_t> ours;
  std::string referenceInput;
};

bool makeSource(int w, int h, Source& source) {
  const std::string generated = test::fixturePath("scaler-testsrc2-" + sizeText(w, h) + ".yuv");
  RawPicture raw;
  // testsrc2 draws 4:2:0 at even sizes only: an odd size is cut from RGB.
  if (!test::runCommand("ffmpeg -v error -y -f lavfi -i testsrc2=size=" + sizeText((w + 1) & ~1, (h + 1) & ~1) +
                        " -frames:v 1 -vf format=rgb24,crop=" + std::to_string(w) + ":" + std::to_string(h) +
                        ":0:0 -pix_fmt yuv420p -f rawvideo " + generated) ||
      !readRaw(generated, w, h, raw)) {
    return false;
  }
  const int cw = w / 2, ch = h / 2;
  source.ours.assign(static_cast<size_t>(scaleImageExtent(kFourCCI420, w, w, h)), 0);
  std::memcpy(source.ours.data(), raw.plane(0), static_cast<size_t>(w) * h);
  RawPicture repeated = raw;
  for (int p = 1; p < 3; ++p) {
    uint8_t* ours = source.ours.data() + static_cast<size_t>(w) * h + static_cast<size_t>(w) * h / 4 * (p - 1);
    uint8_t* theirs = const_cast<uint8_t*>(repeated.plane(p));
    for (int y = 0; y < raw.chromaHeight(); ++y) {
      const int from = std::min(y, ch - 1);
      uint8_t* line = theirs + static_cast<ptrdiff_t>(y) * raw.stride(p);
      std::memcpy(line, raw.plane(p) + static_cast<ptrdiff_t>(from) * raw.stride(p), static_cast<size_t>(cw));
      if (raw.chromaWidth() > cw) line[cw] = line[cw - 1];
      if (y < ch) std::memcpy(ours + static_cast<ptrdiff_t>(y) * (w / 2), line, static_cast<size_t>(cw));
    }
  }
  source.referenceInput = test::fixturePath("scaler-testsrc2-" + sizeText(w, h) + "-repeated.yuv");
  std::ofstream(source.referenceInput, std::ios::binary)
      .write(reinterpret_cast<const char*>(repeated.bytes.data()), static_cast<std::streamsize>(repeated.bytes.size()));
  return true;
}

bool lanczosReference(const Source& source, int sw, int sh, int dw, int dh, RawPicture& out) {
  const std::string path = test::fixturePath("scaler-lanczos-" + sizeText(sw, sh) + "-" + sizeText(dw, dh) + ".yuv");
  return test::runCommand("ffmpeg -v error -y -f rawvideo -pix_fmt yuv420p -s " + sizeText(sw, sh) + " -i " +
                          source.referenceInput + " -vf scale=" + std::to_string(dw) + ":" + std::to_string(dh) +
                          ":flags=lanczos -f rawvideo -pix_fmt yuv420p " + path) &&
         readRaw(path, dw, dh, out);
}

// PSNR over the samples both planes hold: w x h of two planes with their
// own strides; chroma planes may be pooled by passing both.
double psnr(const std::vector<std::pair<const uint8_t*, const uint8_t*>>& planes, int strideA, int strideB, int w,
            int h) {
  double error = 0;
  for (const auto& [a, b] : planes) {
    for (int y = 0; y < h; ++y) {
      for (int x = 0; x < w; ++x) {
        const int d = a[static_cast<ptrdiff_t>(y) * strideA + x] - b[static_cast<ptrdiff_t>(y) * strideB + x];
        error += static_cast<double>(d * d);
      }
    }
  }
  const double samples = static_cast<double>(w) * h * static_cast<double>(planes.size());
  return error == 0 ? 99.0 : 10 * std::log10(255.0 * 255.0 * samples / error);
}

// Floors a little under what the chosen filters reach on this picture
// (bicubic: 51 to 58 dB luma; lanczos where it is chosen: identical to the
// reference). libyuv's box filter, libswscale's area and bilinear filters,
// or chroma sited a pixel off, fall well below them.
struct QualityCase {
  int sw, sh, dw, dh;
  double lumaFloor, chromaFloor;
};

const QualityCase kCases[] = {
    {1920, 1080, 1746, 982, 55.5, 51.5},  // 1.1x
    {1280, 720, 960, 540, 55.0, 50.5},    // 1.33x
    {1920, 1080, 1280, 720, 56.0, 52.0},  // 1.5x
    {1920, 1080, 960, 540, 57.5, 53.5},   // 2x
    {1920, 1080, 854, 480, 70.0, 70.0},   // 2.25x, lanczos
    {1919, 1079, 853, 479, 70.0, 70.0},   // odd sizes, lanczos
    {1920, 1080, 640, 360, 56.0, 50.5},   // 3x
    {1920, 1080, 480, 270, 56.5, 49.0},   // 4x
    {640, 360, 1280, 720, 50.5, 47.5},    // 2x up
    {1280, 720, 1920, 1080, 52.5, 50.0},  // 1.5x up
};

TEST(ScalerQuality, EveryRatioStaysNearTheLanczosReference) {
  if (!test::haveFfmpeg()) GTEST_SKIP() << "needs ffmpeg";
  for (const QualityCase& c : kCases) {
    SCOPED_TRACE(sizeText(c.sw, c.sh) + " into " + sizeText(c.dw, c.dh));
    Source source;
    RawPicture reference;
    ASSERT_TRUE(makeSource(c.sw, c.sh, source));
    ASSERT_TRUE(lanczosReference(source, c.sw, c.sh, c.dw, c.dh, reference));

    std::vector<uint8_t> scaled(static_cast<size_t>(scaleImageExtent(kFourCCI420, c.dw, c.dw, c.dh)));
    ASSERT_EQ(scaleImage(0, kFourCCI420, source.ours.data(), c.sw, c.sw, c.sh, kFourCCI420, scaled.data(), c.dw,
                         c.dw, c.dh, nullptr, 1, nullptr, nullptr),
              kScaleOk);
    const uint8_t* u = scaled.data() + static_cast<size_t>(c.dw) * c.dh;
    const uint8_t* v = u + static_cast<size_t>(c.dw) * c.dh / 4;
    const double luma = psnr({{scaled.data(), reference.plane(0)}}, c.dw, c.dw, c.dw, c.dh);
    const double chroma =
        psnr({{u, reference.plane(1)}, {v, reference.plane(2)}}, c.dw / 2, reference.stride(1), c.dw / 2, c.dh / 2);
    EXPECT_GE(luma, c.lumaFloor);
    EXPECT_GE(chroma, c.chromaFloor);
    std::printf("  %s into %s: luma %.2f dB, chroma %.2f dB\n", sizeText(c.sw, c.sh).c_str(),
                sizeText(c.dw, c.dh).c_str(), luma, chroma);
  }
}

}  // namespace
}  // namespace cvx
