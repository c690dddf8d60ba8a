#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "video/frames/IVideoOverlayFrameProvider.h"
#include "video/frames/VideoFrameBufferSetItem.h"

namespace cvx {

class IImageScaler;
class PictureMemoryBudget;
class VideoFrameBuffer;
class VideoOverlayFrames;

// Where an overlay lands along one axis of a frame, both edges inclusive.
struct OverlaySpan {
  int32_t first;
  int32_t last;
};

// The buffers of one slot, one per rendition: item i belongs to rendition i.
// Moves a decoded picture into a rendition's buffer and composites overlays.
class VideoFrameBufferSet {
 public:
  // scaler and budget are borrowed and handed to every buffer made; a null
  // scaler means the platform's, a null budget no limit but the allocator's.
  // The budget must outlive the set.
  explicit VideoFrameBufferSet(IImageScaler* scaler = nullptr, PictureMemoryBudget* budget = nullptr);
  ~VideoFrameBufferSet();
  VideoFrameBufferSet(const VideoFrameBufferSet&) = delete;
  VideoFrameBufferSet& operator=(const VideoFrameBufferSet&) = delete;

  // Makes a new empty buffer and returns its index, or -1 after a failure.
  int32_t add();
  uint32_t getCount() const { return static_cast<uint32_t>(items_.size()); }
  // Null when index is not below the count.
  const VideoFrameBufferSetItem* get(uint32_t index) const;

  // Fits source into destination by destination's settings, then draws the
  // overlays over it at destination's size. Returns 0, or -1 after a failure.
  int transferFrame(VideoFrameBuffer& source, VideoFrameBuffer& destination,
                    VideoOverlayFrames& overlays);
  // transferFrame into item i with overlays[i], for every item that has
  // overlays. A rendition that draws like an earlier one without overlays
  // copies its pixels rather than scaling the source again, so a ladder with
  // two renditions of one size (an H.264 and a VP8 rung) scales once.
  // Returns 0.
  int transferToRenditions(VideoFrameBuffer& source,
                           const std::vector<std::unique_ptr<VideoOverlayFrames>>& overlays);
  // Draws the overlays into frame in place, in key order. Returns 0.
  int applyOverlays2(VideoFrameBuffer& frame, VideoOverlayFrames& overlays);

 private:
  // transferFrame, with twin as in VideoFrameBuffer::scaleFrom; plain tells
  // whether destination was filled with nothing drawn over it, so that it
  // may stand twin for a later rendition.
  int transfer(VideoFrameBuffer& source, VideoFrameBuffer& destination, VideoOverlayFrames& overlays,
               const VideoFrameBuffer* twin, bool& plain);
  // Sizes the overlays' scratch for the alpha overlays of drawList_.
  void prepareScratch(const VideoFrameBuffer& frame, VideoOverlayFrames& overlays);
  void drawOverlay(VideoFrameBuffer& frame, const VideoOverlayFrame& overlay,
                   VideoOverlayFrames& overlays);
  // An overlay with alpha, through the scratch: fetch the frame's rectangle,
  // blend the overlay over it, put it back.
  void compositeOverlay(VideoFrameBuffer& frame, const VideoOverlayFrame& overlay,
                        const OverlaySpan& across, const OverlaySpan& down,
                        VideoOverlayFrames& overlays);

  IImageScaler* scaler_;
  PictureMemoryBudget* budget_;
  std::vector<std::unique_ptr<VideoFrameBuffer>> buffers_;
  std::vector<VideoFrameBufferSetItem> items_;
  std::vector<VideoOverlayFrameRef> drawList_;  // reused frame after frame
  // The renditions that transferToRenditions filled without overlays so
  // far in this picture; reserved as items are added.
  std::vector<const VideoFrameBuffer*> plainFills_;
};

}  // namespace cvx
