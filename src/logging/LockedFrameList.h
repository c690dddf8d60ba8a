#pragma once

#include <cstdint>
#include <exception>
#include <utility>
#include <vector>

#include "logging/IConcurrentLock.h"
#include "logging/StdoutLine.h"
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
  ~LockedFrameList() { delete lock; }
  LockedFrameList(const LockedFrameList&) = delete;
  LockedFrameList& operator=(const LockedFrameList&) = delete;

  // Takes the frame; if it cannot be kept, the failure is raised and the
  // frame stays the caller's.
  void append(Frame&& frame) {
    ConcurrentLockGuard guard(lock);
    frames.push_back(std::move(frame));
  }

  uint32_t count() {
    try {
      ConcurrentLockGuard guard(lock);
      return static_cast<uint32_t>(frames.size());
    } catch (const std::exception& e) {
      writeStdoutLine(countLabel, e);
      return 0;
    }
  }

  // Moves every frame to `out`, oldest first; the caller then owns the blocks.
  int takeAll(std::vector<Frame>& out) {
    try {
      ConcurrentLockGuard guard(lock);
      moveFrames(frames, out);
      return 0;
    } catch (const std::exception& e) {
      writeStdoutLine(takeLabel, e);
      return -1;
    }
  }

 private:
  IConcurrentLock* lock;
  const char* countLabel;
  const char* takeLabel;
  std::vector<Frame> frames;
};

}  // namespace cvx
