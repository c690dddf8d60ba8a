#pragma once

#include "platform/mfxruntime/MfxApi.h"

namespace cvx {

// The decode calls of one Media SDK session. Holds the session, which stays
// its owner's; Close is its owner's to call before deleting it.
class MFXVideoDECODE {
 public:
  explicit MFXVideoDECODE(mfx::mfxSession session) : session(session) {}
  virtual ~MFXVideoDECODE() = default;

  mfx::mfxStatus DecodeHeader(mfx::mfxBitstream* bs, mfx::mfxVideoParam* par);
  mfx::mfxStatus QueryIOSurf(mfx::mfxVideoParam* par, mfx::mfxFrameAllocRequest* request);
  mfx::mfxStatus Init(mfx::mfxVideoParam* par);
  mfx::mfxStatus DecodeFrameAsync(mfx::mfxBitstream* bs, mfx::mfxFrameSurface1* work, mfx::mfxFrameSurface1** out,
                                  mfx::mfxSyncPoint* syncp);
  mfx::mfxStatus Close();

 private:
  mfx::mfxSession session;
};

}  // namespace cvx
