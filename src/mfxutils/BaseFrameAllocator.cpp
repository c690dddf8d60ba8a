#include "mfxutils/BaseFrameAllocator.h"

#include "logging/StdoutLine.h"

namespace cvx {

using namespace mfx;

namespace {
constexpr mfxU16 kKindBits = 0x0f00;
}

mfxStatus BaseFrameAllocator::CheckRequestType(mfxFrameAllocRequest* request) {
  if (request == nullptr) return MFX_ERR_NULL_PTR;
  return (request->Type & kKindBits) != 0 ? MFX_ERR_NONE : MFX_ERR_UNSUPPORTED;
}

bool BaseFrameAllocator::IsSame(const mfxFrameAllocResponse& left, const mfxFrameAllocResponse& right) {
  return left.mids != nullptr && right.mids != nullptr && left.mids == right.mids &&
         left.NumFrameActual == right.NumFrameActual;
}

mfxStatus BaseFrameAllocator::AllocFrames(mfxFrameAllocRequest* request, mfxFrameAllocResponse* response) {
  if (request == nullptr || response == nullptr || request->NumFrameSuggested == 0) return MFX_ERR_MEMORY_ALLOC;
  if (CheckRequestType(request) != MFX_ERR_NONE) return MFX_ERR_UNSUPPORTED;

  if ((request->Type & MFX_MEMTYPE_EXTERNAL_FRAME) != 0) {
    for (ExternalResponse& slot : externalResponses) {
      if (slot.refCount > 0 && (slot.type & request->Type) != 0) {
        if (request->NumFrameMin > slot.response.NumFrameActual) return MFX_ERR_MEMORY_ALLOC;
        ++slot.refCount;
        *response = slot.response;
        return MFX_ERR_NONE;
      }
    }
    for (ExternalResponse& slot : externalResponses) {
      if (slot.refCount != 0) continue;
      const mfxStatus status = AllocImpl(request, response);
      if (status == MFX_ERR_NONE) {
        slot.response = *response;
        slot.refCount = 1;
        slot.type = static_cast<mfxU16>(request->Type & kKindBits);
      }
      return status;
    }
    writeStdoutLine("BaseFrameAllocator::AllocFrames: ", "logic error: no free response for externals");
    return MFX_ERR_MEMORY_ALLOC;
  }

  responses.emplace_back();
  const mfxStatus status = AllocImpl(request, response);
  if (status == MFX_ERR_NONE) {
    responses.back() = *response;
  } else {
    responses.pop_back();
  }
  return status;
}

mfxStatus BaseFrameAllocator::FreeFrames(mfxFrameAllocResponse* response) {
  if (response == nullptr) return MFX_ERR_INVALID_HANDLE;
  for (ExternalResponse& slot : externalResponses) {
    if (slot.refCount == 0 || !IsSame(slot.response, *response)) continue;
    if (--slot.refCount == 0) {
      const mfxStatus status = ReleaseResponse(&slot.response);
      slot = ExternalResponse{};
      return status;
    }
    return MFX_ERR_NONE;
  }
  for (auto it = responses.begin(); it != responses.end(); ++it) {
    if (!IsSame(*it, *response)) continue;
    const mfxStatus status = ReleaseResponse(&*it);
    responses.erase(it);
    return status;
  }
  return MFX_ERR_INVALID_HANDLE;
}

mfxStatus BaseFrameAllocator::Close() {
  for (ExternalResponse& slot : externalResponses) {
    ReleaseResponse(&slot.response);
    slot = ExternalResponse{};
  }
  for (mfxFrameAllocResponse& response : responses) ReleaseResponse(&response);
  responses.clear();
  return MFX_ERR_NONE;
}

}  // namespace cvx
