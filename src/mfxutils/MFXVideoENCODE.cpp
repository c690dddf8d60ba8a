#include "mfxutils/MFXVideoENCODE.h"

namespace cvx {

using namespace mfx;

mfxStatus MFXVideoENCODE::QueryIOSurf(mfxVideoParam* par, mfxFrameAllocRequest* request) {
  return MFXVideoENCODE_QueryIOSurf(session, par, request);
}

mfxStatus MFXVideoENCODE::Init(mfxVideoParam* par) { return MFXVideoENCODE_Init(session, par); }

mfxStatus MFXVideoENCODE::GetVideoParam(mfxVideoParam* par) { return MFXVideoENCODE_GetVideoParam(session, par); }

mfxStatus MFXVideoENCODE::EncodeFrameAsync(mfxEncodeCtrl* ctrl, mfxFrameSurface1* surface, mfxBitstream* bs,
                                           mfxSyncPoint* syncp) {
  return MFXVideoENCODE_EncodeFrameAsync(session, ctrl, surface, bs, syncp);
}

mfxStatus MFXVideoENCODE::Close() { return MFXVideoENCODE_Close(session); }

}  // namespace cvx
