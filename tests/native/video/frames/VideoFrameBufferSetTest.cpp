#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <memory>
#include <vector>

#include "support/RecordingImageScaler.h"
#include "platform/imagescaler/ScaleImage.h"
#include "video/frames/PictureLimits.h"
#include "video/frames/VideoFrameBuffer.h"
#include "video/frames/VideoFrameBufferSet.h"
#include "video/frames/VideoOverlayFrames.h"

namespace cvx {
namespace {

using testing_frames::RecordingImageScaler;

// A 4:2:0 picture of one grey with neutral chroma.
void paintI420(VideoFrameBuffer& frame, uint8_t luma) {
  const uint64_t lumaBytes = uint64_t{frame.getWidth()} * frame.getHeight();
  std::memset(frame.getBytes(), luma, lumaBytes);
  std::memset(frame.getBytes() + lumaBytes, 128, frame.getByteCount() - lumaBytes);
}

uint8_t lumaAt(const VideoFrameBuffer& frame, uint32_t x, uint32_t y) {
  return frame.getPlane(0)[uint64_t{y} * frame.getPlaneStride(0) + x];
}

std::unique_ptr<VideoOverlayFrame> makeOverlay(uint32_t fourcc, uint32_t width, uint32_t height,
                                               uint8_t alpha, int32_t x, int32_t y, int32_t align,
                                               uint8_t fill = 255) {
  const uint32_t bytes = width * height * 4;
  std::unique_ptr<uint8_t[]> pixels(new uint8_t[bytes]);
  for (uint32_t i = 0; i < bytes; i += 4) {
    pixels[i] = pixels[i + 1] = pixels[i + 2] = fill;
    pixels[i + 3] = alpha;
  }
  auto overlay = std::make_unique<VideoOverlayFrame>();
  overlay->setPlacement(x, y, width, height, align);
  overlay->setFrame(fourcc, std::move(pixels), bytes, static_cast<int32_t>(width * 4), 0, width,
                    height);
  return overlay;
}

struct FitCase {
  const char* name;
  uint32_t srcW, srcH, dstW, dstH;
  int32_t mode;
  // First and last picture row and column expected on the destination.
  uint32_t top, bottom, left, right;
};

TEST(VideoFrameBufferSetFit, LetterboxAndCropToFillOnRealPixels) {
  const FitCase cases[] = {
      {"wide into 4:3, bars top and bottom", 1920, 1080, 640, 480, 1, 60, 419, 0, 639},
      {"4:3 into wide, bars at the sides", 640, 480, 1280, 720, 1, 0, 719, 160, 1119},
  };
  for (const FitCase& c : cases) {
    SCOPED_TRACE(c.name);
    VideoFrameBuffer source, target;
    ASSERT_EQ(source.allocBuffer(c.srcW, c.srcH, kFourCCI420), 0);
    ASSERT_EQ(target.allocBuffer(c.dstW, c.dstH, kFourCCI420), 0);
    paintI420(source, 200);
    std::memset(target.getBytes(), 0x55, target.getByteCount());
    target.setScaleMode(c.mode);
    source.setTimecode(42);
    source.setFrameType(1);
    ASSERT_EQ(target.scaleFrom(source, false), 0);
    EXPECT_EQ(target.getTimecode(), 42);
    EXPECT_EQ(target.getFrameType(), 1);
    for (uint32_t y = 0; y < c.dstH; y += 1) {
      for (uint32_t x : {0u, c.left > 0 ? c.left - 1 : 0u, c.left, c.right, c.right + 1 < c.dstW ? c.right + 1 : c.right}) {
        const bool inside = y >= c.top && y <= c.bottom && x >= c.left && x <= c.right;
        // The scaler's averaging may round a flat field down by one; bars are exact.
        if (inside) {
          ASSERT_NEAR(lumaAt(target, x, y), 200, 1) << "x " << x << " y " << y;
        } else {
          ASSERT_EQ(lumaAt(target, x, y), 16) << "x " << x << " y " << y;
        }
      }
    }
    EXPECT_EQ(target.getLastFillWidth(), c.srcW);
  }
}

TEST(VideoFrameBufferSetFit, LargeReductionsAverageInsteadOfAliasing) {
  // One-pixel stripes reduced three times: every destination pixel covers
  // both levels, so a filter that averages gives an even grey, while one that
  // samples a few source pixels turns the stripes into a coarse pattern.
  VideoFrameBuffer source, target;
  ASSERT_EQ(source.allocBuffer(1920, 1080, kFourCCI420), 0);
  ASSERT_EQ(target.allocBuffer(640, 360, kFourCCI420), 0);
  paintI420(source, 128);
  for (uint32_t y = 0; y < 1080; ++y) {
    uint8_t* row = source.getPlane(0) + y * 1920;
    for (uint32_t x = 0; x < 1920; ++x) row[x] = ((x + y) & 1) ? 235 : 16;
  }
  ASSERT_EQ(target.scaleFrom(source, false), 0);
  double sum = 0, squares = 0;
  for (uint32_t y = 0; y < 360; ++y) {
    for (uint32_t x = 0; x < 640; ++x) {
      const double v = lumaAt(target, x, y);
      sum += v;
      squares += v * v;
    }
  }
  const double mean = sum / (640 * 360);
  const double deviation = std::sqrt(squares / (640 * 360) - mean * mean);
  EXPECT_NEAR(mean, (16 + 235) / 2.0, 15.0);
  EXPECT_LT(deviation, 20.0) << "the stripes alias into a pattern";
}

TEST(VideoFrameBufferSetFit, CropToFillTakesTheMiddleColumns) {
  VideoFrameBuffer source, target;
  ASSERT_EQ(source.allocBuffer(1920, 1080, kFourCCI420), 0);
  ASSERT_EQ(target.allocBuffer(640, 480, kFourCCI420), 0);
  paintI420(source, 16);
  // Columns 240 to 1679 bright, the rest dark: the crop must see only bright.
  for (uint32_t y = 0; y < 1080; ++y) std::memset(source.getPlane(0) + y * 1920 + 240, 220, 1440);
  RecordingImageScaler scaler(true);
  target.setImageScaler(&scaler);
  target.setScaleMode(kScaleModeCropToFill);
  ASSERT_EQ(target.scaleFrom(source, false), 0);
  ASSERT_EQ(scaler.calls.size(), 1u);
  EXPECT_EQ(scaler.calls[0].flags, kScaleUseSourceRect);
  // The rectangle is PictureFit's; dark columns would pull the edges far below the bright level.
  for (uint32_t y = 0; y < 480; y += 7) {
    ASSERT_NEAR(lumaAt(target, 0, y), 220, 1);
    ASSERT_NEAR(lumaAt(target, 639, y), 220, 1);
  }
}

TEST(VideoFrameBufferSetFit, StretchCropAndSourceRectangleArguments) {
  VideoFrameBuffer source, target;
  ASSERT_EQ(source.allocBuffer(100, 50, kFourCCI420), 0);
  ASSERT_EQ(target.allocBuffer(40, 20, kFourCCYV12), 0);
  RecordingImageScaler scaler(false);
  target.setImageScaler(&scaler);
  {
    SCOPED_TRACE("plain stretch: no rectangles");
    ASSERT_EQ(target.scaleFrom(source, false), 0);
    EXPECT_EQ(scaler.calls.back().flags, 0u);
    EXPECT_FALSE(scaler.calls.back().hasRectangles);
    EXPECT_EQ(scaler.calls.back().srcFourCC, kFourCCI420);
    EXPECT_EQ(scaler.calls.back().dstFourCC, kFourCCYV12);
  }
  {
    SCOPED_TRACE("the buffer's crop reaches the fit");
    const uint32_t crop[4] = {1, 2, 3, 4};
    target.setCrop(crop, 4);
    ASSERT_EQ(target.scaleFrom(source, false), 0);
    EXPECT_EQ(scaler.calls.back().flags, kScaleUseSourceRect);
    EXPECT_EQ(scaler.calls.back().rectangles.srcRight, 97 * 256);
  }
  {
    SCOPED_TRACE("letterbox paints bars only when the source size changes or when forced");
    VideoFrameBuffer boxed;
    ASSERT_EQ(boxed.allocBuffer(40, 20, kFourCCI420), 0);
    boxed.setImageScaler(&scaler);
    boxed.setScaleMode(kScaleModeLetterbox);
    scaler.calls.clear();
    boxed.scaleFrom(source, false);
    boxed.scaleFrom(source, false);
    boxed.scaleFrom(source, true);
    size_t fills = 0;
    for (const auto& call : scaler.calls) fills += call.srcFourCC == kFourCCBGR3 ? 1 : 0;
    EXPECT_EQ(fills, 2u);
    EXPECT_EQ(scaler.calls.back().flags, kScaleUseSourceRect | kScaleUseDestRect);
  }
}

// An empty selection draws nothing and is no failure; a buffer without a
// picture on either side draws nothing and is one.
TEST(VideoFrameBufferSetFit, DegenerateSelectionsDrawNothing) {
  RecordingImageScaler scaler(false);
  VideoFrameBuffer source, empty;
  ASSERT_EQ(source.allocBuffer(64, 32, kFourCCI420), 0);
  struct Case {
    const char* name;
    int32_t mode;
    uint32_t dstW, dstH;
    std::vector<uint32_t> crop, rect;
    int status;
  } cases[] = {
      {"crop as wide as the source", 1, 32, 16, {32, 32, 0, 0}, {}, 0},
      {"crop past the source", 4, 32, 16, {0, 0, 30, 0xFFFFFFF0u}, {}, 0},
      {"crops that wrap in 32 bits", 1, 32, 16, {0x80000000u, 0x80000000u, 0, 0}, {}, 0},
      {"source rectangle off the source", 1, 32, 16, {}, {64, 0, 10, 10}, 0},
      {"source rectangle at the 32-bit edge", 4, 32, 16, {}, {0x7FFFFFFFu, 0x80000000u, 1, 1}, 0},
      {"zero-height source rectangle", 1, 32, 16, {}, {0, 0, 10, 0}, 0},
      {"crop to fill into no picture", 4, 0, 0, {}, {}, -1},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    VideoFrameBuffer target;
    if (c.dstW > 0) {
      ASSERT_EQ(target.allocBuffer(c.dstW, c.dstH, kFourCCI420), 0);
    }
    target.setImageScaler(&scaler);
    target.setScaleMode(c.mode);
    if (!c.crop.empty()) target.setCrop(c.crop.data(), 4);
    if (!c.rect.empty()) target.setSrcRect(c.rect.data(), 4);
    scaler.calls.clear();
    EXPECT_EQ(target.scaleFrom(source, true), c.status);
    EXPECT_TRUE(scaler.calls.empty());
  }
  VideoFrameBuffer target;
  ASSERT_EQ(target.allocBuffer(32, 16, kFourCCI420), 0);
  target.setImageScaler(&scaler);
  target.setScaleMode(kScaleModeLetterbox);
  scaler.calls.clear();
  EXPECT_EQ(target.scaleFrom(empty, false), -1);  // a source of 0 x 0
  EXPECT_TRUE(scaler.calls.empty());
}

struct PlacementCase {
  const char* name;
  int32_t x, y, align;
  uint32_t w, h;
  bool drawn;
  int32_t left, top;
};

TEST(VideoFrameBufferSetOverlays, PlacementAlignmentAndPushBack) {
  const PlacementCase cases[] = {
      {"default top left", 3, 4, 17, 10, 8, true, 3, 4},
      {"centre plus offset", 10, 0, 2 | 16, 10, 8, true, 10 + 50 - 5, 0},
      {"right and bottom", -2, -3, 4 | 64, 10, 8, true, 88, 49},
      {"middle", 0, 0, 1 | 32, 10, 8, true, 0, 26},
      {"centre wins over right", 0, 0, 2 | 4 | 16, 10, 8, true, 45, 0},
      {"hangs over the left edge", -5, 0, 17, 10, 8, true, 0, 0},
      {"hangs over the right edge", 95, 0, 17, 10, 8, true, 90, 0},
      {"wholly left counts as past the right", -50, 0, 17, 10, 8, true, 90, 0},
      {"wider than the frame", 0, 0, 17, 101, 8, false, 0, 0},
      {"taller than the frame", 0, 0, 17, 10, 61, false, 0, 0},
  };
  for (const PlacementCase& c : cases) {
    SCOPED_TRACE(c.name);
    RecordingImageScaler scaler(false);
    VideoFrameBufferSet set(&scaler);
    VideoFrameBuffer frame;
    ASSERT_EQ(frame.allocBuffer(100, 60, kFourCCI420), 0);
    VideoOverlayFrames overlays;
    overlays.setOverlay(1, makeOverlay(kFourCCBGRA, c.w, c.h, 255, c.x, c.y, c.align));
    ASSERT_EQ(set.applyOverlays2(frame, overlays), 0);
    ASSERT_EQ(scaler.calls.size(), c.drawn ? 1u : 0u);
    if (!c.drawn) continue;
    const auto& call = scaler.calls[0];
    EXPECT_EQ(call.flags, kScaleUseDestRect);
    EXPECT_EQ(call.rectangles.dstLeft, c.left);
    EXPECT_EQ(call.rectangles.dstTop, c.top);
    EXPECT_EQ(call.rectangles.dstRight, c.left + static_cast<int32_t>(c.w) - 1);
    EXPECT_EQ(call.rectangles.dstBottom, c.top + static_cast<int32_t>(c.h) - 1);
    EXPECT_EQ(call.rectangles.srcRight, static_cast<int32_t>(c.w - 1) * 256);
  }
}

TEST(VideoFrameBufferSetOverlays, KeyOrderPassesAndSharedScratch) {
  RecordingImageScaler scaler(false);
  VideoFrameBufferSet set(&scaler);
  VideoFrameBuffer frame;
  ASSERT_EQ(frame.allocBuffer(200, 100, kFourCCI420), 0);
  VideoOverlayFrames overlays;
  overlays.setOverlay(5, makeOverlay(kFourCCBGRA, 40, 10, 128, 0, 0, 17));
  overlays.setOverlay(2, makeOverlay(kFourCCBGRA, 20, 30, 255, 0, 0, 17));
  overlays.setOverlay(9, makeOverlay(kFourCCBGRA, 10, 20, 10, 0, 0, 17));
  EXPECT_TRUE(overlays.hasAlphaOverlay());
  uint32_t w = 0, h = 0;
  overlays.getMaxAlphaOverlaySize(w, h);
  EXPECT_EQ(w, 40u);
  EXPECT_EQ(h, 20u);
  ASSERT_EQ(set.applyOverlays2(frame, overlays), 0);
  EXPECT_EQ(overlays.getScratchWidth(), 40u);
  EXPECT_EQ(overlays.getScratchHeight(), 20u);
  // Key 2 (opaque, one pass), then keys 5 and 9 (alpha, three passes each).
  ASSERT_EQ(scaler.calls.size(), 7u);
  EXPECT_EQ(scaler.calls[0].srcFourCC, kFourCCBGRA);
  EXPECT_EQ(scaler.calls[0].rectangles.dstBottom, 29);
  const uint32_t passFlags[3] = {0x10001, 0x10101, 0x10001};
  for (int i = 0; i < 3; ++i) {
    const auto& call = scaler.calls[1 + i];
    EXPECT_EQ(call.flags, passFlags[i]);
    EXPECT_EQ(call.srcFourCC, i == 0 ? kFourCCI420 : kFourCCVUYA);
    EXPECT_EQ(call.dstFourCC, i == 2 ? kFourCCI420 : kFourCCVUYA);
  }
  EXPECT_EQ(scaler.calls[1].rectangles.srcRight, 39 * 256);
  EXPECT_EQ(scaler.calls[1].rectangles.dstRight, 39);
  EXPECT_EQ(scaler.calls[1].dstWidth, 40u);
  EXPECT_EQ(scaler.calls[1].dstHeight, 20u);
  EXPECT_EQ(scaler.calls[3].rectangles.dstRight, 39);
  EXPECT_EQ(scaler.calls[6].rectangles.dstBottom, 19);
}

TEST(VideoFrameBufferSetOverlays, LyingFieldsAndReplacedFramesAreSafe) {
  VideoFrameBufferSet set;
  VideoFrameBuffer frame;
  ASSERT_EQ(frame.allocBuffer(64, 32, kFourCCI420), 0);
  paintI420(frame, 50);
  VideoOverlayFrames overlays;
  // Fields that do not describe the array are never drawn: the scaler gets
  // no call, and no scratch is made for them.
  const struct {
    const char* name;
    uint32_t fourcc, bytes;
    int32_t stride, frameStartOffset;
    uint32_t width, height, dstWidth, dstHeight;
  } lies[] = {
      {"an array shorter than its rows", kFourCCBGRA, 100, 64, 0, 16, 16, 16, 16},
      {"a stride shorter than a row", kFourCCBGRA, 4096, 60, 0, 16, 16, 16, 16},
      {"a negative stride", kFourCCBGRA, 4096, -64, 0, 16, 16, 16, 16},
      {"an offset past the array", kFourCCBGRA, 1024, 64, 1024, 16, 16, 16, 16},
      {"a negative offset", kFourCCBGRA, 1024, 64, -1, 16, 16, 16, 16},
      {"a code the scaler does not know", 0x12345678, 1024, 64, 0, 16, 16, 16, 16},
      {"compressed data", kFourCCH264, 1024, 64, 0, 16, 16, 16, 16},
      {"wider than an overlay may be", kFourCCBGRA, 4100 * 4, 4100 * 4, 0, 4100, 1, 16, 16},
      {"no size on the frame", kFourCCBGRA, 1024, 64, 0, 16, 16, 0, 16},
      {"a size on the frame that wraps", kFourCCBGRA, 1024, 64, 0, 16, 16, 0xFFFFFFFFu, 2},
  };
  for (const auto& lie : lies) {
    SCOPED_TRACE(lie.name);
    RecordingImageScaler scaler(true);
    VideoFrameBufferSet watched(&scaler);
    std::unique_ptr<uint8_t[]> pixels(new uint8_t[lie.bytes]);
    std::memset(pixels.get(), 200, lie.bytes);  // alpha 200: would take the scratch
    auto overlay = std::make_unique<VideoOverlayFrame>();
    overlay->setPlacement(0, 0, lie.dstWidth, lie.dstHeight, 17);
    overlay->setFrame(lie.fourcc, std::move(pixels), lie.bytes, lie.stride, lie.frameStartOffset, lie.width,
                      lie.height);
    EXPECT_FALSE(overlay->isDrawable());
    VideoOverlayFrames lying;
    EXPECT_TRUE(lying.setOverlay(1, std::move(overlay)));
    ASSERT_EQ(watched.applyOverlays2(frame, lying), 0);
    EXPECT_TRUE(scaler.calls.empty());
    EXPECT_EQ(lying.getScratch(), nullptr);
    EXPECT_EQ(lumaAt(frame, 0, 0), 50);
  }
  {
    SCOPED_TRACE("a replaced frame lives while a drawing pass holds it");
    overlays.setOverlay(1, makeOverlay(kFourCCBGRA, 8, 8, 255, 0, 0, 17));
    std::vector<VideoOverlayFrameRef> held;
    overlays.getOverlayFrames(held);
    overlays.setOverlay(1, makeOverlay(kFourCCBGRA, 4, 4, 255, 0, 0, 17));
    EXPECT_EQ(overlays.getOverlayCount(), 1u);
    overlays.removeOverlay(1);
    overlays.removeOverlay(77);
    EXPECT_EQ(overlays.getOverlayCount(), 0u);
    ASSERT_EQ(held.size(), 1u);
    EXPECT_EQ(held[0]->getWidth(), 8u);
    EXPECT_EQ(held[0]->getBytes()[0], 255);
  }
}

TEST(VideoFrameBufferSetOverlays, AlphaBlendValuesAndWhiteStaysWhite) {
  VideoFrameBufferSet set;
  VideoFrameBuffer frame;
  ASSERT_EQ(frame.allocBuffer(64, 32, kFourCCI420), 0);
  paintI420(frame, 16);  // black
  VideoOverlayFrames overlays;
  // A white overlay: opaque left half, half-transparent right half.
  auto overlay = makeOverlay(kFourCCBGRA, 16, 8, 255, 4, 4, 17);
  {
    std::unique_ptr<uint8_t[]> pixels(new uint8_t[16 * 8 * 4]);
    for (int i = 0; i < 16 * 8; ++i) {
      pixels[i * 4] = pixels[i * 4 + 1] = pixels[i * 4 + 2] = 255;
      pixels[i * 4 + 3] = (i % 16) < 8 ? 255 : 128;
    }
    overlay->setFrame(kFourCCBGRA, std::move(pixels), 16 * 8 * 4, 64, 0, 16, 8);
  }
  ASSERT_TRUE(overlay->isAlpha());
  EXPECT_FALSE(makeOverlay(kFourCCBGR4, 4, 4, 0, 0, 0, 17)->isAlpha()) << "a code without alpha has none";
  EXPECT_EQ(overlay->getBytes()[3], 255);
  EXPECT_EQ(overlay->getBytes()[8 * 4 + 3], 128);
  EXPECT_EQ(overlay->getBytes()[2], 235);  // luma of white
  overlays.setOverlay(3, std::move(overlay));
  VideoFrameBuffer rendition;
  ASSERT_EQ(rendition.allocBuffer(64, 32, kFourCCI420), 0);
  ASSERT_EQ(set.transferFrame(frame, rendition, overlays), 0);
  EXPECT_EQ(lumaAt(rendition, 4, 4), 235);
  EXPECT_EQ(lumaAt(rendition, 11, 11), 235);
  // 128 of 255 over black: 16 + (235 - 16) x 128 / 255.
  EXPECT_NEAR(lumaAt(rendition, 12, 4), 16 + (235 - 16) * 128 / 255, 1);
  EXPECT_EQ(lumaAt(rendition, 3, 4), 16);
  EXPECT_EQ(lumaAt(rendition, 20, 4), 16);
  EXPECT_EQ(lumaAt(rendition, 4, 12), 16);

  std::vector<uint8_t> bgra(64 * 32 * 4);
  uint32_t w = 0, h = 0;
  uint64_t size = 0;
  ASSERT_EQ(rendition.getFrameBGRA(bgra.data(), bgra.size(), &size, &w, &h, nullptr), 0);
  const uint8_t* white = &bgra[(5 * 64 + 5) * 4];
  EXPECT_EQ(white[0], 255);
  EXPECT_EQ(white[1], 255);
  EXPECT_EQ(white[2], 255);
}

// An alpha overlay larger than the frame is skipped, so it must not size the
// scratch either; and a provider holds at most kMaxOverlays keys.
TEST(VideoFrameBufferSetOverlays, ScratchAndCountStayBounded) {
  VideoFrameBufferSet set;
  VideoFrameBuffer frame;
  ASSERT_EQ(frame.allocBuffer(64, 32, kFourCCI420), 0);
  paintI420(frame, 50);
  VideoOverlayFrames overlays;
  auto huge = makeOverlay(kFourCCBGRA, 4, 4, 100, 0, 0, 17);
  huge->setPlacement(0, 0, kMaxPictureSide, 4096, 17);
  ASSERT_TRUE(huge->isAlpha());
  ASSERT_TRUE(huge->isDrawable());
  overlays.setOverlay(1, std::move(huge));
  overlays.setOverlay(2, makeOverlay(kFourCCBGRA, 8, 6, 100, 0, 0, 17));
  ASSERT_EQ(set.applyOverlays2(frame, overlays), 0);
  EXPECT_EQ(overlays.getScratchWidth(), 8u);
  EXPECT_EQ(overlays.getScratchHeight(), 6u);

  for (uint32_t key = 3; key <= kMaxOverlays; ++key) {
    ASSERT_TRUE(overlays.setOverlay(key * 7, makeOverlay(kFourCCBGRA, 1, 1, 255, 0, 0, 17)));
  }
  EXPECT_EQ(overlays.getOverlayCount(), kMaxOverlays);
  EXPECT_FALSE(overlays.setOverlay(5, makeOverlay(kFourCCBGRA, 1, 1, 255, 0, 0, 17)));
  EXPECT_TRUE(overlays.setOverlay(2, makeOverlay(kFourCCBGRA, 2, 2, 255, 0, 0, 17))) << "a key held may be replaced";
  overlays.removeOverlay(1);
  EXPECT_TRUE(overlays.setOverlay(5, makeOverlay(kFourCCBGRA, 1, 1, 255, 0, 0, 17)));
}

// A picture every pixel of which differs from its neighbours, so that two
// different fits cannot give the same bytes by chance.
void paintPattern(VideoFrameBuffer& frame) {
  for (uint64_t i = 0; i < frame.getByteCount(); ++i) frame.getBytes()[i] = static_cast<uint8_t>((i * 7919) >> 5);
}

// Renditions that draw alike share one scaling of the picture; what each one
// holds is exactly what scaling the source into it alone gives.
TEST(VideoFrameBufferSetTwins, SharedScalingGivesEachRenditionItsOwnPicture) {
  struct Rendition { uint32_t width, height; int32_t mode; bool cropped, overlaid; };
  struct Case {
    const char* name;
    uint32_t sourceHeight;
    std::vector<Rendition> renditions;
    size_t pictureScalings;  // calls that read the source
  };
  const Case cases[] = {
      {"same size stretched twice, another size between", 180,
       {{160, 90, kScaleModeStretch, false, false}, {96, 54, kScaleModeStretch, false, false},
        {160, 90, kScaleModeStretch, false, false}},
       2},
      {"the first one overlaid: the second scales on its own and has no overlay", 180,
       {{160, 90, kScaleModeStretch, false, true}, {160, 90, kScaleModeStretch, false, false}},
       2},
      {"a crop, or another scale mode, draws differently", 180,
       {{160, 90, kScaleModeStretch, false, false}, {160, 90, kScaleModeStretch, true, false},
        {160, 90, kScaleModeCropToFill, false, false}},
       3},
      {"letterbox bars are painted by each rendition", 240,
       {{160, 90, kScaleModeLetterbox, false, false}, {160, 90, kScaleModeLetterbox, false, false}},
       2},
      {"letterbox without bars is shared", 180,
       {{160, 90, kScaleModeLetterbox, false, false}, {160, 90, kScaleModeLetterbox, false, false}},
       1},
  };
  const uint32_t crop[4] = {8, 8, 4, 4};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    RecordingImageScaler scaler(true);
    VideoFrameBufferSet set(&scaler);
    VideoFrameBuffer source;
    ASSERT_EQ(source.allocBuffer(320, c.sourceHeight, kFourCCI420), 0);
    paintPattern(source);
    source.setTimecode(33);
    std::vector<std::unique_ptr<VideoOverlayFrames>> overlays;
    std::vector<std::unique_ptr<VideoFrameBuffer>> alone;
    for (const Rendition& r : c.renditions) {
      const int32_t index = set.add();
      ASSERT_GE(index, 0);
      for (VideoFrameBuffer* frame : {set.get(static_cast<uint32_t>(index))->getBuffer(),
                                      alone.emplace_back(std::make_unique<VideoFrameBuffer>()).get()}) {
        ASSERT_EQ(frame->allocBuffer(r.width, r.height, kFourCCI420), 0);
        std::memset(frame->getBytes(), 0x55, frame->getByteCount());
        frame->setScaleMode(r.mode);
        if (r.cropped) frame->setCrop(crop, 4);
      }
      overlays.push_back(std::make_unique<VideoOverlayFrames>());
      if (r.overlaid) overlays.back()->setOverlay(1, makeOverlay(kFourCCBGRA, 8, 8, 255, 0, 0, 17));
    }
    ASSERT_EQ(set.transferToRenditions(source, overlays), 0);
    size_t fromSource = 0;
    for (const auto& call : scaler.calls) fromSource += call.src == source.getPlane(0) ? 1 : 0;
    EXPECT_EQ(fromSource, c.pictureScalings);
    for (size_t i = 0; i < c.renditions.size(); ++i) {
      SCOPED_TRACE(i);
      VideoFrameBuffer& shared = *set.get(static_cast<uint32_t>(i))->getBuffer();
      ASSERT_EQ(alone[i]->scaleFrom(source, false), 0);
      EXPECT_EQ(shared.getTimecode(), 33);
      const bool same = std::memcmp(shared.getBytes(), alone[i]->getBytes(), shared.getByteCount()) == 0;
      EXPECT_EQ(same, !c.renditions[i].overlaid);
    }
  }
}

// A rendition that took its twin's pixels, bars and all, paints its own bars
// when its fit has them again.
TEST(VideoFrameBufferSetTwins, BarsComeBackAfterASharedPicture) {
  VideoFrameBufferSet set;
  std::vector<std::unique_ptr<VideoOverlayFrames>> overlays;
  for (int i = 0; i < 2; ++i) {
    VideoFrameBuffer& frame = *set.get(static_cast<uint32_t>(set.add()))->getBuffer();
    ASSERT_EQ(frame.allocBuffer(160, 90, kFourCCI420), 0);
    frame.setScaleMode(kScaleModeLetterbox);
    overlays.push_back(std::make_unique<VideoOverlayFrames>());
  }
  VideoFrameBuffer narrow, wide;
  ASSERT_EQ(narrow.allocBuffer(240, 180, kFourCCI420), 0);
  ASSERT_EQ(wide.allocBuffer(320, 180, kFourCCI420), 0);
  paintI420(narrow, 200);
  paintI420(wide, 120);
  for (VideoFrameBuffer* source : {&narrow, &wide, &narrow}) ASSERT_EQ(set.transferToRenditions(*source, overlays), 0);
  for (uint32_t i = 0; i < 2; ++i) {
    SCOPED_TRACE(i);
    const VideoFrameBuffer& frame = *set.get(i)->getBuffer();
    EXPECT_EQ(lumaAt(frame, 0, 45), 16) << "a bar";
    EXPECT_NEAR(lumaAt(frame, 80, 45), 200, 1);
  }
}

}  // namespace
}  // namespace cvx
