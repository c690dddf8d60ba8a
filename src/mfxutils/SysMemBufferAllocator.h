#pragma once

#include <cstdlib>
#include <memory>
#include <unordered_map>

#include "mfxutils/MFXBufferAllocator.h"

namespace cvx {

// Buffers in system memory. Each is one zeroed block: the tag "BUFF", the
// size (u32 at byte 4), the type (u16 at byte 8), and the data from byte 32;
// the block's address is its memory id. Ids are checked against the blocks
// this allocator holds, so an unknown or freed id is refused (-6) without
// being read. Blocks still held go with the allocator.
class SysMemBufferAllocator : public MFXBufferAllocator {
 public:
  static constexpr mfx::mfxU32 kHeaderBytes = 32;
  // The largest buffer: a 16384 x 16384 frame of 32 bits and its header.
  static constexpr mfx::mfxU32 kMaxBufferBytes = 0x40000000u + 96u;

  // -2 null `mid`; -3 a type without MFX_MEMTYPE_SYSTEM_MEMORY; -4 no memory,
  // or more than kMaxBufferBytes.
  mfx::mfxStatus AllocBuffer(mfx::mfxU32 size, mfx::mfxU16 type, mfx::mfxMemId* mid) override;
  // -2 null `pointer`; -6 an id that is not a held buffer; else the data.
  mfx::mfxStatus LockBuffer(mfx::mfxMemId mid, mfx::mfxU8** pointer) override;
  mfx::mfxStatus UnlockBuffer(mfx::mfxMemId mid) override;
  mfx::mfxStatus FreeBuffer(mfx::mfxMemId mid) override;

  std::size_t heldBlocks() const { return blocks.size(); }

 private:
  struct BlockFree {
    void operator()(mfx::mfxU8* block) const { std::free(block); }
  };
  bool holds(mfx::mfxMemId mid) const;

  std::unordered_map<mfx::mfxMemId, std::unique_ptr<mfx::mfxU8, BlockFree>> blocks;
};

}  // namespace cvx
