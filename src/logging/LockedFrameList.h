#pragma once

#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "logging/Guarded.h"
#include "logging/IConcurrentLock.h"
#include "media/EncodedBlock.h"

namespace cvx {

// Finished encoded frames waiting for the host, guarded by a lock of their
// own: a library may append from its threads while the host takes them.
// Each `Frame` owns its block; the list holds the frames until they are
// taken, and those nobody took go with it.
template <class Frame>
class LockedFrameList {
 public:
  // The labels prefix the stdout line when counting or taking fails.
  LockedFrameList(const char* countLabel, const char* takeLabel)
      : lock(createConcurrentLock()), countLabel(countLabel), takeLabel(takeLabel) {}
  LockedFrameList(const LockedFrameList&) = delete;
  LockedFrameList& operator=(const LockedFrameList&) = delete;

  // Takes the frame; if it cannot be kept, the failure is raised and the
  // frame stays the caller's.
  void append(Frame&& frame) {
    ConcurrentLockGuard guard(lock);
    frames.push_back(std::move(frame));
  }

  uint32_t count() {
    return guarded(countLabel, [this] {
      ConcurrentLockGuard guard(lock);
      return static_cast<uint32_t>(frames.size());
    }, 0u);
  }

  // Moves every frame to `out`, oldest first, with the blocks they own.
  int takeAll(std::vector<Frame>& out) {
    return guarded(takeLabel, [&] {
      ConcurrentLockGuard guard(lock);
      moveFrames(frames, out);
      return 0;
    });
  }

 private:
  std::unique_ptr<IConcurrentLock> lock;
  const char* countLabel;
  const char* takeLabel;
  std::vector<Frame> frames;
};

}  // namespace cvx
