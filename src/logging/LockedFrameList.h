#pragma once

#include <cstdint>
#include <cstdlib>
#include <exception>
#include <vector>

#include "logging/IConcurrentLock.h"
#include "logging/StdoutLine.h"

namespace cvx {

// Finished encoded frames waiting for the host, guarded by a lock of their
// own: a library may append from its threads while the host takes them.
// `Frame` has a malloc'd `buffer`; the list owns the blocks until they are
// taken, and frees those nobody took.
template <class Frame>
class LockedFrameList {
 public:
  // The labels prefix the stdout line when counting or taking fails.
  LockedFrameList(const char* countLabel, const char* takeLabel)
      : lock(createConcurrentLock()), countLabel(countLabel), takeLabel(takeLabel) {}
  ~LockedFrameList() {
    for (Frame& frame : frames) std::free(frame.buffer);
    delete lock;
  }
  LockedFrameList(const LockedFrameList&) = delete;
  LockedFrameList& operator=(const LockedFrameList&) = delete;

  // Takes the frame's block; if it cannot be kept, the block is freed and
  // the failure raised.
  void append(const Frame& frame) {
    ConcurrentLockGuard guard(lock);
    try {
      frames.push_back(frame);
    } catch (...) {
      std::free(frame.buffer);
      throw;
    }
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
      out.insert(out.end(), frames.begin(), frames.end());
      frames.clear();
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
