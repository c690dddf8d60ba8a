#pragma once

#include "platform/mfxruntime/MfxApi.h"

namespace cvx {

// The encode calls of one Media SDK session. Holds the session, which stays
// its owner's; Close is its owner's to call before deleting it.
class MFXVideoENCODE {
 public:
  explicit MFXVideoENCODE(mfx::mfxSession session) : session(session) {}
  virtual ~MFXVideoENCODE() = default;

  mfx::mfxStatus QueryIOSurf(mfx::mfxVideoParam* par, mfx::mfxFrameAllocRequest* request);
  mfx::mfxStatus Init(mfx::mfxVideoParam* par);
  mfx::mfxStatus GetVideoParam(mfx::mfxVideoParam* par);
  mfx::mfxStatus EncodeFrameAsync(mfx::mfxEncodeCtrl* ctrl, mfx::mfxFrameSurface1* surface, mfx::mfxBitstream* bs,
                                  mfx::mfxSyncPoint* syncp);
  mfx::mfxStatus Close();

 private:
  mfx::mfxSession session;
};

}  // namespace cvx
