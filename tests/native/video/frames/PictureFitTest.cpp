#include "video/frames/PictureFit.h"

#include <gtest/gtest.h>

#include <vector>

namespace cvx {
namespace {

struct Edges {
  int32_t left, top, right, bottom;
};

struct FitCase {
  const char* name;
  uint32_t srcW, srcH, dstW, dstH;
  int32_t mode;
  std::vector<uint32_t> crop, rect;  // empty: not enabled
  uint32_t flags;
  Edges source;       // whole pixels
  Edges destination;  // all zero unless the destination rectangle counts
  uint32_t selectionW, selectionH;
};

TEST(PictureFit, SelectsAndFitsByScaleMode) {
  constexpr uint32_t kSource = kScaleUseSourceRect;
  constexpr uint32_t kBoth = kScaleUseSourceRect | kScaleUseDestRect;
  const FitCase cases[] = {
      {"letterbox wide into 4:3: bars top and bottom", 1920, 1080, 640, 480, kScaleModeLetterbox, {}, {}, kBoth,
       {0, 0, 1919, 1079}, {0, 60, 639, 419}, 1920, 1080},
      {"letterbox 4:3 into wide: bars at the sides", 640, 480, 1280, 720, kScaleModeLetterbox, {}, {}, kBoth,
       {0, 0, 639, 479}, {160, 0, 1119, 719}, 640, 480},
      {"letterbox of the same shape fills the whole", 1280, 720, 640, 360, kScaleModeLetterbox, {}, {}, kBoth,
       {0, 0, 1279, 719}, {0, 0, 639, 359}, 1280, 720},
      {"letterbox puts an odd pixel on the right", 100, 100, 101, 50, kScaleModeLetterbox, {}, {}, kBoth,
       {0, 0, 99, 99}, {25, 0, 74, 49}, 100, 100},
      {"letterbox keeps the crop's shape", 200, 100, 300, 150, kScaleModeLetterbox, {50, 50, 0, 0}, {}, kBoth,
       {50, 0, 149, 99}, {75, 0, 224, 149}, 100, 100},
      {"crop to fill wide into 4:3 cuts the sides", 1920, 1080, 640, 480, kScaleModeCropToFill, {}, {}, kSource,
       {240, 0, 1679, 1079}, {}, 1920, 1080},
      {"crop to fill tall into wide cuts top and bottom", 480, 640, 1280, 720, kScaleModeCropToFill, {}, {},
       kSource, {0, 185, 479, 454}, {}, 480, 640},
      {"stretch without a selection passes no rectangles", 200, 100, 50, 50, kScaleModeStretch, {}, {}, 0, {}, {},
       200, 100},
      {"stretch of a crop", 200, 100, 50, 50, kScaleModeStretch, {10, 20, 30, 40}, {}, kSource, {10, 30, 179, 59},
       {}, 170, 30},
      {"any other mode stretches", 200, 100, 50, 50, 0, {10, 20, 30, 40}, {}, kSource, {10, 30, 179, 59}, {}, 170,
       30},
      {"the crop wins over the source rectangle", 200, 100, 50, 50, kScaleModeStretch, {10, 20, 30, 40},
       {1, 2, 3, 4}, kSource, {10, 30, 179, 59}, {}, 170, 30},
      {"a source rectangle is clipped to the source", 200, 100, 50, 50, kScaleModeStretch, {}, {150, 80, 100, 100},
       kSource, {150, 80, 199, 99}, {}, 50, 20},
  };
  for (const FitCase& c : cases) {
    SCOPED_TRACE(c.name);
    FitSettings settings;
    settings.scaleMode = c.mode;
    settings.crop = c.crop.empty() ? nullptr : c.crop.data();
    settings.srcRect = c.rect.empty() ? nullptr : c.rect.data();
    const PictureFit fit = fitPicture(c.srcW, c.srcH, c.dstW, c.dstH, settings);
    ASSERT_FALSE(fit.empty);
    EXPECT_EQ(fit.flags, c.flags);
    EXPECT_EQ(fit.useRectangles, c.flags != 0);
    EXPECT_EQ(fit.selectionWidth, c.selectionW);
    EXPECT_EQ(fit.selectionHeight, c.selectionH);
    const ScaleRectangles& r = fit.rectangles;
    EXPECT_EQ(r.srcLeft, c.source.left * 256);
    EXPECT_EQ(r.srcTop, c.source.top * 256);
    EXPECT_EQ(r.srcRight, c.source.right * 256);
    EXPECT_EQ(r.srcBottom, c.source.bottom * 256);
    EXPECT_EQ(r.dstLeft, c.destination.left);
    EXPECT_EQ(r.dstTop, c.destination.top);
    EXPECT_EQ(r.dstRight, c.destination.right);
    EXPECT_EQ(r.dstBottom, c.destination.bottom);
  }
}

TEST(PictureFit, SelectionsThatLeaveNothingAreEmpty) {
  struct Case { const char* name; uint32_t srcW, srcH, dstW, dstH; std::vector<uint32_t> crop, rect; } cases[] = {
      {"crop as wide as the source", 64, 32, 32, 16, {32, 32, 0, 0}, {}},
      {"crops that wrap in 32 bits", 64, 32, 32, 16, {0x80000000u, 0x80000000u, 0, 0}, {}},
      {"source rectangle off the source", 64, 32, 32, 16, {}, {64, 0, 10, 10}},
      {"zero-height source rectangle", 64, 32, 32, 16, {}, {0, 0, 10, 0}},
      {"no destination", 64, 32, 0, 0, {}, {}},
      {"a source past the picture limits", 20000, 10, 32, 16, {}, {}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    for (int32_t mode : {kScaleModeLetterbox, kScaleModeStretch, kScaleModeCropToFill}) {
      FitSettings settings;
      settings.scaleMode = mode;
      settings.crop = c.crop.empty() ? nullptr : c.crop.data();
      settings.srcRect = c.rect.empty() ? nullptr : c.rect.data();
      EXPECT_TRUE(fitPicture(c.srcW, c.srcH, c.dstW, c.dstH, settings).empty) << "mode " << mode;
    }
  }
}

}  // namespace
}  // namespace cvx
