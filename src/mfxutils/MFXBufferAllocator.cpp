#include "mfxutils/MFXBufferAllocator.h"

#include "logging/Guarded.h"

namespace cvx {

using namespace mfx;

namespace {

// The SDK calls these from C: nothing may escape them.
template <class Slot>
mfxStatus call(const char* label, mfxHDL pthis, Slot&& slot) {
  if (pthis == nullptr) return MFX_ERR_MEMORY_ALLOC;
  return guarded(label, [&] { return slot(*static_cast<MFXBufferAllocator*>(pthis)); }, MFX_ERR_MEMORY_ALLOC);
}

mfxStatus allocEntry(mfxHDL pthis, mfxU32 size, mfxU16 type, mfxMemId* mid) {
  return call("MFXBufferAllocator::Alloc: ", pthis, [&](MFXBufferAllocator& a) { return a.AllocBuffer(size, type, mid); });
}
mfxStatus lockEntry(mfxHDL pthis, mfxMemId mid, mfxU8** pointer) {
  return call("MFXBufferAllocator::Lock: ", pthis, [&](MFXBufferAllocator& a) { return a.LockBuffer(mid, pointer); });
}
mfxStatus unlockEntry(mfxHDL pthis, mfxMemId mid) {
  return call("MFXBufferAllocator::Unlock: ", pthis, [&](MFXBufferAllocator& a) { return a.UnlockBuffer(mid); });
}
mfxStatus freeEntry(mfxHDL pthis, mfxMemId mid) {
  return call("MFXBufferAllocator::Free: ", pthis, [&](MFXBufferAllocator& a) { return a.FreeBuffer(mid); });
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
