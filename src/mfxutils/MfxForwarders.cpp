// The published Media SDK functions as this system calls them: MFXInit and
// MFXClose are the loader's; every other one forwards to the entry of the
// runtime bound for the session, with the runtime's own session in place of
// the loader's.
#include "mfxutils/MfxLoader.h"

namespace cvx {
namespace mfx {

namespace {

// -6 for a null session, -1 where the runtime lacks the entry.
template <MfxEntry Entry, class... Args>
mfxStatus forward(mfxSession session, Args... args) {
  if (session == nullptr) return MFX_ERR_INVALID_HANDLE;
  void* function = MfxLoader::instance().entry(*session, Entry);
  if (function == nullptr) return MFX_ERR_UNKNOWN;
  return reinterpret_cast<mfxStatus (*)(mfxSession, Args...)>(function)(session->realSession, args...);
}

}  // namespace

mfxStatus MFXInit(mfxIMPL impl, mfxVersion* ver, mfxSession* session) {
  return MfxLoader::instance().init(impl, ver, session);
}
mfxStatus MFXClose(mfxSession session) { return MfxLoader::instance().close(session); }
mfxStatus MFXQueryIMPL(mfxSession session, mfxIMPL* impl) { return forward<MfxEntry::QueryIMPL>(session, impl); }
mfxStatus MFXQueryVersion(mfxSession session, mfxVersion* version) {
  return forward<MfxEntry::QueryVersion>(session, version);
}
mfxStatus MFXJoinSession(mfxSession session, mfxSession child) {
  // The runtime joins its own sessions.
  if (child == nullptr) return MFX_ERR_INVALID_HANDLE;
  return forward<MfxEntry::JoinSession>(session, child->realSession);
}
mfxStatus MFXDisjoinSession(mfxSession session) { return forward<MfxEntry::DisjoinSession>(session); }
mfxStatus MFXCloneSession(mfxSession session, mfxSession* clone) {
  return MfxLoader::instance().clone(session, clone);
}
mfxStatus MFXSetPriority(mfxSession session, mfxPriority priority) {
  return forward<MfxEntry::SetPriority>(session, priority);
}
mfxStatus MFXGetPriority(mfxSession session, mfxPriority* priority) {
  return forward<MfxEntry::GetPriority>(session, priority);
}
mfxStatus MFXVideoCORE_SetBufferAllocator(mfxSession session, mfxBufferAllocator* allocator) {
  return forward<MfxEntry::SetBufferAllocator>(session, allocator);
}
mfxStatus MFXVideoCORE_SetFrameAllocator(mfxSession session, mfxFrameAllocator* allocator) {
  return forward<MfxEntry::SetFrameAllocator>(session, allocator);
}
mfxStatus MFXVideoCORE_SetHandle(mfxSession session, mfxHandleType type, mfxHDL hdl) {
  return forward<MfxEntry::SetHandle>(session, type, hdl);
}
mfxStatus MFXVideoCORE_GetHandle(mfxSession session, mfxHandleType type, mfxHDL* hdl) {
  return forward<MfxEntry::GetHandle>(session, type, hdl);
}
mfxStatus MFXVideoCORE_SyncOperation(mfxSession session, mfxSyncPoint syncp, mfxU32 wait) {
  return forward<MfxEntry::SyncOperation>(session, syncp, wait);
}
mfxStatus MFXVideoENCODE_Query(mfxSession session, mfxVideoParam* in, mfxVideoParam* out) {
  return forward<MfxEntry::EncodeQuery>(session, in, out);
}
mfxStatus MFXVideoENCODE_QueryIOSurf(mfxSession session, mfxVideoParam* par, mfxFrameAllocRequest* request) {
  return forward<MfxEntry::EncodeQueryIOSurf>(session, par, request);
}
mfxStatus MFXVideoENCODE_Init(mfxSession session, mfxVideoParam* par) {
  return forward<MfxEntry::EncodeInit>(session, par);
}
mfxStatus MFXVideoENCODE_Reset(mfxSession session, mfxVideoParam* par) {
  return forward<MfxEntry::EncodeReset>(session, par);
}
mfxStatus MFXVideoENCODE_Close(mfxSession session) { return forward<MfxEntry::EncodeClose>(session); }
mfxStatus MFXVideoENCODE_GetVideoParam(mfxSession session, mfxVideoParam* par) {
  return forward<MfxEntry::EncodeGetVideoParam>(session, par);
}
mfxStatus MFXVideoENCODE_GetEncodeStat(mfxSession session, mfxEncodeStat* stat) {
  return forward<MfxEntry::EncodeGetEncodeStat>(session, stat);
}
mfxStatus MFXVideoENCODE_EncodeFrameAsync(mfxSession session, mfxEncodeCtrl* ctrl, mfxFrameSurface1* surface,
                                          mfxBitstream* bs, mfxSyncPoint* syncp) {
  return forward<MfxEntry::EncodeFrameAsync>(session, ctrl, surface, bs, syncp);
}
mfxStatus MFXVideoDECODE_Query(mfxSession session, mfxVideoParam* in, mfxVideoParam* out) {
  return forward<MfxEntry::DecodeQuery>(session, in, out);
}
mfxStatus MFXVideoDECODE_DecodeHeader(mfxSession session, mfxBitstream* bs, mfxVideoParam* par) {
  return forward<MfxEntry::DecodeHeader>(session, bs, par);
}
mfxStatus MFXVideoDECODE_QueryIOSurf(mfxSession session, mfxVideoParam* par, mfxFrameAllocRequest* request) {
  return forward<MfxEntry::DecodeQueryIOSurf>(session, par, request);
}
mfxStatus MFXVideoDECODE_Init(mfxSession session, mfxVideoParam* par) {
  return forward<MfxEntry::DecodeInit>(session, par);
}
mfxStatus MFXVideoDECODE_Reset(mfxSession session, mfxVideoParam* par) {
  return forward<MfxEntry::DecodeReset>(session, par);
}
mfxStatus MFXVideoDECODE_Close(mfxSession session) { return forward<MfxEntry::DecodeClose>(session); }
mfxStatus MFXVideoDECODE_GetVideoParam(mfxSession session, mfxVideoParam* par) {
  return forward<MfxEntry::DecodeGetVideoParam>(session, par);
}
mfxStatus MFXVideoDECODE_GetDecodeStat(mfxSession session, mfxDecodeStat* stat) {
  return forward<MfxEntry::DecodeGetDecodeStat>(session, stat);
}
mfxStatus MFXVideoDECODE_SetSkipMode(mfxSession session, mfxSkipMode mode) {
  return forward<MfxEntry::DecodeSetSkipMode>(session, mode);
}
mfxStatus MFXVideoDECODE_GetPayload(mfxSession session, mfxU64* ts, mfxPayload* payload) {
  return forward<MfxEntry::DecodeGetPayload>(session, ts, payload);
}
mfxStatus MFXVideoDECODE_DecodeFrameAsync(mfxSession session, mfxBitstream* bs, mfxFrameSurface1* surface_work,
                                          mfxFrameSurface1** surface_out, mfxSyncPoint* syncp) {
  return forward<MfxEntry::DecodeFrameAsync>(session, bs, surface_work, surface_out, syncp);
}
mfxStatus MFXVideoVPP_Query(mfxSession session, mfxVideoParam* in, mfxVideoParam* out) {
  return forward<MfxEntry::VppQuery>(session, in, out);
}
mfxStatus MFXVideoVPP_QueryIOSurf(mfxSession session, mfxVideoParam* par, mfxFrameAllocRequest request[2]) {
  return forward<MfxEntry::VppQueryIOSurf>(session, par, request);
}
mfxStatus MFXVideoVPP_Init(mfxSession session, mfxVideoParam* par) { return forward<MfxEntry::VppInit>(session, par); }
mfxStatus MFXVideoVPP_Reset(mfxSession session, mfxVideoParam* par) {
  return forward<MfxEntry::VppReset>(session, par);
}
mfxStatus MFXVideoVPP_Close(mfxSession session) { return forward<MfxEntry::VppClose>(session); }
mfxStatus MFXVideoVPP_GetVideoParam(mfxSession session, mfxVideoParam* par) {
  return forward<MfxEntry::VppGetVideoParam>(session, par);
}
mfxStatus MFXVideoVPP_GetVPPStat(mfxSession session, mfxVPPStat* stat) {
  return forward<MfxEntry::VppGetVPPStat>(session, stat);
}
mfxStatus MFXVideoVPP_RunFrameVPPAsync(mfxSession session, mfxFrameSurface1* in, mfxFrameSurface1* out,
                                       mfxExtVppAuxData* aux, mfxSyncPoint* syncp) {
  return forward<MfxEntry::VppRunFrameVPPAsync>(session, in, out, aux, syncp);
}
mfxStatus MFXVideoUSER_Register(mfxSession session, mfxU32 type, const mfxPlugin* par) {
  return forward<MfxEntry::UserRegister>(session, type, par);
}
mfxStatus MFXVideoUSER_Unregister(mfxSession session, mfxU32 type) {
  return forward<MfxEntry::UserUnregister>(session, type);
}
mfxStatus MFXVideoUSER_ProcessFrameAsync(mfxSession session, const mfxHDL* in, mfxU32 in_num, const mfxHDL* out,
                                         mfxU32 out_num, mfxSyncPoint* syncp) {
  return forward<MfxEntry::UserProcessFrameAsync>(session, in, in_num, out, out_num, syncp);
}

}  // namespace mfx
}  // namespace cvx
