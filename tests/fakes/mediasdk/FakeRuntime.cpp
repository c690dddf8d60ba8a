// A Media SDK runtime for the tests: the 44 functions the loader binds,
// hardware and software implementations that decode through libavcodec and
// encode through x264, and a control interface (FakeMediaSdkControl.h) that
// scripts answers and records calls. Variants of this library leave one
// export out (FAKE_MFX_OMIT_JOIN, FAKE_MFX_OMIT_QUERY_IMPL) to test the
// loader's version rule.
#include <mfx/mfxplugin.h>
#include <mfx/mfxvideo.h>

#include "FakeDecoder.h"
#include "FakeEncoder.h"
#include "FakeMediaSdkControl.h"
#include "FakeState.h"

#include <mutex>
#include <vector>

namespace fake {

namespace {

const std::map<std::string, long long> kDefaults = {
    {"hardware", 1},   {"software", 1},          {"initStatus", 0},   {"ownDisplay", 1},      {"surfacesMin", 2},
    {"surfacesSuggested", 4}, {"holdSurfaces", 0}, {"bufferSizeKB", 0}, {"keySeiStartCode", 3}, {"omitSei", 0},
    {"delayFrames", 0},
};

// A sync point is any non-null value; the work is done by the time it is handed out.
mfxSyncPoint const kDone = reinterpret_cast<mfxSyncPoint>(0x5CED);
// The display a runtime with a device of its own reports.
mfxHDL const kOwnDisplay = reinterpret_cast<mfxHDL>(0xD15);

template <typename Map>
long long valueOr(const Map& map, const std::string& key, long long fallback) {
  const auto found = map.find(key);
  return found != map.end() ? found->second : fallback;
}

// Surfaces locked by the runtime while "holdSurfaces" is set.
std::vector<mfxFrameSurface1*>& held() {
  static std::vector<mfxFrameSurface1*> surfaces;
  return surfaces;
}

// The call journal: calls that the loader does not serialise (queries on
// open sessions) may come from several threads at once.
void count(const char* name, mfxSession session) {
  static std::mutex journal;
  const std::lock_guard<std::mutex> hold(journal);
  ++state().calls[name];
  state().lastSession = session;
}

}  // namespace

State& state() {
  static State s;
  return s;
}

long long setting(const char* name) { return valueOr(state().settings, name, valueOr(kDefaults, name, 0)); }

void record(const char* name, long long value) {
  state().last[name] = value;
  state().history[name].push_back(value);
}

std::optional<Scripted> takeScripted(const char* function) {
  auto found = state().pushed.find(function);
  if (found == state().pushed.end() || found->second.empty()) return std::nullopt;
  const Scripted out = found->second.front();
  found->second.pop_front();
  return out;
}

}  // namespace fake

using fake::setting;
using fake::state;
using fake::takeScripted;

// A function the tests only count, under its name without the MFXVideo prefix.
#define FAKE_COUNTED(video, name, answer, ...)                   \
  mfxStatus MFX##video##name(mfxSession session, ##__VA_ARGS__) { \
    fake::count(#video[0] ? #name : "MFX" #name, session);        \
    return MFX_ERR_##answer;                                      \
  }

