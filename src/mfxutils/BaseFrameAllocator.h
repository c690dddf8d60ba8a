#pragma once

#include <cstddef>
#include <list>

#include "mfxutils/MFXFrameAllocator.h"

namespace cvx {

// The bookkeeping every frame allocator shares. Internal frames get one
// response each. External frames are shared by kind: up to four kinds
// (decoder, encoder, processing in and out targets, by the 0xf00 bits of the
// request's type), each allocated once and counted by the requests that share
// it.
class BaseFrameAllocator : public MFXFrameAllocator {
 public:
  static constexpr std::size_t kExternalSlots = 4;

  BaseFrameAllocator() = default;
  ~BaseFrameAllocator() override = default;

  mfx::mfxStatus Close() override;
  // -4 for a null request or response or none suggested, -3 for a type the
  // allocator does not serve. An external kind already held is shared (-4
  // when it has fewer frames than the request's minimum); a fifth kind is a
  // logic error and -4.
  mfx::mfxStatus AllocFrames(mfx::mfxFrameAllocRequest* request, mfx::mfxFrameAllocResponse* response) override;
  // Frees what `response` names: a shared external kind when its last user
  // lets go, an internal response at once; -6 for a response it does not hold.
  mfx::mfxStatus FreeFrames(mfx::mfxFrameAllocResponse* response) override;

  // Whether two responses name the same frames. The caller's id array is never
  // read, only compared by address: a response freed already leaves a dangling
  // array behind, and the same array means the same first id.
  virtual bool IsSame(const mfx::mfxFrameAllocResponse& left, const mfx::mfxFrameAllocResponse& right);
  // -2 null request; -3 a type without one of the 0xf00 bits.
  virtual mfx::mfxStatus CheckRequestType(mfx::mfxFrameAllocRequest* request);
  virtual mfx::mfxStatus ReleaseResponse(mfx::mfxFrameAllocResponse* response) = 0;
  virtual mfx::mfxStatus AllocImpl(mfx::mfxFrameAllocRequest* request, mfx::mfxFrameAllocResponse* response) = 0;

  std::size_t internalResponseCount() const { return responses.size(); }
  mfx::mfxU32 externalReferenceCount(std::size_t slot) const { return externalResponses[slot].refCount; }

 protected:
  struct ExternalResponse {
    mfx::mfxU32 refCount = 0;
    mfx::mfxFrameAllocResponse response{};
    mfx::mfxU16 type = 0;
  };

  std::list<mfx::mfxFrameAllocResponse> responses;
  ExternalResponse externalResponses[kExternalSlots];
};

}  // namespace cvx
