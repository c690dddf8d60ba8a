#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "support/FakeRuntimeFixture.h"
#include "mfxutils/MfxLoader.h"
#include "platform/mfxruntime/MfxApi.h"

namespace cvx {
namespace {

using namespace mfx;
using test::FakeRuntimeTest;
using test::RuntimeSelection;

MfxLoader& loader() { return MfxLoader::instance(); }

class MfxLoaderTest : public FakeRuntimeTest {};

TEST_F(MfxLoaderTest, RefusesBadArgumentsAndAnswersWithoutARuntime) {
  mfxSession session = nullptr;
  EXPECT_EQ(MFXInit(MFX_IMPL_AUTO, nullptr, nullptr), MFX_ERR_NULL_PTR);
  EXPECT_EQ(MFXInit(8, nullptr, &session), MFX_ERR_UNSUPPORTED) << "above MFX_IMPL_HARDWARE4";
  EXPECT_EQ(MFXInit(-1, nullptr, &session), MFX_ERR_UNSUPPORTED);
  EXPECT_EQ(MFXInit(MFX_IMPL_HARDWARE | MFX_IMPL_VIA_VAAPI, nullptr, &session), MFX_ERR_UNSUPPORTED);
  EXPECT_EQ(MFXClose(nullptr), MFX_ERR_INVALID_HANDLE);
  EXPECT_EQ(fakeMfxCalls("MFXInit"), 0);

  RuntimeSelection none(test::kNoRuntime);
  for (mfxIMPL impl = MFX_IMPL_AUTO; impl <= MFX_IMPL_HARDWARE4; ++impl) {
    SCOPED_TRACE(impl);
    EXPECT_EQ(MFXInit(impl, nullptr, &session), MFX_ERR_UNSUPPORTED);
    EXPECT_EQ(session, nullptr);
  }
}

TEST_F(MfxLoaderTest, EachRequestTriesItsRowsInOrder) {
  struct Case {
    mfxIMPL requested;
    bool hardware;  // the runtime serves hardware sessions
    mfxStatus expected;
    std::vector<long long> tried;  // implementations asked of the runtime, in order
    uint32_t type;                 // the bound type when it succeeds
  };
  const Case cases[] = {
      {MFX_IMPL_AUTO, true, MFX_ERR_NONE, {MFX_IMPL_HARDWARE}, MfxLoader::kHardware},
      {MFX_IMPL_AUTO, false, MFX_ERR_NONE, {MFX_IMPL_HARDWARE, MFX_IMPL_SOFTWARE}, MfxLoader::kSoftware},
      {MFX_IMPL_SOFTWARE, true, MFX_ERR_NONE, {MFX_IMPL_SOFTWARE}, MfxLoader::kSoftware},
      {MFX_IMPL_HARDWARE, false, MFX_ERR_UNSUPPORTED, {MFX_IMPL_HARDWARE}, 0},
      {MFX_IMPL_AUTO_ANY, false, MFX_ERR_NONE,
       {MFX_IMPL_HARDWARE, MFX_IMPL_HARDWARE2, MFX_IMPL_HARDWARE3, MFX_IMPL_HARDWARE4, MFX_IMPL_SOFTWARE},
       MfxLoader::kSoftware},
      {MFX_IMPL_HARDWARE_ANY, false, MFX_ERR_UNSUPPORTED,
       {MFX_IMPL_HARDWARE, MFX_IMPL_HARDWARE2, MFX_IMPL_HARDWARE3, MFX_IMPL_HARDWARE4}, 0},
      {MFX_IMPL_HARDWARE_ANY, true, MFX_ERR_NONE, {MFX_IMPL_HARDWARE}, MfxLoader::kHardware},
      {MFX_IMPL_HARDWARE2, true, MFX_ERR_NONE, {MFX_IMPL_HARDWARE2}, MfxLoader::kHardware},
      {MFX_IMPL_HARDWARE3, true, MFX_ERR_NONE, {MFX_IMPL_HARDWARE3}, MfxLoader::kHardware},
      {MFX_IMPL_HARDWARE4, true, MFX_ERR_NONE, {MFX_IMPL_HARDWARE4}, MfxLoader::kHardware},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE("request " + std::to_string(c.requested) + (c.hardware ? " with hardware" : " software only"));
    fakeMfxReset();
    fakeMfxSet("hardware", c.hardware);
    mfxSession session = nullptr;
    ASSERT_EQ(MFXInit(c.requested, nullptr, &session), c.expected);
    std::vector<long long> tried;
    for (int i = 0; i < fakeMfxCount("MFXInit.impl"); ++i) tried.push_back(fakeMfxNth("MFXInit.impl", i));
    EXPECT_EQ(tried, c.tried);
    if (c.expected != MFX_ERR_NONE) {
      EXPECT_EQ(session, nullptr);
      continue;
    }
    ASSERT_NE(session, nullptr);
    EXPECT_EQ(session->implType, c.type);
    EXPECT_EQ(loader().referenceCount(c.type), 1u);
    EXPECT_EQ(loader().referenceCount(1 - c.type), 0u) << "a runtime that failed is let go";
    mfxIMPL impl = -1;
    ASSERT_EQ(MFXQueryIMPL(session, &impl), MFX_ERR_NONE);
    EXPECT_EQ(implBaseType(impl), c.tried.back());
    EXPECT_EQ(MFXClose(session), MFX_ERR_NONE);
  }
}

TEST_F(MfxLoaderTest, SessionsOfATypeShareOneRuntimeAndTheLastCloseUnbindsIt) {
  mfxSession first = nullptr, second = nullptr;
  ASSERT_EQ(MFXInit(MFX_IMPL_HARDWARE, nullptr, &first), MFX_ERR_NONE);
  EXPECT_EQ(loader().boundVersion(MfxLoader::kHardware), mfxVersionWord(1, 1));
  ASSERT_EQ(MFXInit(MFX_IMPL_HARDWARE, nullptr, &second), MFX_ERR_NONE);
  EXPECT_EQ(loader().referenceCount(MfxLoader::kHardware), 2u);
  EXPECT_NE(first->realSession, second->realSession);
  EXPECT_EQ(MFXClose(first), MFX_ERR_NONE);
  EXPECT_EQ(loader().referenceCount(MfxLoader::kHardware), 1u);
  EXPECT_NE(loader().boundVersion(MfxLoader::kHardware), 0u) << "still bound for the second";
  EXPECT_EQ(MFXClose(second), MFX_ERR_NONE);
  EXPECT_EQ(loader().boundVersion(MfxLoader::kHardware), 0u);
  EXPECT_EQ(fakeMfxCalls("MFXClose"), 2);
}

TEST_F(MfxLoaderTest, ARuntimeThatRefusesToCloseKeepsItsSession) {
  mfxSession session = nullptr;
  ASSERT_EQ(MFXInit(MFX_IMPL_HARDWARE, nullptr, &session), MFX_ERR_NONE);
  fakeMfxPush("MFXClose", MFX_ERR_UNDEFINED_BEHAVIOR, 0);
  EXPECT_EQ(MFXClose(session), MFX_ERR_UNDEFINED_BEHAVIOR);
  EXPECT_EQ(loader().referenceCount(MfxLoader::kHardware), 1u);
  mfxIMPL impl = 0;
  EXPECT_EQ(MFXQueryIMPL(session, &impl), MFX_ERR_NONE) << "the record is still good";
  EXPECT_EQ(MFXClose(session), MFX_ERR_NONE);
}

TEST_F(MfxLoaderTest, InitFailuresAndWarningsOfTheRuntime) {
  mfxSession session = nullptr;
  fakeMfxSet("initStatus", MFX_ERR_DEVICE_LOST);
  EXPECT_EQ(MFXInit(MFX_IMPL_AUTO, nullptr, &session), MFX_ERR_DEVICE_LOST) << "the last row's answer";
  EXPECT_EQ(session, nullptr);
  EXPECT_EQ(fakeMfxCalls("MFXInit"), 2);
  fakeMfxSet("initStatus", 0);

  // Partial acceleration is a session.
  fakeMfxPush("MFXInit", MFX_WRN_PARTIAL_ACCELERATION, 1);
  ASSERT_EQ(MFXInit(MFX_IMPL_HARDWARE, nullptr, &session), MFX_WRN_PARTIAL_ACCELERATION);
  ASSERT_NE(session, nullptr);
  EXPECT_EQ(MFXClose(session), MFX_ERR_NONE);
}

TEST_F(MfxLoaderTest, AHardwareRuntimeGetsADisplayUnlessItHasOne) {
  mfxSession session = nullptr;
  ASSERT_EQ(MFXInit(MFX_IMPL_HARDWARE, nullptr, &session), MFX_ERR_NONE);
  EXPECT_EQ(fakeMfxCalls("CORE_SetHandle"), 0) << "the runtime has a display of its own";
  EXPECT_EQ(MFXClose(session), MFX_ERR_NONE);

  ASSERT_EQ(MFXInit(MFX_IMPL_SOFTWARE, nullptr, &session), MFX_ERR_NONE);
  EXPECT_EQ(fakeMfxCalls("CORE_GetHandle"), 1) << "only hardware sessions are asked";
  EXPECT_EQ(MFXClose(session), MFX_ERR_NONE);

  if (test::hasRenderNode()) GTEST_SKIP() << "this machine has a render node";
  fakeMfxSet("ownDisplay", 0);
  session = nullptr;
  EXPECT_EQ(MFXInit(MFX_IMPL_HARDWARE, nullptr, &session), MFX_ERR_UNSUPPORTED);
  EXPECT_EQ(session, nullptr);
  EXPECT_EQ(fakeMfxCalls("MFXClose"), 3) << "the runtime's session is closed again";
  EXPECT_EQ(fakeMfxCalls("CORE_SetHandle"), 0);
}

TEST_F(MfxLoaderTest, TheVersionFoundCapsWhatARuntimeServes) {
  struct Case {
    const char* file;
    mfxVersion requested;  // minor, major
    mfxStatus expected;
    uint32_t bound;
  };
  const Case cases[] = {
      {CVX_FAKE_MFX, {{1, 1}}, MFX_ERR_NONE, mfxVersionWord(1, 1)},
      {CVX_FAKE_MFX, {{0, 1}}, MFX_ERR_NONE, mfxVersionWord(1, 1)},
      {CVX_FAKE_MFX, {{2, 1}}, MFX_ERR_UNSUPPORTED, 0},
      {CVX_FAKE_MFX, {{1, 2}}, MFX_ERR_UNSUPPORTED, 0},
      {CVX_FAKE_MFX_NOJOIN, {{1, 1}}, MFX_ERR_UNSUPPORTED, 0},
      {CVX_FAKE_MFX_NOJOIN, {{0, 1}}, MFX_ERR_NONE, mfxVersionWord(1, 0)},
      {CVX_FAKE_MFX_NOQUERYIMPL, {{0, 1}}, MFX_ERR_UNSUPPORTED, 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.file) + " asked for " + std::to_string(c.requested.Major) + "." +
                 std::to_string(c.requested.Minor));
    RuntimeSelection runtime(c.file);
    mfxVersion version = c.requested;
    mfxSession session = nullptr;
    ASSERT_EQ(MFXInit(MFX_IMPL_HARDWARE, &version, &session), c.expected);
    if (session == nullptr) continue;
    EXPECT_EQ(loader().boundVersion(MfxLoader::kHardware), c.bound);
    EXPECT_EQ(session->version.Version, c.requested.Version);
    if (c.bound == mfxVersionWord(1, 0)) {
      EXPECT_EQ(MFXJoinSession(session, session), MFX_ERR_UNKNOWN) << "an entry the runtime lacks";
    }
    EXPECT_EQ(MFXClose(session), MFX_ERR_NONE);
  }
}

TEST_F(MfxLoaderTest, EveryForwarderReachesTheRuntimeWithItsOwnSession) {
  mfxSession session = nullptr;
  ASSERT_EQ(MFXInit(MFX_IMPL_HARDWARE, nullptr, &session), MFX_ERR_NONE);
  mfxVideoParam par{};
  mfxFrameAllocRequest requests[2] = {};
  mfxBitstream bs{};
  mfxFrameSurface1 surface{};
  mfxFrameSurface1* out = nullptr;
  mfxSyncPoint sync = nullptr;
  mfxEncodeCtrl ctrl{};
  mfxHDL handle = nullptr;
  mfxVersion version{};
  mfxIMPL impl = 0;
  mfxPriority priority = MFX_PRIORITY_NORMAL;
  mfxU64 ts = 0;
  struct Forwarder {
    const char* name;  // as the fake counts it
    std::function<mfxStatus(mfxSession)> call;
  };
  const Forwarder forwarders[] = {
      {"MFXQueryIMPL", [&](mfxSession s) { return MFXQueryIMPL(s, &impl); }},
      {"MFXQueryVersion", [&](mfxSession s) { return MFXQueryVersion(s, &version); }},
      {"MFXJoinSession", [&](mfxSession s) { return MFXJoinSession(s, session); }},
      {"MFXDisjoinSession", [&](mfxSession s) { return MFXDisjoinSession(s); }},
      {"MFXSetPriority", [&](mfxSession s) { return MFXSetPriority(s, priority); }},
      {"MFXGetPriority", [&](mfxSession s) { return MFXGetPriority(s, &priority); }},
      {"CORE_SetBufferAllocator", [&](mfxSession s) { return MFXVideoCORE_SetBufferAllocator(s, nullptr); }},
      {"CORE_SetFrameAllocator", [&](mfxSession s) { return MFXVideoCORE_SetFrameAllocator(s, nullptr); }},
      {"CORE_SetHandle", [&](mfxSession s) { return MFXVideoCORE_SetHandle(s, MFX_HANDLE_VA_DISPLAY, nullptr); }},
      {"CORE_GetHandle", [&](mfxSession s) { return MFXVideoCORE_GetHandle(s, MFX_HANDLE_VA_DISPLAY, &handle); }},
      {"CORE_SyncOperation", [&](mfxSession s) { return MFXVideoCORE_SyncOperation(s, sync, 1); }},
      {"ENCODE_Query", [&](mfxSession s) { return MFXVideoENCODE_Query(s, &par, &par); }},
      {"ENCODE_QueryIOSurf", [&](mfxSession s) { return MFXVideoENCODE_QueryIOSurf(s, &par, requests); }},
      {"ENCODE_Init", [&](mfxSession s) { return MFXVideoENCODE_Init(s, &par); }},
      {"ENCODE_Reset", [&](mfxSession s) { return MFXVideoENCODE_Reset(s, &par); }},
      {"ENCODE_Close", [&](mfxSession s) { return MFXVideoENCODE_Close(s); }},
      {"ENCODE_GetVideoParam", [&](mfxSession s) { return MFXVideoENCODE_GetVideoParam(s, &par); }},
      {"ENCODE_GetEncodeStat", [&](mfxSession s) { return MFXVideoENCODE_GetEncodeStat(s, nullptr); }},
      {"ENCODE_EncodeFrameAsync",
       [&](mfxSession s) { return MFXVideoENCODE_EncodeFrameAsync(s, &ctrl, &surface, &bs, &sync); }},
      {"DECODE_Query", [&](mfxSession s) { return MFXVideoDECODE_Query(s, &par, &par); }},
      {"DECODE_DecodeHeader", [&](mfxSession s) { return MFXVideoDECODE_DecodeHeader(s, &bs, &par); }},
      {"DECODE_QueryIOSurf", [&](mfxSession s) { return MFXVideoDECODE_QueryIOSurf(s, &par, requests); }},
      {"DECODE_Reset", [&](mfxSession s) { return MFXVideoDECODE_Reset(s, &par); }},
      {"DECODE_Close", [&](mfxSession s) { return MFXVideoDECODE_Close(s); }},
      {"DECODE_GetVideoParam", [&](mfxSession s) { return MFXVideoDECODE_GetVideoParam(s, &par); }},
      {"DECODE_GetDecodeStat", [&](mfxSession s) { return MFXVideoDECODE_GetDecodeStat(s, nullptr); }},
      {"DECODE_SetSkipMode", [&](mfxSession s) { return MFXVideoDECODE_SetSkipMode(s, MFX_SKIPMODE_NOSKIP); }},
      {"DECODE_GetPayload", [&](mfxSession s) { return MFXVideoDECODE_GetPayload(s, &ts, nullptr); }},
      {"DECODE_DecodeFrameAsync",
       [&](mfxSession s) { return MFXVideoDECODE_DecodeFrameAsync(s, &bs, &surface, &out, &sync); }},
      {"VPP_Query", [&](mfxSession s) { return MFXVideoVPP_Query(s, &par, &par); }},
      {"VPP_QueryIOSurf", [&](mfxSession s) { return MFXVideoVPP_QueryIOSurf(s, &par, requests); }},
      {"VPP_Init", [&](mfxSession s) { return MFXVideoVPP_Init(s, &par); }},
      {"VPP_Reset", [&](mfxSession s) { return MFXVideoVPP_Reset(s, &par); }},
      {"VPP_Close", [&](mfxSession s) { return MFXVideoVPP_Close(s); }},
      {"VPP_GetVideoParam", [&](mfxSession s) { return MFXVideoVPP_GetVideoParam(s, &par); }},
      {"VPP_GetVPPStat", [&](mfxSession s) { return MFXVideoVPP_GetVPPStat(s, nullptr); }},
      {"VPP_RunFrameVPPAsync",
       [&](mfxSession s) { return MFXVideoVPP_RunFrameVPPAsync(s, &surface, &surface, nullptr, &sync); }},
      {"USER_Register", [&](mfxSession s) { return MFXVideoUSER_Register(s, 0, nullptr); }},
      {"USER_Unregister", [&](mfxSession s) { return MFXVideoUSER_Unregister(s, 0); }},
      {"USER_ProcessFrameAsync",
       [&](mfxSession s) { return MFXVideoUSER_ProcessFrameAsync(s, &handle, 1, &handle, 1, &sync); }},
  };
  for (const Forwarder& f : forwarders) {
    SCOPED_TRACE(f.name);
    const int before = fakeMfxCalls(f.name);
    EXPECT_EQ(f.call(nullptr), MFX_ERR_INVALID_HANDLE);
    EXPECT_EQ(fakeMfxCalls(f.name), before) << "a null session goes nowhere";
    f.call(session);
    EXPECT_EQ(fakeMfxCalls(f.name), before + 1);
    EXPECT_EQ(fakeMfxLastSession(), static_cast<void*>(session->realSession));
  }
  EXPECT_EQ(MFXClose(session), MFX_ERR_NONE);
}

TEST_F(MfxLoaderTest, AClonedSessionHoldsAReferenceOfItsOwn) {
  mfxSession session = nullptr, clone = nullptr;
  ASSERT_EQ(MFXInit(MFX_IMPL_SOFTWARE, nullptr, &session), MFX_ERR_NONE);
  EXPECT_EQ(MFXCloneSession(session, nullptr), MFX_ERR_NULL_PTR);
  ASSERT_EQ(MFXCloneSession(session, &clone), MFX_ERR_NONE);
  ASSERT_NE(clone, nullptr);
  EXPECT_EQ(loader().referenceCount(MfxLoader::kSoftware), 2u);
  mfxIMPL impl = 0;
  EXPECT_EQ(MFXQueryIMPL(clone, &impl), MFX_ERR_NONE);
  EXPECT_EQ(fakeMfxLastSession(), static_cast<void*>(clone->realSession));
  EXPECT_EQ(MFXClose(session), MFX_ERR_NONE);
  EXPECT_EQ(MFXClose(clone), MFX_ERR_NONE);
}

TEST_F(MfxLoaderTest, SessionsOpenAndCloseFromManyThreadsUnderTheOneLock) {
  // The fake runtime's session bookkeeping is not thread-safe: only the
  // loader's lock keeps its MFXInit and MFXClose apart.
  std::atomic<int> failures{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&failures, t] {
      for (int i = 0; i < 50; ++i) {
        mfxSession session = nullptr;
        if (MFXInit(t % 2 == 0 ? MFX_IMPL_HARDWARE : MFX_IMPL_SOFTWARE, nullptr, &session) != MFX_ERR_NONE) {
          ++failures;
          continue;
        }
        mfxIMPL impl = 0;
        if (MFXQueryIMPL(session, &impl) != MFX_ERR_NONE || MFXClose(session) != MFX_ERR_NONE) ++failures;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(failures.load(), 0);
  EXPECT_EQ(fakeMfxCalls("MFXInit"), 200);
}

}  // namespace
}  // namespace cvx
