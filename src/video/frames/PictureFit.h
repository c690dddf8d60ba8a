#pragma once

#include <cstdint>

#include "platform/imagescaler/ScaleImage.h"

namespace cvx {

// The scale modes of a rendition; any other value stretches.
constexpr int32_t kScaleModeLetterbox = 1;
constexpr int32_t kScaleModeStretch = 3;
constexpr int32_t kScaleModeCropToFill = 4;

// What a rendition asks of the source: its scale mode, and the crop (left,
// right, top, bottom) or source rectangle (x, y, width, height) when
// enabled, null otherwise. The crop wins when both are given.
struct FitSettings {
  int32_t scaleMode = kScaleModeStretch;
  const uint32_t* crop = nullptr;
  const uint32_t* srcRect = nullptr;
};

// How a source is drawn into a destination: the scaler's flags and
// rectangles. Source coordinates carry 8 fractional bits, destination
// coordinates are whole pixels; both are inclusive of right and bottom.
struct PictureFit {
  // Nothing to draw: the selection leaves nothing of the source.
  bool empty = true;
  uint32_t flags = 0;
  // False when the whole source goes onto the whole destination.
  bool useRectangles = false;
  ScaleRectangles rectangles{};
  // The size of the selected source, for which letterbox bars are painted.
  uint32_t selectionWidth = 0;
  uint32_t selectionHeight = 0;
};

// Selects the part of a source of sourceWidth x sourceHeight that the
// settings name, clipped to the source, and fits it into width x height:
// letterbox keeps its shape inside the destination (bars at the sides or
// at top and bottom), crop to fill keeps the destination's shape by cutting
// the source, stretch takes the selection as it is. Divisions truncate, so
// an odd remainder puts the extra pixel right or at the bottom. Sizes are
// those of pictures within the picture limits; one that is not, or a zero
// side, gives an empty fit.
PictureFit fitPicture(uint32_t sourceWidth, uint32_t sourceHeight, uint32_t width, uint32_t height,
                      const FitSettings& settings);

}  // namespace cvx
