#include "mfxutils/SysMemFrameAllocator.h"

#include <cstring>
#include <new>

namespace cvx {

using namespace mfx;

namespace {

constexpr char kTag[4] = {'F', 'R', 'M', 'E'};

uint32_t roundUp(uint32_t value) {
  return (value + SysMemFrameAllocator::kAlignment - 1) & ~(SysMemFrameAllocator::kAlignment - 1);
}

uint32_t bitsPerPixel(mfxU32 fourcc) {
  switch (fourcc) {
    case MFX_FOURCC_NV12:
    case MFX_FOURCC_YV12: return 12;
    case MFX_FOURCC_YUY2: return 16;
    case MFX_FOURCC_RGB3: return 24;
    case MFX_FOURCC_RGB4: return 32;
    default: return 0;
  }
}

void setPitch(mfxFrameData& data, uint32_t pitch) {
  data.PitchLow = static_cast<mfxU16>(pitch & 0xFFFF);
  data.PitchHigh = static_cast<mfxU16>(pitch >> 16);
}

}  // namespace

SysMemFrameAllocator::SysMemFrameAllocator(MFXBufferAllocator* external) : bufferAllocator(external) {}

SysMemFrameAllocator::~SysMemFrameAllocator() { SysMemFrameAllocator::Close(); }

uint64_t SysMemFrameAllocator::frameBytes(const mfxFrameInfo& info) {
  return uint64_t{roundUp(info.Width)} * roundUp(info.Height) * bitsPerPixel(info.FourCC) / 8;
}

mfxStatus SysMemFrameAllocator::Init(FrameAllocatorParams* params) {
  if (params != nullptr) return MFX_ERR_NOT_INITIALIZED;
  if (bufferAllocator != nullptr) return MFX_ERR_NONE;
  ownedBufferAllocator.reset(new (std::nothrow) SysMemBufferAllocator());
  if (ownedBufferAllocator == nullptr) return MFX_ERR_MEMORY_ALLOC;
  bufferAllocator = ownedBufferAllocator.get();
  return MFX_ERR_NONE;
}

mfxStatus SysMemFrameAllocator::Close() {
  if (ownedBufferAllocator != nullptr) {
    bufferAllocator = nullptr;
    ownedBufferAllocator.reset();
  }
  return BaseFrameAllocator::Close();
}

mfxStatus SysMemFrameAllocator::CheckRequestType(mfxFrameAllocRequest* request) {
  const mfxStatus status = BaseFrameAllocator::CheckRequestType(request);
  if (status != MFX_ERR_NONE) return status;
  return (request->Type & MFX_MEMTYPE_SYSTEM_MEMORY) != 0 ? MFX_ERR_NONE : MFX_ERR_UNSUPPORTED;
}

mfxStatus SysMemFrameAllocator::AllocImpl(mfxFrameAllocRequest* request, mfxFrameAllocResponse* response) {
  if (bufferAllocator == nullptr) return MFX_ERR_NOT_INITIALIZED;
  const uint32_t width = roundUp(request->Info.Width);
  const uint32_t height = roundUp(request->Info.Height);
  if (bitsPerPixel(request->Info.FourCC) == 0) return MFX_ERR_UNSUPPORTED;
  if (width > kMaxDimension || height > kMaxDimension || request->NumFrameSuggested > kMaxFrames) {
    return MFX_ERR_MEMORY_ALLOC;
  }
  const uint64_t bytes = frameBytes(request->Info);
  const mfxU16 count = request->NumFrameSuggested;
  std::unique_ptr<mfxMemId[]> mids(new (std::nothrow) mfxMemId[count]());
  if (mids == nullptr) return MFX_ERR_MEMORY_ALLOC;
  mfxU16 made = 0;
  for (; made < count; ++made) {
    mfxMemId mid = nullptr;
    if (bufferAllocator->AllocBuffer(static_cast<mfxU32>(bytes + kHeaderBytes), request->Type, &mid) != MFX_ERR_NONE) {
      break;
    }
    mfxU8* block = nullptr;
    if (bufferAllocator->LockBuffer(mid, &block) != MFX_ERR_NONE) {
      bufferAllocator->FreeBuffer(mid);
      break;
    }
    std::memcpy(block, kTag, sizeof(kTag));
    std::memcpy(block + sizeof(kTag), &request->Info, sizeof(mfxFrameInfo));
    bufferAllocator->UnlockBuffer(mid);
    frames.insert(mid);
    mids[made] = mid;
  }
  if (made < request->NumFrameMin) {
    mfxFrameAllocResponse partial{};
    partial.mids = mids.release();
    partial.NumFrameActual = made;
    ReleaseResponse(&partial);
    return MFX_ERR_MEMORY_ALLOC;
  }
  response->mids = mids.release();
  response->NumFrameActual = made;
  return MFX_ERR_NONE;
}

mfxStatus SysMemFrameAllocator::ReleaseResponse(mfxFrameAllocResponse* response) {
  if (response == nullptr) return MFX_ERR_NULL_PTR;
  // The id array is ours whatever happens to the buffers: it goes in any case.
  std::unique_ptr<mfxMemId[]> mids(response->mids);
  response->mids = nullptr;
  if (bufferAllocator == nullptr) return MFX_ERR_NOT_INITIALIZED;
  if (mids == nullptr) return MFX_ERR_NONE;
  for (mfxU16 i = 0; i < response->NumFrameActual; ++i) {
    if (mids[i] == nullptr) continue;
    frames.erase(mids[i]);
    const mfxStatus status = bufferAllocator->FreeBuffer(mids[i]);
    if (status != MFX_ERR_NONE) return status;
  }
  return MFX_ERR_NONE;
}

mfxStatus SysMemFrameAllocator::LockFrame(mfxMemId mid, mfxFrameData* data) {
  if (bufferAllocator == nullptr) return MFX_ERR_NOT_INITIALIZED;
  if (data == nullptr) return MFX_ERR_NULL_PTR;
  mfxU8* block = nullptr;
  const mfxStatus locked = bufferAllocator->LockBuffer(mid, &block);
  if (locked != MFX_ERR_NONE) return locked;
  if (frames.count(mid) == 0 || std::memcmp(block, kTag, sizeof(kTag)) != 0) {
    bufferAllocator->UnlockBuffer(mid);
    return MFX_ERR_INVALID_HANDLE;
  }
  mfxFrameInfo info;
  std::memcpy(&info, block + sizeof(kTag), sizeof(info));
  const uint32_t w = roundUp(info.Width);
  const uint32_t h = roundUp(info.Height);
  mfxU8* y = block + kHeaderBytes;
  switch (info.FourCC) {
    case MFX_FOURCC_NV12:
      data->Y = y;
      data->U = y + std::size_t{w} * h;
      data->V = data->U + 1;
      setPitch(*data, w);
      break;
    case MFX_FOURCC_YV12:
      data->Y = y;
      data->V = y + std::size_t{w} * h;
      data->U = data->V + std::size_t{w / 2} * (h / 2);
      setPitch(*data, w);
      break;
    case MFX_FOURCC_YUY2:
      data->Y = y;
      data->U = y + 1;
      data->V = y + 3;
      setPitch(*data, 2 * w);
      break;
    case MFX_FOURCC_RGB3:
    case MFX_FOURCC_RGB4:
      data->Y = y;
      data->U = y + 1;
      data->V = y + 2;
      if (info.FourCC == MFX_FOURCC_RGB4) data->A = y + 3;
      setPitch(*data, bitsPerPixel(info.FourCC) / 8 * w);
      break;
    default:
      bufferAllocator->UnlockBuffer(mid);
      return MFX_ERR_UNSUPPORTED;
  }
  return MFX_ERR_NONE;
}

mfxStatus SysMemFrameAllocator::UnlockFrame(mfxMemId mid, mfxFrameData* data) {
  if (bufferAllocator == nullptr) return MFX_ERR_NOT_INITIALIZED;
  const mfxStatus status = bufferAllocator->UnlockBuffer(mid);
  if (status != MFX_ERR_NONE) return status;
  if (data != nullptr) {
    setPitch(*data, 0);
    data->Y = nullptr;
    data->U = nullptr;
    data->V = nullptr;
  }
  return MFX_ERR_NONE;
}

mfxStatus SysMemFrameAllocator::GetFrameHDL(mfxMemId, mfxHDL*) { return MFX_ERR_UNSUPPORTED; }

}  // namespace cvx
