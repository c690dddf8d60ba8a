#pragma once

#include "platform/mfxruntime/MfxApi.h"

namespace cvx {

// A buffer allocator that the SDK can call through its published record:
// `pthis` is the object, and the record's four entries call slots 1 to 4.
// Entries called with a null `pthis` answer -4.
class MFXBufferAllocator : public mfx::mfxBufferAllocator {
 public:
  MFXBufferAllocator();
  virtual ~MFXBufferAllocator() = default;
  MFXBufferAllocator(const MFXBufferAllocator&) = delete;
  MFXBufferAllocator& operator=(const MFXBufferAllocator&) = delete;

  virtual mfx::mfxStatus AllocBuffer(mfx::mfxU32 size, mfx::mfxU16 type, mfx::mfxMemId* mid) = 0;
  virtual mfx::mfxStatus LockBuffer(mfx::mfxMemId mid, mfx::mfxU8** pointer) = 0;
  virtual mfx::mfxStatus UnlockBuffer(mfx::mfxMemId mid) = 0;
  virtual mfx::mfxStatus FreeBuffer(mfx::mfxMemId mid) = 0;
};

}  // namespace cvx
