#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <vector>

#include "logging/IConcurrentLock.h"
#include "video/frames/IVideoOverlayFrameProvider.h"

namespace cvx {

// The overlays of the decoder's frames or of one rendition, by key. The host
// installs and removes them from any thread while frames flow; the lock
// guards the map for each single call and is never held while drawing.
// Not copyable: a session keeps its providers where growing its list of
// renditions does not move them.
class VideoOverlayFrames : public IVideoOverlayFrameProvider {
 public:
  VideoOverlayFrames();
  ~VideoOverlayFrames() override;
  VideoOverlayFrames(const VideoOverlayFrames&) = delete;
  VideoOverlayFrames& operator=(const VideoOverlayFrames&) = delete;

  void getOverlayFrames(std::vector<VideoOverlayFrameRef>& list) override;
  uint32_t getOverlayCount() override;

  // Installs frame at key, replacing what was there. A replaced frame goes
  // once the last transfer drawing it lets it go. False, and the frame
  // dropped, for a new key once kMaxOverlays are installed.
  bool setOverlay(uint32_t key, std::unique_ptr<VideoOverlayFrame> frame);
  // Silent when the key is absent. The scratch stays.
  void removeOverlay(uint32_t key);
  bool hasAlphaOverlay();
  // Raises width and height to the largest dstWidth and dstHeight among the
  // VUYA overlays; the two may come from different overlays.
  void getMaxAlphaOverlaySize(uint32_t& width, uint32_t& height);

  // The VUYA work area of compositing, used on the transfer path only and
  // therefore without the lock. Stride is width x 4.
  uint8_t* getScratch() const { return scratch_.get(); }
  uint32_t getScratchWidth() const { return scratchWidth_; }
  uint32_t getScratchHeight() const { return scratchHeight_; }
  void setScratch(std::unique_ptr<uint8_t[]> scratch, uint32_t width, uint32_t height);

 private:
  std::unique_ptr<IConcurrentLock> lock_;
  std::map<uint32_t, VideoOverlayFrameRef> overlays_;
  std::unique_ptr<uint8_t[]> scratch_;
  uint32_t scratchWidth_ = 0;
  uint32_t scratchHeight_ = 0;
};

}  // namespace cvx
