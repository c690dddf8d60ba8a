#include "video/frames/VideoFrameBufferSet.h"

#include <climits>

#include "logging/Guarded.h"
#include "media/ByteBlocks.h"
#include "platform/imagescaler/ScaleImage.h"
#include "video/frames/IImageScaler.h"
#include "video/frames/LibraryImageScaler.h"
#include "video/frames/VideoFrameBuffer.h"
#include "video/frames/VideoOverlayFrames.h"

namespace cvx {

namespace {

// Source coordinates carry 8 fractional bits in 32-bit fields.
constexpr uint32_t kMaxFrameSide = INT32_MAX / 256;

// Where an overlay lands on a frame of frameSize along one axis. The sums
// are unsigned 32-bit as the placement rule is written, so that an overlay
// wholly before the frame counts as past its far edge.
OverlaySpan placeOnAxis(int32_t offset, uint32_t size, uint32_t frameSize, bool centre,
                          bool far) {
  uint32_t start = static_cast<uint32_t>(offset);
  if (centre) {
    start += frameSize / 2 - size / 2;
  } else if (far) {
    start += frameSize - size;
  }
  uint32_t end = start + size - 1;
  // Pushed back inside whole, never clipped.
  if (end >= frameSize) {
    start = frameSize - size;
    end = start + size - 1;
  } else if (static_cast<int32_t>(start) < 0) {
    start = 0;
    end = size - 1;
  }
  return {static_cast<int32_t>(start), static_cast<int32_t>(end)};
}

// The whole overlay picture as the source rectangle, zeroed otherwise.
ScaleRectangles overlaySource(const VideoOverlayFrame& overlay) {
  ScaleRectangles a{};
  a.srcRight = static_cast<int32_t>((int64_t{overlay.getWidth()} - 1) * 256);
  a.srcBottom = static_cast<int32_t>((int64_t{overlay.getHeight()} - 1) * 256);
  return a;
}

}  // namespace

VideoFrameBufferSet::VideoFrameBufferSet(IImageScaler* scaler, PictureMemoryBudget* budget)
    : scaler_(scaler != nullptr ? scaler : &defaultImageScaler()), budget_(budget) {}

VideoFrameBufferSet::~VideoFrameBufferSet() = default;

int32_t VideoFrameBufferSet::add() {
  return guarded("VideoFrameBufferSet::add: ", [this] {
    // Room for every item first, so that no transfer allocates.
    plainFills_.reserve(items_.size() + 1);
    auto buffer = std::make_unique<VideoFrameBuffer>();
    buffer->setImageScaler(scaler_);
    buffer->setMemoryBudget(budget_);
    buffers_.push_back(std::move(buffer));
    // A buffer may be held without its item: items_ alone is what counts.
    items_.emplace_back(buffers_.back().get());
    return static_cast<int32_t>(items_.size() - 1);
  });
}

const VideoFrameBufferSetItem* VideoFrameBufferSet::get(uint32_t index) const {
  return index < items_.size() ? &items_[index] : nullptr;
}

int VideoFrameBufferSet::transferFrame(VideoFrameBuffer& source, VideoFrameBuffer& destination,
                                       VideoOverlayFrames& overlays) {
  bool plain = false;
  return transfer(source, destination, overlays, nullptr, plain);
}

int VideoFrameBufferSet::transfer(VideoFrameBuffer& source, VideoFrameBuffer& destination,
                                  VideoOverlayFrames& overlays, const VideoFrameBuffer* twin, bool& plain) {
  plain = false;
  return guarded("VideoFrameBufferSet::transferFrame: ", [&] {
    // One reading: overlays may be installed meanwhile.
    const uint32_t count = overlays.getOverlayCount();
    // With overlays the letterbox bars are painted afresh on every frame,
    // since an overlay may have covered them.
    const int status = destination.scaleFrom(source, count > 0, count > 0 ? nullptr : twin);
    if (count != 0) applyOverlays2(destination, overlays);
    plain = count == 0 && status == 0;
    return 0;
  });
}

int VideoFrameBufferSet::transferToRenditions(VideoFrameBuffer& source,
                                              const std::vector<std::unique_ptr<VideoOverlayFrames>>& overlays) {
  plainFills_.clear();
  for (size_t i = 0; i < items_.size() && i < overlays.size(); ++i) {
    VideoFrameBuffer* destination = items_[i].getBuffer();
    if (overlays[i] == nullptr || destination == nullptr) continue;
    const VideoFrameBuffer* twin = nullptr;
    for (const VideoFrameBuffer* earlier : plainFills_) {
      if (destination->drawsLike(*earlier)) {
        twin = earlier;
        break;
      }
    }
    // Only a frame with nothing drawn over it can stand for another.
    bool plain = false;
    transfer(source, *destination, *overlays[i], twin, plain);
    if (plain && twin == nullptr && plainFills_.size() < plainFills_.capacity()) {
      plainFills_.push_back(destination);
    }
  }
  plainFills_.clear();
  return 0;
}

int VideoFrameBufferSet::applyOverlays2(VideoFrameBuffer& frame, VideoOverlayFrames& overlays) {
  guarded("VideoFrameBufferSet::applyOverlays2: ", [&] {
    drawList_.clear();
    overlays.getOverlayFrames(drawList_);
    if (drawList_.empty()) return;
    prepareScratch(frame, overlays);
    for (const VideoOverlayFrameRef& overlay : drawList_) drawOverlay(frame, *overlay, overlays);
  });
  drawList_.clear();  // lets replaced overlays go now rather than next frame
  return 0;
}

void VideoFrameBufferSet::prepareScratch(const VideoFrameBuffer& frame, VideoOverlayFrames& overlays) {
  // The scratch is sized from the same snapshot that is drawn, so an
  // overlay installed meanwhile cannot outgrow it. Only overlays that can
  // be drawn on this frame count: one larger than the frame is skipped, so
  // the scratch never outgrows the frame.
  uint32_t alphaWidth = 0, alphaHeight = 0;
  bool hasAlpha = false;
  for (const VideoOverlayFrameRef& overlay : drawList_) {
    if (!overlay->isAlpha() || !overlay->isDrawable() || overlay->getDstWidth() > frame.getWidth() ||
        overlay->getDstHeight() > frame.getHeight()) {
      continue;
    }
    hasAlpha = true;
    if (overlay->getDstWidth() > alphaWidth) alphaWidth = overlay->getDstWidth();
    if (overlay->getDstHeight() > alphaHeight) alphaHeight = overlay->getDstHeight();
  }
  if (!hasAlpha || (overlays.getScratch() != nullptr && overlays.getScratchWidth() == alphaWidth &&
                    overlays.getScratchHeight() == alphaHeight)) {
    return;
  }
  const uint64_t bytes = uint64_t{alphaWidth} * alphaHeight * 4;
  overlays.setScratch(nullptr, 0, 0);
  if (bytes > 0 && uint64_t{alphaWidth} * 4 <= INT32_MAX) {
    overlays.setScratch(tryAllocateBytes(bytes), alphaWidth, alphaHeight);
  }
}

void VideoFrameBufferSet::drawOverlay(VideoFrameBuffer& frame, const VideoOverlayFrame& overlay,
                                      VideoOverlayFrames& overlays) {
  const uint32_t frameWidth = frame.getWidth();
  const uint32_t frameHeight = frame.getHeight();
  if (!overlay.isDrawable() || !frame.hasPicture() || frameWidth > kMaxFrameSide ||
      frameHeight > kMaxFrameSide) {
    return;
  }
  const int32_t align = overlay.getDstAlign();
  const OverlaySpan across =
      placeOnAxis(overlay.getDstX(), overlay.getDstWidth(), frameWidth,
                  (align & kOverlayAlignCentre) != 0, (align & kOverlayAlignRight) != 0);
  const OverlaySpan down =
      placeOnAxis(overlay.getDstY(), overlay.getDstHeight(), frameHeight,
                  (align & kOverlayAlignMiddle) != 0, (align & kOverlayAlignBottom) != 0);
  // An overlay larger than the frame cannot be pushed inside: skipped.
  if (across.first < 0 || down.first < 0 || int64_t{across.last} >= int64_t{frameWidth} ||
      int64_t{down.last} >= int64_t{frameHeight}) {
    return;
  }
  if (overlay.isAlpha()) {
    compositeOverlay(frame, overlay, across, down, overlays);
  } else {
    ScaleRectangles a = overlaySource(overlay);
    a.dstLeft = across.first;
    a.dstRight = across.last;
    a.dstTop = down.first;
    a.dstBottom = down.last;
    scaler_->scaleImage(kScaleUseDestRect, overlay.getFourCC(), overlay.getBytes(), overlay.getStride(),
                        overlay.getWidth(), overlay.getHeight(), frame.getFourCC(), frame.getPlane(0),
                        frame.getPlaneStride(0), frameWidth, frameHeight, nullptr, 1, &a, nullptr);
  }
}

void VideoFrameBufferSet::compositeOverlay(VideoFrameBuffer& frame, const VideoOverlayFrame& overlay,
                                           const OverlaySpan& across, const OverlaySpan& down,
                                           VideoOverlayFrames& overlays) {
  uint8_t* scratch = overlays.getScratch();
  if (scratch == nullptr) return;
  const uint32_t scratchWidth = overlays.getScratchWidth();
  const uint32_t scratchHeight = overlays.getScratchHeight();
  const int32_t scratchStride = static_cast<int32_t>(scratchWidth * 4);
  uint8_t* plane0 = frame.getPlane(0);
  const int32_t stride0 = frame.getPlaneStride(0);
  const int32_t width = across.last - across.first;  // Z's right edge
  const int32_t height = down.last - down.first;
  constexpr uint32_t kRects = kScaleUseSourceRect | kScaleUseDestRect;

  // Fetch the frame's rectangle D into the scratch at the origin (Z).
  ScaleRectangles b{};
  b.srcLeft = across.first * 256;
  b.srcTop = down.first * 256;
  b.srcRight = across.last * 256;
  b.srcBottom = down.last * 256;
  b.dstRight = width;
  b.dstBottom = height;
  scaler_->scaleImage(kRects, frame.getFourCC(), plane0, stride0, frame.getWidth(), frame.getHeight(),
                      kFourCCVUYA, scratch, scratchStride, scratchWidth, scratchHeight, nullptr, 1, &b, nullptr);
  // Blend the overlay, scaled to its size on the frame, over it.
  ScaleRectangles a = overlaySource(overlay);
  a.dstRight = width;
  a.dstBottom = height;
  scaler_->scaleImage(kRects | kScaleBlendAlpha, kFourCCVUYA, overlay.getBytes(), overlay.getStride(),
                      overlay.getWidth(), overlay.getHeight(), kFourCCVUYA, scratch, scratchStride, scratchWidth,
                      scratchHeight, nullptr, 1, &a, nullptr);
  // Put the composite back where it came from.
  b = ScaleRectangles{};
  b.srcRight = width * 256;
  b.srcBottom = height * 256;
  b.dstLeft = across.first;
  b.dstTop = down.first;
  b.dstRight = across.last;
  b.dstBottom = down.last;
  scaler_->scaleImage(kRects, kFourCCVUYA, scratch, scratchStride, scratchWidth, scratchHeight,
                      frame.getFourCC(), plane0, stride0, frame.getWidth(), frame.getHeight(), nullptr, 1, &b,
                      nullptr);
}

}  // namespace cvx
