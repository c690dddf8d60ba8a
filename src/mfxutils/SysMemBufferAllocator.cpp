#include "mfxutils/SysMemBufferAllocator.h"

#include <cstring>

namespace cvx {

using namespace mfx;

namespace {
constexpr char kTag[4] = {'B', 'U', 'F', 'F'};
}

bool SysMemBufferAllocator::holds(mfxMemId mid) const {
  return mid != nullptr && blocks.count(mid) != 0 && std::memcmp(mid, kTag, sizeof(kTag)) == 0;
}

mfxStatus SysMemBufferAllocator::AllocBuffer(mfxU32 size, mfxU16 type, mfxMemId* mid) {
  if (mid == nullptr) return MFX_ERR_NULL_PTR;
  if ((type & MFX_MEMTYPE_SYSTEM_MEMORY) == 0) return MFX_ERR_UNSUPPORTED;
  if (size > kMaxBufferBytes) return MFX_ERR_MEMORY_ALLOC;
  std::unique_ptr<mfxU8, BlockFree> block(static_cast<mfxU8*>(std::calloc(kHeaderBytes + std::size_t{size}, 1)));
  if (block == nullptr) return MFX_ERR_MEMORY_ALLOC;
  std::memcpy(block.get(), kTag, sizeof(kTag));
  std::memcpy(block.get() + 4, &size, sizeof(size));
  std::memcpy(block.get() + 8, &type, sizeof(type));
  mfxMemId id = block.get();
  blocks.emplace(id, std::move(block));
  *mid = id;
  return MFX_ERR_NONE;
}

mfxStatus SysMemBufferAllocator::LockBuffer(mfxMemId mid, mfxU8** pointer) {
  if (pointer == nullptr) return MFX_ERR_NULL_PTR;
  if (!holds(mid)) return MFX_ERR_INVALID_HANDLE;
  *pointer = static_cast<mfxU8*>(mid) + kHeaderBytes;
  return MFX_ERR_NONE;
}

mfxStatus SysMemBufferAllocator::UnlockBuffer(mfxMemId mid) {
  return holds(mid) ? MFX_ERR_NONE : MFX_ERR_INVALID_HANDLE;
}

mfxStatus SysMemBufferAllocator::FreeBuffer(mfxMemId mid) {
  if (!holds(mid)) return MFX_ERR_INVALID_HANDLE;
  blocks.erase(mid);
  return MFX_ERR_NONE;
}

}  // namespace cvx
