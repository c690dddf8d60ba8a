#include "mfxutils/MFXFrameAllocator.h"

#include "mfxutils/AllocatorEntry.h"

namespace cvx {

using namespace mfx;

namespace {

mfxStatus allocEntry(mfxHDL pthis, mfxFrameAllocRequest* request, mfxFrameAllocResponse* response) {
  return callAllocator<MFXFrameAllocator>("MFXFrameAllocator::Alloc: ", pthis,
                                          [&](MFXFrameAllocator& a) { return a.AllocFrames(request, response); });
}
mfxStatus lockEntry(mfxHDL pthis, mfxMemId mid, mfxFrameData* data) {
  return callAllocator<MFXFrameAllocator>("MFXFrameAllocator::Lock: ", pthis,
                                          [&](MFXFrameAllocator& a) { return a.LockFrame(mid, data); });
}
mfxStatus unlockEntry(mfxHDL pthis, mfxMemId mid, mfxFrameData* data) {
  return callAllocator<MFXFrameAllocator>("MFXFrameAllocator::Unlock: ", pthis,
                                          [&](MFXFrameAllocator& a) { return a.UnlockFrame(mid, data); });
}
mfxStatus getHdlEntry(mfxHDL pthis, mfxMemId mid, mfxHDL* handle) {
  return callAllocator<MFXFrameAllocator>("MFXFrameAllocator::GetHDL: ", pthis,
                                          [&](MFXFrameAllocator& a) { return a.GetFrameHDL(mid, handle); });
}
mfxStatus freeEntry(mfxHDL pthis, mfxFrameAllocResponse* response) {
  return callAllocator<MFXFrameAllocator>("MFXFrameAllocator::Free: ", pthis,
                                          [&](MFXFrameAllocator& a) { return a.FreeFrames(response); });
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
