#include "mfxutils/MFXBufferAllocator.h"

#include "mfxutils/AllocatorEntry.h"

namespace cvx {

using namespace mfx;

namespace {

mfxStatus allocEntry(mfxHDL pthis, mfxU32 size, mfxU16 type, mfxMemId* mid) {
  return callAllocator<MFXBufferAllocator>("MFXBufferAllocator::Alloc: ", pthis,
                                           [&](MFXBufferAllocator& a) { return a.AllocBuffer(size, type, mid); });
}
mfxStatus lockEntry(mfxHDL pthis, mfxMemId mid, mfxU8** pointer) {
  return callAllocator<MFXBufferAllocator>("MFXBufferAllocator::Lock: ", pthis,
                                           [&](MFXBufferAllocator& a) { return a.LockBuffer(mid, pointer); });
}
mfxStatus unlockEntry(mfxHDL pthis, mfxMemId mid) {
  return callAllocator<MFXBufferAllocator>("MFXBufferAllocator::Unlock: ", pthis,
                                           [&](MFXBufferAllocator& a) { return a.UnlockBuffer(mid); });
}
mfxStatus freeEntry(mfxHDL pthis, mfxMemId mid) {
  return callAllocator<MFXBufferAllocator>("MFXBufferAllocator::Free: ", pthis,
                                           [&](MFXBufferAllocator& a) { return a.FreeBuffer(mid); });
}

}  // namespace

MFXBufferAllocator::MFXBufferAllocator() : mfxBufferAllocator{} {
  pthis = this;
  Alloc = &allocEntry;
  Lock = &lockEntry;
  Unlock = &unlockEntry;
  Free = &freeEntry;
}

}  // namespace cvx
