// Frame throughput on one core: each case through our frame classes, beside
// the library call that does the same work directly. items_per_second is
// frames per second.
#include <benchmark/benchmark.h>

#include <cstring>
#include <memory>
#include <vector>

#include <libyuv.h>
extern "C" {
#include <libswscale/swscale.h>
}

#include "platform/imagescaler/ScaleImage.h"
#include "platform/imagescaler/SwsConverter.h"
#include "video/frames/VideoFrameBuffer.h"
#include "video/frames/VideoFrameBufferSet.h"
#include "video/frames/VideoOverlayFrames.h"

namespace {

using cvx::VideoFrameBuffer;

void fillPattern(VideoFrameBuffer& frame) {
  uint8_t* bytes = frame.getBytes();
  for (uint64_t i = 0; i < frame.getByteCount(); ++i) bytes[i] = static_cast<uint8_t>(i * 7 + (i >> 11));
}

// One patterned I420 source per size, made on first use and kept.
VideoFrameBuffer& patternedSource(uint32_t width, uint32_t height) {
  static VideoFrameBuffer frames[2];
  VideoFrameBuffer& frame = frames[width == 1920 ? 0 : 1];
  if (frame.getBytes() == nullptr) {
    frame.allocBuffer(width, height, cvx::kFourCCI420);
    fillPattern(frame);
  }
  return frame;
}

VideoFrameBuffer& source1080() { return patternedSource(1920, 1080); }
VideoFrameBuffer& source720() { return patternedSource(1280, 720); }

void BM_FramesScale(benchmark::State& state) {
  VideoFrameBuffer& source = source1080();
  VideoFrameBuffer target;
  target.allocBuffer(static_cast<uint32_t>(state.range(0)), static_cast<uint32_t>(state.range(1)),
                     cvx::kFourCCI420);
  target.setScaleMode(static_cast<int32_t>(state.range(2)));
  for (auto _ : state) {
    target.scaleFrom(source, false);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations());
}

// libswscale with the filter the scaler chooses for this change of size.
void BM_SwscaleScale(benchmark::State& state) {
  VideoFrameBuffer& source = source1080();
  const int w = static_cast<int>(state.range(0)), h = static_cast<int>(state.range(1));
  std::vector<uint8_t> target(static_cast<size_t>(w) * h * 3 / 2 + 64);
  // Letterbox draws a picture of the destination's width at the source's shape.
  const bool letterbox = state.range(2) == cvx::kScaleModeLetterbox;
  const int fitH = letterbox ? w * 1080 / 1920 : h;
  const int top = letterbox ? (h - fitH) / 2 : 0;
  uint8_t* dst[4] = {target.data() + top * w, target.data() + w * h + top / 2 * (w / 2),
                     target.data() + w * h + w * h / 4 + top / 2 * (w / 2), nullptr};
  const int dstStride[4] = {w, w / 2, w / 2, 0};
  const uint8_t* src[4] = {source.getPlane(0), source.getPlane(1), source.getPlane(2), nullptr};
  const int srcStride[4] = {1920, 960, 960, 0};
  SwsContext* context = sws_getContext(1920, 1080, AV_PIX_FMT_YUV420P, w, fitH, AV_PIX_FMT_YUV420P,
                                       cvx::imagescaler::swsFilterFor(1920, 1080, w, fitH), nullptr, nullptr,
                                       nullptr);
  for (auto _ : state) {
    sws_scale(context, src, srcStride, 0, 1080, dst, dstStride);
    benchmark::ClobberMemory();
  }
  sws_freeContext(context);
  state.SetItemsProcessed(state.iterations());
}

void scaleArgs(benchmark::internal::Benchmark* b) {
  for (int mode : {cvx::kScaleModeStretch, cvx::kScaleModeLetterbox}) {
    b->Args({1280, 720, mode})->Args({640, 360, mode})->Args({320, 180, mode});
  }
  b->ArgNames({"w", "h", "mode"});
}

void BM_FramesReadBGRA(benchmark::State& state) {
  VideoFrameBuffer& frame = source720();
  std::vector<uint8_t> bgra(1280 * 720 * 4);
  for (auto _ : state) {
    uint32_t w = 0, h = 0;
    uint64_t size = 0;
    frame.getFrameBGRA(bgra.data(), bgra.size(), &size, &w, &h, nullptr);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations());
}

void BM_SwscaleReadBGRA(benchmark::State& state) {
  VideoFrameBuffer& frame = source720();
  std::vector<uint8_t> bgra(1280 * 720 * 4 + 64);
  SwsContext* context = sws_getContext(1280, 720, AV_PIX_FMT_YUV420P, 1280, 720, AV_PIX_FMT_BGRA,
                                       cvx::imagescaler::swsFilterFor(1280, 720, 1280, 720), nullptr, nullptr,
                                       nullptr);
  const int* bt709 = sws_getCoefficients(SWS_CS_ITU709);
  sws_setColorspaceDetails(context, bt709, 0, bt709, 0, 0, 1 << 16, 1 << 16);
  const uint8_t* src[4] = {frame.getPlane(0), frame.getPlane(1), frame.getPlane(2), nullptr};
  const int srcStride[4] = {1280, 640, 640, 0};
  uint8_t* dst[4] = {bgra.data(), nullptr, nullptr, nullptr};
  const int dstStride[4] = {1280 * 4, 0, 0, 0};
  for (auto _ : state) {
    sws_scale(context, src, srcStride, 0, 720, dst, dstStride);
    benchmark::ClobberMemory();
  }
  sws_freeContext(context);
  state.SetItemsProcessed(state.iterations());
}

void BM_LibyuvReadBGRA(benchmark::State& state) {
  VideoFrameBuffer& frame = source720();
  std::vector<uint8_t> bgra(1280 * 720 * 4);
  for (auto _ : state) {
    libyuv::I420ToARGBMatrix(frame.getPlane(0), 1280, frame.getPlane(1), 640, frame.getPlane(2),
                             640, bgra.data(), 1280 * 4, &libyuv::kYuvH709Constants, 1280, 720);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations());
}

std::unique_ptr<cvx::VideoOverlayFrame> alphaOverlay() {
  const uint32_t w = 300, h = 100;
  std::unique_ptr<uint8_t[]> pixels(new uint8_t[w * h * 4]);
  for (uint32_t i = 0; i < w * h; ++i) {
    pixels[i * 4] = static_cast<uint8_t>(i);
    pixels[i * 4 + 1] = 200;
    pixels[i * 4 + 2] = 50;
    pixels[i * 4 + 3] = static_cast<uint8_t>(i % 256);
  }
  auto overlay = std::make_unique<cvx::VideoOverlayFrame>();
  overlay->setPlacement(-20, -20, w, h, 4 | 64);
  overlay->setFrame(cvx::kFourCCBGRA, std::move(pixels), w * h * 4, w * 4, 0, w, h);
  return overlay;
}

void BM_FramesAlphaOverlay(benchmark::State& state) {
  VideoFrameBuffer frame;
  frame.allocBuffer(1280, 720, cvx::kFourCCI420);
  fillPattern(frame);
  cvx::VideoFrameBufferSet set;
  cvx::VideoOverlayFrames overlays;
  overlays.setOverlay(1, alphaOverlay());
  for (auto _ : state) {
    set.applyOverlays2(frame, overlays);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations());
}

// The same composite done with libyuv alone: the frame's rectangle to ARGB,
// blend a premultiplied ARGB overlay, and back to I420.
void BM_LibyuvAlphaOverlay(benchmark::State& state) {
  VideoFrameBuffer frame;
  frame.allocBuffer(1280, 720, cvx::kFourCCI420);
  fillPattern(frame);
  const int w = 300, h = 100, x = 960, y = 600;
  std::vector<uint8_t> overlay(w * h * 4), work(w * h * 4);
  for (int i = 0; i < w * h; ++i) {
    overlay[i * 4] = static_cast<uint8_t>(i);
    overlay[i * 4 + 1] = 200;
    overlay[i * 4 + 2] = 50;
    overlay[i * 4 + 3] = static_cast<uint8_t>(i % 256);
  }
  libyuv::ARGBAttenuate(overlay.data(), w * 4, overlay.data(), w * 4, w, h);
  uint8_t* py = frame.getPlane(0) + y * 1280 + x;
  uint8_t* pu = frame.getPlane(1) + y / 2 * 640 + x / 2;
  uint8_t* pv = frame.getPlane(2) + y / 2 * 640 + x / 2;
  for (auto _ : state) {
    libyuv::I420ToARGBMatrix(py, 1280, pu, 640, pv, 640, work.data(), w * 4,
                             &libyuv::kYuvH709Constants, w, h);
    libyuv::ARGBBlend(overlay.data(), w * 4, work.data(), w * 4, work.data(), w * 4, w, h);
    libyuv::ARGBToI420(work.data(), w * 4, py, 1280, pu, 640, pv, 640, w, h);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations());
}

}  // namespace

BENCHMARK(BM_FramesScale)->Apply(scaleArgs);
BENCHMARK(BM_SwscaleScale)->Apply(scaleArgs);
BENCHMARK(BM_FramesReadBGRA);
BENCHMARK(BM_SwscaleReadBGRA);
BENCHMARK(BM_LibyuvReadBGRA);
BENCHMARK(BM_FramesAlphaOverlay);
BENCHMARK(BM_LibyuvAlphaOverlay);
