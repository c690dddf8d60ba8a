#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "logging/Guarded.h"
#include "logging/IConcurrentLock.h"
#include "media/ByteBlocks.h"

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
    for (Frame& frame : frames) MallocBlock(frame.buffer).reset();
  }
  LockedFrameList(const LockedFrameList&) = delete;
  LockedFrameList& operator=(const LockedFrameList&) = delete;

  // Takes the frame's block; if it cannot be kept, the block is freed and
  // the failure raised.
  void append(const Frame& frame) {
    MallocBlock block(frame.buffer);
    ConcurrentLockGuard guard(lock);
    frames.push_back(frame);
    block.release();
  }

  uint32_t count() {
    return guarded(countLabel, [this] {
      ConcurrentLockGuard guard(lock);
      return static_cast<uint32_t>(frames.size());
    }, 0u);
  }

  // Moves every frame to `out`, oldest first; the caller then owns the blocks.
  int takeAll(std::vector<Frame>& out) {
    return guarded(takeLabel, [&] {
      ConcurrentLockGuard guard(lock);
      out.insert(out.end(), frames.begin(), frames.end());
      frames.clear();
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