extern "C" {

void fakeMfxReset(void) {
  state() = fake::State{};
  fake::held().clear();
}
void fakeMfxSet(const char* name, long long value) {
  state().settings[name] = value;
  if (std::string(name) == "holdSurfaces" && value == 0) {
    for (mfxFrameSurface1* surface : fake::held()) surface->Data.Locked = 0;
    fake::held().clear();
  }
}
long long fakeMfxGet(const char* name) { return setting(name); }
void fakeMfxPush(const char* function, int status, int withOutput) {
  state().pushed[function].push_back(fake::Scripted{status, withOutput != 0});
}
int fakeMfxCalls(const char* function) { return static_cast<int>(fake::valueOr(state().calls, function, 0)); }
void* fakeMfxLastSession(void) { return state().lastSession; }
int fakeMfxOpenSessions(void) { return state().openSessions; }
long long fakeMfxLast(const char* name) { return fake::valueOr(state().last, name, -1); }
long long fakeMfxNth(const char* name, int index) {
  const std::vector<long long>& values = state().history[name];
  return index >= 0 && static_cast<std::size_t>(index) < values.size() ? values[index] : -1;
}
int fakeMfxCount(const char* name) { return static_cast<int>(state().history[name].size()); }

// ---- Sessions ----

mfxStatus MFXInit(mfxIMPL impl, mfxVersion*, mfxSession* session) {
  fake::count("MFXInit", nullptr);
  fake::record("MFXInit.impl", impl);
  if (session == nullptr) return MFX_ERR_NULL_PTR;
  const auto scripted = takeScripted("MFXInit");
  if (scripted && !scripted->withOutput) return scripted->answer();
  if (setting("initStatus") != 0) return static_cast<mfxStatus>(setting("initStatus"));
  const mfxIMPL base = MFX_IMPL_BASETYPE(impl);
  const bool software = base == MFX_IMPL_SOFTWARE;
  if (software ? setting("software") == 0 : setting("hardware") == 0) return MFX_ERR_UNSUPPORTED;
  auto* record = new _mfxSession();
  record->impl = software ? MFX_IMPL_SOFTWARE : (base | MFX_IMPL_VIA_VAAPI);
  *session = record;
  ++state().openSessions;
  return scripted ? scripted->answer() : MFX_ERR_NONE;
}

mfxStatus MFXClose(mfxSession session) {
  fake::count("MFXClose", session);
  if (const auto scripted = takeScripted("MFXClose")) return scripted->answer();
  if (session == nullptr) return MFX_ERR_INVALID_HANDLE;
  delete session;
  --state().openSessions;
  return MFX_ERR_NONE;
}

#ifndef FAKE_MFX_OMIT_QUERY_IMPL
mfxStatus MFXQueryIMPL(mfxSession session, mfxIMPL* impl) {
  fake::count("MFXQueryIMPL", session);
  if (session == nullptr || impl == nullptr) return MFX_ERR_NULL_PTR;
  *impl = session->impl;
  return MFX_ERR_NONE;
}
#endif

mfxStatus MFXQueryVersion(mfxSession session, mfxVersion* version) {
  fake::count("MFXQueryVersion", session);
  if (version == nullptr) return MFX_ERR_NULL_PTR;
  version->Major = 1;
  version->Minor = 35;
  return MFX_ERR_NONE;
}

#ifndef FAKE_MFX_OMIT_JOIN
FAKE_COUNTED(, JoinSession, NONE, mfxSession)
#endif

mfxStatus MFXCloneSession(mfxSession session, mfxSession* clone) {
  fake::count("MFXCloneSession", session);
  if (session == nullptr || clone == nullptr) return MFX_ERR_NULL_PTR;
  auto* record = new _mfxSession();
  record->impl = session->impl;
  *clone = record;
  ++state().openSessions;
  return MFX_ERR_NONE;
}

FAKE_COUNTED(, DisjoinSession, NONE)
FAKE_COUNTED(, SetPriority, NONE, mfxPriority)
FAKE_COUNTED(, GetPriority, NONE, mfxPriority*)

// ---- Core ----

FAKE_COUNTED(Video, CORE_SetBufferAllocator, NONE, mfxBufferAllocator*)
FAKE_COUNTED(Video, CORE_SetFrameAllocator, NONE, mfxFrameAllocator*)
mfxStatus MFXVideoCORE_SetHandle(mfxSession session, mfxHandleType type, mfxHDL hdl) {
  fake::count("CORE_SetHandle", session);
  fake::record("SetHandle.type", type);
  if (session == nullptr) return MFX_ERR_INVALID_HANDLE;
  session->display = hdl;
  return MFX_ERR_NONE;
}
mfxStatus MFXVideoCORE_GetHandle(mfxSession session, mfxHandleType type, mfxHDL* hdl) {
  fake::count("CORE_GetHandle", session);
  if (session == nullptr || hdl == nullptr) return MFX_ERR_NULL_PTR;
  if (type != MFX_HANDLE_VA_DISPLAY) return MFX_ERR_NOT_FOUND;
  *hdl = session->display != nullptr ? session->display : setting("ownDisplay") != 0 ? fake::kOwnDisplay : nullptr;
  return *hdl != nullptr ? MFX_ERR_NONE : MFX_ERR_NOT_FOUND;
}
mfxStatus MFXVideoCORE_SyncOperation(mfxSession session, mfxSyncPoint syncp, mfxU32) {
  fake::count("CORE_SyncOperation", session);
  if (const auto scripted = takeScripted("SyncOperation")) return scripted->answer();
  return syncp != nullptr ? MFX_ERR_NONE : MFX_ERR_NULL_PTR;
}

// ---- Encode ----

FAKE_COUNTED(Video, ENCODE_Query, NONE, mfxVideoParam*, mfxVideoParam*)
mfxStatus MFXVideoENCODE_QueryIOSurf(mfxSession session, mfxVideoParam* par, mfxFrameAllocRequest* request) {
  fake::count("ENCODE_QueryIOSurf", session);
  if (par == nullptr || request == nullptr) return MFX_ERR_NULL_PTR;
  request->Info = par->mfx.FrameInfo;
  request->NumFrameMin = 1;
  request->NumFrameSuggested = 1;
  request->Type = MFX_MEMTYPE_FROM_ENCODE | MFX_MEMTYPE_EXTERNAL_FRAME | MFX_MEMTYPE_SYSTEM_MEMORY;
  return MFX_ERR_NONE;
}
mfxStatus MFXVideoENCODE_Init(mfxSession session, mfxVideoParam* par) {
  fake::count("ENCODE_Init", session);
  if (session == nullptr || par == nullptr) return MFX_ERR_NULL_PTR;
  const mfxFrameInfo& info = par->mfx.FrameInfo;
  if (par->mfx.CodecId != MFX_CODEC_AVC || info.FourCC != MFX_FOURCC_NV12 || info.CropW == 0 || info.CropH == 0 ||
      info.CropW > info.Width || info.CropH > info.Height) {
    return MFX_ERR_INVALID_VIDEO_PARAM;
  }
  session->encoder = std::make_unique<fake::Encoder>(*par);
  return session->encoder->isOpen() ? MFX_ERR_NONE : MFX_ERR_INVALID_VIDEO_PARAM;
}
FAKE_COUNTED(Video, ENCODE_Reset, UNSUPPORTED, mfxVideoParam*)
mfxStatus MFXVideoENCODE_Close(mfxSession session) {
  fake::count("ENCODE_Close", session);
  if (session == nullptr) return MFX_ERR_INVALID_HANDLE;
  session->encoder.reset();
  return MFX_ERR_NONE;
}
mfxStatus MFXVideoENCODE_GetVideoParam(mfxSession session, mfxVideoParam* par) {
  fake::count("ENCODE_GetVideoParam", session);
  if (const auto scripted = takeScripted("GetVideoParam")) return scripted->answer();
  if (session == nullptr || par == nullptr) return MFX_ERR_NULL_PTR;
  if (session->encoder == nullptr) return MFX_ERR_NOT_INITIALIZED;
  *par = session->encoder->params();
  return MFX_ERR_NONE;
}
FAKE_COUNTED(Video, ENCODE_GetEncodeStat, UNSUPPORTED, mfxEncodeStat*)
mfxStatus MFXVideoENCODE_EncodeFrameAsync(mfxSession session, mfxEncodeCtrl* ctrl, mfxFrameSurface1* surface,
                                          mfxBitstream* bs, mfxSyncPoint* syncp) {
  fake::count("ENCODE_EncodeFrameAsync", session);
  if (session == nullptr || syncp == nullptr) return MFX_ERR_NULL_PTR;
  const auto scripted = takeScripted("EncodeFrameAsync");
  if (scripted && !scripted->withOutput) return scripted->answer();
  if (session->encoder == nullptr) return MFX_ERR_NOT_INITIALIZED;
  const mfxStatus status = session->encoder->encode(ctrl, surface, bs);
  if (status != MFX_ERR_NONE) return status;
  *syncp = fake::kDone;
  return scripted ? scripted->answer() : MFX_ERR_NONE;
}

// ---- Decode ----

FAKE_COUNTED(Video, DECODE_Query, NONE, mfxVideoParam*, mfxVideoParam*)
mfxStatus MFXVideoDECODE_DecodeHeader(mfxSession session, mfxBitstream* bs, mfxVideoParam* par) {
  fake::count("DECODE_DecodeHeader", session);
  if (const auto scripted = takeScripted("DecodeHeader")) return scripted->answer();
  if (bs == nullptr || par == nullptr || bs->Data == nullptr) return MFX_ERR_NULL_PTR;
  if (par->mfx.CodecId != MFX_CODEC_AVC) return MFX_ERR_UNSUPPORTED;
  return fake::readSequenceHeader(bs->Data + bs->DataOffset, bs->DataLength, *par) ? MFX_ERR_NONE
                                                                                    : MFX_ERR_MORE_DATA;
}
mfxStatus MFXVideoDECODE_QueryIOSurf(mfxSession session, mfxVideoParam* par, mfxFrameAllocRequest* request) {
  fake::count("DECODE_QueryIOSurf", session);
  if (par == nullptr || request == nullptr) return MFX_ERR_NULL_PTR;
  request->Info = par->mfx.FrameInfo;
  request->NumFrameMin = static_cast<mfxU16>(setting("surfacesMin"));
  request->NumFrameSuggested = static_cast<mfxU16>(setting("surfacesSuggested"));
  request->Type = MFX_MEMTYPE_FROM_DECODE | MFX_MEMTYPE_EXTERNAL_FRAME | MFX_MEMTYPE_SYSTEM_MEMORY;
  return MFX_ERR_NONE;
}
mfxStatus MFXVideoDECODE_Init(mfxSession session, mfxVideoParam* par) {
  fake::count("DECODE_Init", session);
  if (session == nullptr || par == nullptr) return MFX_ERR_NULL_PTR;
  fake::record("DecodeInit.IOPattern", par->IOPattern);
  session->decoder = std::make_unique<fake::Decoder>(*par);
  return session->decoder->isOpen() ? MFX_ERR_NONE : MFX_ERR_UNSUPPORTED;
}
FAKE_COUNTED(Video, DECODE_Reset, UNSUPPORTED, mfxVideoParam*)
mfxStatus MFXVideoDECODE_Close(mfxSession session) {
  fake::count("DECODE_Close", session);
  if (session == nullptr) return MFX_ERR_INVALID_HANDLE;
  fake::held().clear();
  session->decoder.reset();
  return MFX_ERR_NONE;
}
mfxStatus MFXVideoDECODE_GetVideoParam(mfxSession session, mfxVideoParam* par) {
  fake::count("DECODE_GetVideoParam", session);
  if (session == nullptr || par == nullptr || session->decoder == nullptr) return MFX_ERR_NOT_INITIALIZED;
  *par = session->decoder->params();
  return MFX_ERR_NONE;
}
FAKE_COUNTED(Video, DECODE_GetDecodeStat, UNSUPPORTED, mfxDecodeStat*)
FAKE_COUNTED(Video, DECODE_SetSkipMode, UNSUPPORTED, mfxSkipMode)
FAKE_COUNTED(Video, DECODE_GetPayload, UNSUPPORTED, mfxU64*, mfxPayload*)
mfxStatus MFXVideoDECODE_DecodeFrameAsync(mfxSession session, mfxBitstream* bs, mfxFrameSurface1* work,
                                          mfxFrameSurface1** out, mfxSyncPoint* syncp) {
  fake::count("DECODE_DecodeFrameAsync", session);
  if (session == nullptr || syncp == nullptr) return MFX_ERR_NULL_PTR;
  fake::record("DecodeFrameAsync.work", reinterpret_cast<long long>(work));
  if (bs != nullptr && bs->DataLength > 0) fake::record("DecodeFrameAsync.TimeStamp", static_cast<long long>(bs->TimeStamp));
  if (work != nullptr && work->Data.Locked != 0) return MFX_ERR_MORE_SURFACE;
  // A runtime that keeps its surfaces: each one it is given stays locked.
  if (work != nullptr && setting("holdSurfaces") != 0) {
    work->Data.Locked = 1;
    fake::held().push_back(work);
  }
  const auto scripted = takeScripted("DecodeFrameAsync");
  if (scripted && !scripted->withOutput) return scripted->answer();
  if (session->decoder == nullptr) return MFX_ERR_NOT_INITIALIZED;
  const mfxStatus status = session->decoder->decode(bs, work, out);
  if (status != MFX_ERR_NONE) return status;
  *syncp = fake::kDone;
  return scripted ? scripted->answer() : MFX_ERR_NONE;
}

// ---- Processing and user plug-ins: never used, only counted ----

FAKE_COUNTED(Video, VPP_Query, UNSUPPORTED, mfxVideoParam*, mfxVideoParam*)
FAKE_COUNTED(Video, VPP_QueryIOSurf, UNSUPPORTED, mfxVideoParam*, mfxFrameAllocRequest*)
FAKE_COUNTED(Video, VPP_Init, UNSUPPORTED, mfxVideoParam*)
FAKE_COUNTED(Video, VPP_Reset, UNSUPPORTED, mfxVideoParam*)
FAKE_COUNTED(Video, VPP_Close, UNSUPPORTED)
FAKE_COUNTED(Video, VPP_GetVideoParam, UNSUPPORTED, mfxVideoParam*)
FAKE_COUNTED(Video, VPP_GetVPPStat, UNSUPPORTED, mfxVPPStat*)
FAKE_COUNTED(Video, VPP_RunFrameVPPAsync, UNSUPPORTED, mfxFrameSurface1*, mfxFrameSurface1*, mfxExtVppAuxData*, mfxSyncPoint*)
FAKE_COUNTED(Video, USER_Register, UNSUPPORTED, mfxU32, const mfxPlugin*)
FAKE_COUNTED(Video, USER_Unregister, UNSUPPORTED, mfxU32)
FAKE_COUNTED(Video, USER_ProcessFrameAsync, UNSUPPORTED, const mfxHDL*, mfxU32, const mfxHDL*, mfxU32, mfxSyncPoint*)

}  // extern "C"
