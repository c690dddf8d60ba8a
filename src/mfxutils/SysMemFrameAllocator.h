#pragma once

#include <cstdint>
#include <memory>
#include <unordered_set>

#include "mfxutils/BaseFrameAllocator.h"
#include "mfxutils/SysMemBufferAllocator.h"

namespace cvx {

// Frames in system memory, each one buffer of the buffer allocator: a
// 96-byte header (the tag "FRME", then a copy of the frame info) and the
// pixels, at width and height rounded up to 32. Serves NV12, YV12, YUY2,
// RGB3 and RGB4, in system memory only. A lock hands out plane pointers into
// the block; only the allocator's own frames are ever read as frames.
class SysMemFrameAllocator : public BaseFrameAllocator {
 public:
  static constexpr uint32_t kHeaderBytes = 96;
  static constexpr uint32_t kAlignment = 32;
  // Requests beyond these are answered -4: the largest picture (after
  // rounding) and the most frames one request may take.
  static constexpr uint32_t kMaxDimension = 16384;
  static constexpr uint32_t kMaxFrames = 256;

  // With a buffer allocator given, frames come from it and it stays the
  // caller's; without one, Init makes one of its own.
  explicit SysMemFrameAllocator(MFXBufferAllocator* external = nullptr);
  ~SysMemFrameAllocator() override;

  // -8 for any parameters; 0 once a buffer allocator exists; -4 without memory.
  mfx::mfxStatus Init(FrameAllocatorParams* params) override;
  // Lets go of an own buffer allocator (its blocks go with it), then of every response.
  mfx::mfxStatus Close() override;
  // -8 before Init, -2 null data; -6 a block that is not one of these frames
  // (it is unlocked again); -3 a frame of a format it does not serve.
  mfx::mfxStatus LockFrame(mfx::mfxMemId mid, mfx::mfxFrameData* data) override;
  // Clears the data's pitch and Y, U and V; A stays.
  mfx::mfxStatus UnlockFrame(mfx::mfxMemId mid, mfx::mfxFrameData* data) override;
  // System memory has no handles: -3.
  mfx::mfxStatus GetFrameHDL(mfx::mfxMemId mid, mfx::mfxHDL* handle) override;
  // Also needs MFX_MEMTYPE_SYSTEM_MEMORY in the type.
  mfx::mfxStatus CheckRequestType(mfx::mfxFrameAllocRequest* request) override;
  // Frees every buffer the response names (stopping at the first failure)
  // and its id array; -2 null response, -8 without a buffer allocator.
  mfx::mfxStatus ReleaseResponse(mfx::mfxFrameAllocResponse* response) override;
  // NumFrameSuggested frames; -3 for another format, -4 when fewer than
  // NumFrameMin could be made.
  mfx::mfxStatus AllocImpl(mfx::mfxFrameAllocRequest* request, mfx::mfxFrameAllocResponse* response) override;

  // Bytes of pixels of a frame: the rounded size times the format's bits / 8; 0 for other formats.
  static uint64_t frameBytes(const mfx::mfxFrameInfo& info);

 private:
  MFXBufferAllocator* bufferAllocator;
  std::unique_ptr<SysMemBufferAllocator> ownedBufferAllocator;
  // The ids of the frames made here: the only blocks read as frames.
  std::unordered_set<mfx::mfxMemId> frames;
};

}  // namespace cvx
