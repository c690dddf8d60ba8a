#include "mfxutils/MFXFrameAllocator.h"

#include "logging/Guarded.h"

namespace cvx {

using namespace mfx;

namespace {

// The SDK calls these from C: nothing may escape them.
template <class Slot>
mfxStatus call(const char* label, mfxHDL pthis, Slot&& slot) {
  if (pthis == nullptr) return MFX_ERR_MEMORY_ALLOC;
  return guarded(label, [&] { return slot(*static_cast<MFXFrameAllocator*>(pthis)); }, MFX_ERR_MEMORY_ALLOC);
}

mfxStatus allocEntry(mfxHDL pthis, mfxFrameAllocRequest* request, mfxFrameAllocResponse* response) {
  return call("MFXFrameAllocator::Alloc: ", pthis,
              [&](MFXFrameAllocator& a) { return a.AllocFrames(request, response); });
}
mfxStatus lockEntry(mfxHDL pthis, mfxMemId mid, mfxFrameData* data) {
  return call("MFXFrameAllocator::Lock: ", pthis, [&](MFXFrameAllocator& a) { return a.LockFrame(mid, data); });
}
mfxStatus unlockEntry(mfxHDL pthis, mfxMemId mid, mfxFrameData* data) {
  return call("MFXFrameAllocator::Unlock: ", pthis, [&](MFXFrameAllocator& a) { return a.UnlockFrame(mid, data); });
}
mfxStatus getHdlEntry(mfxHDL pthis, mfxMemId mid, mfxHDL* handle) {
  return call("MFXFrameAllocator::GetHDL: ", pthis, [&](MFXFrameAllocator& a) { return a.GetFrameHDL(mid, handle); });
}
mfxStatus freeEntry(mfxHDL pthis, mfxFrameAllocResponse* response) {
  return call("MFXFrameAllocator::Free: ", pthis, [&](MFXFrameAllocator& a) { return a.FreeFrames(response); });
}

}  // namespace

MFXFrameAllocator::MFXFrameAllocator() : mfxFrameAllocator{} {
  pthis = this;
  Alloc = &allocEntry;
  Lock = &lockEntry;
  Unlock = &unlockEntry;
  GetHDL = &getHdlEntry;
  Free = &freeEntry;
}

}  // namespace cvx
