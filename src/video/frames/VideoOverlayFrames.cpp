#include "video/frames/VideoOverlayFrames.h"

#include <utility>

#include "logging/Guarded.h"
#include "video/frames/PictureLimits.h"

namespace cvx {

VideoOverlayFrames::VideoOverlayFrames() : lock_(createConcurrentLock()) {}

VideoOverlayFrames::~VideoOverlayFrames() {
  {
    ConcurrentLockGuard guard(lock_);
    overlays_.clear();
  }
  guarded("VideoOverlayFrames::delete[lock]: ", [this] { lock_.reset(); });
}

void VideoOverlayFrames::getOverlayFrames(std::vector<VideoOverlayFrameRef>& list) {
  ConcurrentLockGuard guard(lock_);
  for (const auto& entry : overlays_) list.push_back(entry.second);
}

uint32_t VideoOverlayFrames::getOverlayCount() {
  ConcurrentLockGuard guard(lock_);
  return static_cast<uint32_t>(overlays_.size());
}

bool VideoOverlayFrames::setOverlay(uint32_t key, std::unique_ptr<VideoOverlayFrame> frame) {
  if (!frame) return false;
  VideoOverlayFrameRef incoming(std::move(frame));
  VideoOverlayFrameRef previous;
  {
    ConcurrentLockGuard guard(lock_);
    if (overlays_.size() >= kMaxOverlays && overlays_.count(key) == 0) return false;
    VideoOverlayFrameRef& slot = overlays_[key];
    previous = std::move(slot);
    slot = std::move(incoming);
  }
  // previous goes here, outside the lock, unless a transfer still holds it.
  return true;
}

void VideoOverlayFrames::removeOverlay(uint32_t key) {
  VideoOverlayFrameRef previous;
  {
    ConcurrentLockGuard guard(lock_);
    auto found = overlays_.find(key);
    if (found == overlays_.end()) return;
    previous = std::move(found->second);
    overlays_.erase(found);
  }
}

bool VideoOverlayFrames::hasAlphaOverlay() {
  ConcurrentLockGuard guard(lock_);
  for (const auto& entry : overlays_) {
    if (entry.second->isAlpha()) return true;
  }
  return false;
}

void VideoOverlayFrames::getMaxAlphaOverlaySize(uint32_t& width, uint32_t& height) {
  ConcurrentLockGuard guard(lock_);
  for (const auto& entry : overlays_) {
    if (!entry.second->isAlpha()) continue;
    if (entry.second->getDstWidth() > width) width = entry.second->getDstWidth();
    if (entry.second->getDstHeight() > height) height = entry.second->getDstHeight();
  }
}

void VideoOverlayFrames::setScratch(std::unique_ptr<uint8_t[]> scratch, uint32_t width,
                                    uint32_t height) {
  scratch_ = std::move(scratch);
  scratchWidth_ = scratch_ ? width : 0;
  scratchHeight_ = scratch_ ? height : 0;
}

}  // namespace cvx
