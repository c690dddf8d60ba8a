#include "video/frames/PictureFit.h"

#include <algorithm>
#include <climits>

#include "video/frames/PictureLimits.h"

namespace cvx {

namespace {

// Source coordinates travel with 8 fractional bits in 32-bit fields; every
// coordinate of a picture within the limits fits them.
static_assert(int64_t{kMaxPictureSide} * 256 <= INT32_MAX, "source coordinates fit the rectangles");

// A rectangle by its inclusive edges. Within the picture limits every value
// fits 32 bits and every product below 64 bits.
struct Edges {
  int64_t left, top, right, bottom;
};

// The crop or the source rectangle, clipped to the source; false when it
// leaves nothing of it.
bool selectSource(int64_t srcW, int64_t srcH, const FitSettings& settings, Edges& selection) {
  int64_t x = 0, y = 0, w = srcW, h = srcH;
  if (settings.crop != nullptr) {
    const uint32_t* crop = settings.crop;
    const int64_t cutW = int64_t{crop[0]} + crop[1];
    const int64_t cutH = int64_t{crop[2]} + crop[3];
    if (cutW >= srcW || cutH >= srcH) return false;
    x = crop[0];
    w -= cutW;
    y = crop[2];
    h -= cutH;
  } else if (settings.srcRect != nullptr) {
    const uint32_t* rect = settings.srcRect;
    x = rect[0];
    y = rect[1];
    if (x >= srcW || y >= srcH) return false;
    w = std::min<int64_t>(rect[2], srcW - x);
    h = std::min<int64_t>(rect[3], srcH - y);
    if (w == 0 || h == 0) return false;  // no size, and no ratio to divide by
  }
  selection = {x, y, x + w - 1, y + h - 1};
  return true;
}

// Letterbox: the selection at its own shape, as large as the destination
// allows, centred; the rest is bars.
Edges letterbox(int64_t w, int64_t h, int64_t dstW, int64_t dstH) {
  const int64_t fitW = dstH * w / h;
  const int64_t fitH = dstW * h / w;
  if (fitW > dstW) {
    const int64_t top = (dstH - fitH) / 2;
    return {0, top, dstW - 1, top + fitH - 1};
  }
  const int64_t left = (dstW - fitW) / 2;
  return {left, 0, left + fitW - 1, dstH - 1};
}

// Crop to fill: the centred part of the selection that has the
// destination's shape.
Edges cropToFill(const Edges& selection, int64_t dstW, int64_t dstH) {
  const int64_t w = selection.right - selection.left + 1;
  const int64_t h = selection.bottom - selection.top + 1;
  const int64_t cropW = h * dstW / dstH;
  const int64_t cropH = w * dstH / dstW;
  Edges cut = selection;
  if (cropW > w) {
    cut.top = selection.top + (h - cropH) / 2;
    cut.bottom = cut.top + cropH - 1;  // cropH 0 gives an empty rectangle
  } else {
    cut.left = selection.left + (w - cropW) / 2;
    cut.right = cut.left + cropW - 1;
  }
  return cut;
}

}  // namespace

PictureFit fitPicture(uint32_t sourceWidth, uint32_t sourceHeight, uint32_t width, uint32_t height,
                      const FitSettings& settings) {
  PictureFit fit;
  Edges source{};
  if (isPictureSizeRefused(sourceWidth, sourceHeight) || isPictureSizeRefused(width, height) ||
      !selectSource(sourceWidth, sourceHeight, settings, source)) {
    return fit;
  }
  fit.empty = false;
  fit.selectionWidth = static_cast<uint32_t>(source.right - source.left + 1);
  fit.selectionHeight = static_cast<uint32_t>(source.bottom - source.top + 1);
  ScaleRectangles& r = fit.rectangles;
  if (settings.scaleMode == kScaleModeLetterbox) {
    const Edges placed = letterbox(fit.selectionWidth, fit.selectionHeight, width, height);
    fit.flags = kScaleUseSourceRect | kScaleUseDestRect;
    r.dstLeft = static_cast<int32_t>(placed.left);
    r.dstTop = static_cast<int32_t>(placed.top);
    r.dstRight = static_cast<int32_t>(placed.right);
    r.dstBottom = static_cast<int32_t>(placed.bottom);
  } else if (settings.scaleMode == kScaleModeCropToFill) {
    source = cropToFill(source, width, height);
    fit.flags = kScaleUseSourceRect;
  } else if (settings.crop != nullptr || settings.srcRect != nullptr) {
    fit.flags = kScaleUseSourceRect;
  }
  fit.useRectangles = fit.flags != 0;
  if (fit.useRectangles) {
    r.srcLeft = static_cast<int32_t>(source.left * 256);
    r.srcTop = static_cast<int32_t>(source.top * 256);
    r.srcRight = static_cast<int32_t>(source.right * 256);
    r.srcBottom = static_cast<int32_t>(source.bottom * 256);
  }
  return fit;
}

}  // namespace cvx
