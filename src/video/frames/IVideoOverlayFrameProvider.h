#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "video/frames/VideoOverlayFrame.h"

namespace cvx {

// A reference that keeps an overlay alive while a transfer draws it, even if
// the host replaces or removes it meanwhile.
using VideoOverlayFrameRef = std::shared_ptr<const VideoOverlayFrame>;

// What the frame sets draw overlays from. Both operations are safe to call
// while another thread installs or removes overlays.
class IVideoOverlayFrameProvider {
 public:
  virtual ~IVideoOverlayFrameProvider() = default;
  // Appends the overlays in ascending key order, the order of drawing: a
  // later one lies on top. The list is not cleared first.
  virtual void getOverlayFrames(std::vector<VideoOverlayFrameRef>& list) = 0;
  virtual uint32_t getOverlayCount() = 0;
};

}  // namespace cvx
