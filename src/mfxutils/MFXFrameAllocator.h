#pragma once

#include "platform/mfxruntime/MfxApi.h"

namespace cvx {

// Parameters a frame allocator may be initialised with; the system memory
// allocator takes none.
struct FrameAllocatorParams {
  virtual ~FrameAllocatorParams() = default;
};

// A frame allocator that the SDK can call through its published record:
// `pthis` is the object, and the record's Alloc, Lock, Unlock, GetHDL and
// Free call slots 3, 4, 5, 6 and 7. Entries called with a null `pthis`
// answer -4. The SDK calls from the decoder's thread only.
class MFXFrameAllocator : public mfx::mfxFrameAllocator {
 public:
  MFXFrameAllocator();
  virtual ~MFXFrameAllocator() = default;
  MFXFrameAllocator(const MFXFrameAllocator&) = delete;
  MFXFrameAllocator& operator=(const MFXFrameAllocator&) = delete;

  virtual mfx::mfxStatus Init(FrameAllocatorParams* params) = 0;
  virtual mfx::mfxStatus Close() = 0;
  virtual mfx::mfxStatus AllocFrames(mfx::mfxFrameAllocRequest* request, mfx::mfxFrameAllocResponse* response) = 0;
  virtual mfx::mfxStatus LockFrame(mfx::mfxMemId mid, mfx::mfxFrameData* data) = 0;
  virtual mfx::mfxStatus UnlockFrame(mfx::mfxMemId mid, mfx::mfxFrameData* data) = 0;
  virtual mfx::mfxStatus GetFrameHDL(mfx::mfxMemId mid, mfx::mfxHDL* handle) = 0;
  virtual mfx::mfxStatus FreeFrames(mfx::mfxFrameAllocResponse* response) = 0;

  // The record as the SDK takes it.
  mfx::mfxFrameAllocator* record() { return this; }
};

}  // namespace cvx
