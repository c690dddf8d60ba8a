#include "mfxutils/MFXVideoDECODE.h"

namespace cvx {

using namespace mfx;

mfxStatus MFXVideoDECODE::DecodeHeader(mfxBitstream* bs, mfxVideoParam* par) {
  return MFXVideoDECODE_DecodeHeader(session, bs, par);
}

mfxStatus MFXVideoDECODE::QueryIOSurf(mfxVideoParam* par, mfxFrameAllocRequest* request) {
  return MFXVideoDECODE_QueryIOSurf(session, par, request);
}

mfxStatus MFXVideoDECODE::Init(mfxVideoParam* par) { return MFXVideoDECODE_Init(session, par); }

mfxStatus MFXVideoDECODE::DecodeFrameAsync(mfxBitstream* bs, mfxFrameSurface1* work, mfxFrameSurface1** out,
                                           mfxSyncPoint* syncp) {
  return MFXVideoDECODE_DecodeFrameAsync(session, bs, work, out, syncp);
}

mfxStatus MFXVideoDECODE::Close() { return MFXVideoDECODE_Close(session); }

}  // namespace cvx
