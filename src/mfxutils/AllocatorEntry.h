#pragma once

#include "logging/Guarded.h"
#include "platform/mfxruntime/MfxApi.h"

namespace cvx {

// The body of an allocator record's entry: the SDK calls it from C with the
// record's `pthis`, so nothing may escape it. A record without its object is
// no memory.
template <class Allocator, class Slot>
mfx::mfxStatus callAllocator(const char* label, mfx::mfxHDL pthis, Slot&& slot) {
  if (pthis == nullptr) return mfx::MFX_ERR_MEMORY_ALLOC;
  return guarded(label, [&] { return slot(*static_cast<Allocator*>(pthis)); }, mfx::MFX_ERR_MEMORY_ALLOC);
}

}  // namespace cvx
