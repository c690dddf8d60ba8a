#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "mfxutils/SysMemBufferAllocator.h"
#include "mfxutils/SysMemFrameAllocator.h"

namespace cvx {
namespace {

using namespace mfx;

constexpr mfxU16 kSystem = MFX_MEMTYPE_SYSTEM_MEMORY;
constexpr mfxU16 kDecoderShared = MFX_MEMTYPE_FROM_DECODE | MFX_MEMTYPE_EXTERNAL_FRAME | MFX_MEMTYPE_SYSTEM_MEMORY;
constexpr mfxU16 kDecoderInternal = MFX_MEMTYPE_FROM_DECODE | MFX_MEMTYPE_INTERNAL_FRAME | MFX_MEMTYPE_SYSTEM_MEMORY;

uint32_t u32At(const void* block, std::size_t offset) {
  uint32_t v;
  std::memcpy(&v, static_cast<const uint8_t*>(block) + offset, sizeof(v));
  return v;
}

mfxFrameAllocRequest request(uint32_t fourcc, mfxU16 width, mfxU16 height, mfxU16 type, mfxU16 count,
                             mfxU16 minimum = 1) {
  mfxFrameAllocRequest r{};
  r.Info.FourCC = fourcc;
  r.Info.Width = width;
  r.Info.Height = height;
  r.Type = type;
  r.NumFrameSuggested = count;
  r.NumFrameMin = minimum;
  return r;
}

TEST(SysMemBufferAllocator, AllocatesTaggedZeroedBlocksAndRefusesWhatItDoesNotHold) {
  SysMemBufferAllocator buffers;
  mfxMemId mid = nullptr;
  EXPECT_EQ(buffers.AllocBuffer(10, kSystem, nullptr), MFX_ERR_NULL_PTR);
  EXPECT_EQ(buffers.AllocBuffer(10, MFX_MEMTYPE_FROM_DECODE, &mid), MFX_ERR_UNSUPPORTED) << "system memory only";
  EXPECT_EQ(buffers.AllocBuffer(SysMemBufferAllocator::kMaxBufferBytes + 1, kSystem, &mid), MFX_ERR_MEMORY_ALLOC);
  EXPECT_EQ(mid, nullptr);

  ASSERT_EQ(buffers.AllocBuffer(10, kSystem | 0x0200, &mid), MFX_ERR_NONE);
  EXPECT_EQ(std::memcmp(mid, "BUFF", 4), 0);
  EXPECT_EQ(u32At(mid, 4), 10u);
  EXPECT_EQ(u32At(mid, 8) & 0xFFFF, kSystem | 0x0200u);
  mfxU8* data = nullptr;
  ASSERT_EQ(buffers.LockBuffer(mid, &data), MFX_ERR_NONE);
  EXPECT_EQ(data, static_cast<mfxU8*>(mid) + 32);
  for (int i = 0; i < 10; ++i) EXPECT_EQ(data[i], 0) << i;
  EXPECT_EQ(buffers.LockBuffer(mid, nullptr), MFX_ERR_NULL_PTR);
  EXPECT_EQ(buffers.UnlockBuffer(mid), MFX_ERR_NONE);

  // Ids that are not held are refused without being read: ASan would see a read.
  uint8_t foreign[64] = {'B', 'U', 'F', 'F'};
  for (mfxMemId unknown : {static_cast<mfxMemId>(nullptr), static_cast<mfxMemId>(foreign)}) {
    SCOPED_TRACE(unknown == nullptr ? "null id" : "foreign block tagged BUFF");
    EXPECT_EQ(buffers.LockBuffer(unknown, &data), MFX_ERR_INVALID_HANDLE);
    EXPECT_EQ(buffers.UnlockBuffer(unknown), MFX_ERR_INVALID_HANDLE);
    EXPECT_EQ(buffers.FreeBuffer(unknown), MFX_ERR_INVALID_HANDLE);
  }
  ASSERT_EQ(buffers.FreeBuffer(mid), MFX_ERR_NONE);
  EXPECT_EQ(buffers.FreeBuffer(mid), MFX_ERR_INVALID_HANDLE) << "a double free is refused";
  EXPECT_EQ(buffers.LockBuffer(mid, &data), MFX_ERR_INVALID_HANDLE);
  EXPECT_EQ(buffers.heldBlocks(), 0u);
}

TEST(SysMemBufferAllocator, TheRecordReachesTheSlotsAndANullObjectIsNoMemory) {
  SysMemBufferAllocator buffers;
  mfxBufferAllocator* record = &buffers;
  EXPECT_EQ(record->pthis, static_cast<mfxHDL>(static_cast<MFXBufferAllocator*>(&buffers)));
  mfxMemId mid = nullptr;
  mfxU8* data = nullptr;
  ASSERT_EQ(record->Alloc(record->pthis, 4, kSystem, &mid), MFX_ERR_NONE);
  EXPECT_EQ(record->Lock(record->pthis, mid, &data), MFX_ERR_NONE);
  EXPECT_EQ(record->Unlock(record->pthis, mid), MFX_ERR_NONE);
  EXPECT_EQ(record->Free(record->pthis, mid), MFX_ERR_NONE);
  EXPECT_EQ(record->Alloc(nullptr, 4, kSystem, &mid), MFX_ERR_MEMORY_ALLOC);
  EXPECT_EQ(record->Lock(nullptr, mid, &data), MFX_ERR_MEMORY_ALLOC);
  EXPECT_EQ(record->Unlock(nullptr, mid), MFX_ERR_MEMORY_ALLOC);
  EXPECT_EQ(record->Free(nullptr, mid), MFX_ERR_MEMORY_ALLOC);
}

class SysMemFrameAllocatorTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(frames.Init(nullptr), MFX_ERR_NONE); }
  SysMemBufferAllocator buffers;  // given to the frame allocator, so its blocks can be counted
  SysMemFrameAllocator frames{&buffers};
};

TEST_F(SysMemFrameAllocatorTest, InitTakesNoParametersAndAnAllocatorBeforeInitHasNone) {
  FrameAllocatorParams params;
  EXPECT_EQ(frames.Init(&params), MFX_ERR_NOT_INITIALIZED);
  EXPECT_EQ(frames.Init(nullptr), MFX_ERR_NONE) << "again: the buffer allocator exists";

  SysMemFrameAllocator uninitialised;
  mfxFrameAllocRequest r = request(MFX_FOURCC_NV12, 64, 64, kDecoderInternal, 1);
  mfxFrameAllocResponse response{};
  mfxFrameData data{};
  EXPECT_EQ(uninitialised.AllocFrames(&r, &response), MFX_ERR_NOT_INITIALIZED);
  EXPECT_EQ(uninitialised.LockFrame(nullptr, &data), MFX_ERR_NOT_INITIALIZED);
  EXPECT_EQ(uninitialised.UnlockFrame(nullptr, &data), MFX_ERR_NOT_INITIALIZED);
  EXPECT_EQ(uninitialised.GetFrameHDL(nullptr, nullptr), MFX_ERR_UNSUPPORTED);
}

TEST_F(SysMemFrameAllocatorTest, EachFormatGetsItsSizeAlignmentPlanesAndPitch) {
  struct Case {
    uint32_t fourcc;
    uint32_t bits;
    std::ptrdiff_t u, v, a;  // from Y; -1: not set
    uint32_t pitchPerPixel;
  };
  // 100 x 50 is allocated as 128 x 64.
  constexpr std::ptrdiff_t kPlane = 128 * 64;
  const Case cases[] = {
      {MFX_FOURCC_NV12, 12, kPlane, kPlane + 1, -1, 1},
      {MFX_FOURCC_YV12, 12, kPlane + 64 * 32, kPlane, -1, 1},
      {MFX_FOURCC_YUY2, 16, 1, 3, -1, 2},
      {MFX_FOURCC_RGB3, 24, 1, 2, -1, 3},
      {MFX_FOURCC_RGB4, 32, 1, 2, 3, 4},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(reinterpret_cast<const char*>(&c.fourcc), 4));
    mfxFrameAllocRequest r = request(c.fourcc, 100, 50, kDecoderInternal, 2);
    mfxFrameAllocResponse response{};
    ASSERT_EQ(frames.AllocFrames(&r, &response), MFX_ERR_NONE);
    ASSERT_EQ(response.NumFrameActual, 2);
    const mfxMemId mid = response.mids[1];
    EXPECT_EQ(u32At(mid, 4), 128u * 64u * c.bits / 8 + 96) << "the buffer's size: pixels and the header";
    const uint8_t* header = static_cast<const uint8_t*>(mid) + 32;
    EXPECT_EQ(std::memcmp(header, "FRME", 4), 0);
    mfxFrameInfo copied;
    std::memcpy(&copied, header + 4, sizeof(copied));
    EXPECT_EQ(copied.Width, 100);
    EXPECT_EQ(copied.FourCC, c.fourcc);

    mfxFrameData data{};
    data.A = reinterpret_cast<mfxU8*>(&data);  // a value the lock leaves alone but for RGB4
    ASSERT_EQ(frames.LockFrame(mid, &data), MFX_ERR_NONE);
    EXPECT_EQ(data.Y, header + 96);
    EXPECT_EQ(data.U - data.Y, c.u);
    EXPECT_EQ(data.V - data.Y, c.v);
    if (c.a >= 0) {
      EXPECT_EQ(data.A - data.Y, c.a);
    }
    EXPECT_EQ(data.Pitch, 128 * c.pitchPerPixel);
    EXPECT_EQ(data.PitchHigh, 0);
    mfxU8* const a = data.A;
    ASSERT_EQ(frames.UnlockFrame(mid, &data), MFX_ERR_NONE);
    EXPECT_EQ((std::vector<mfxU8*>{data.Y, data.U, data.V}), (std::vector<mfxU8*>(3, nullptr)));
    EXPECT_EQ(data.Pitch, 0);
    EXPECT_EQ(data.A, a) << "A stays";
    EXPECT_EQ(frames.GetFrameHDL(mid, nullptr), MFX_ERR_UNSUPPORTED) << "system memory has no handles";
    ASSERT_EQ(frames.FreeFrames(&response), MFX_ERR_NONE);
  }
  EXPECT_EQ(buffers.heldBlocks(), 0u);
}

TEST_F(SysMemFrameAllocatorTest, RefusesRequestsItDoesNotServe) {
  struct Case { const char* what; mfxFrameAllocRequest r; mfxStatus expected; };
  const Case cases[] = {
      {"none suggested", request(MFX_FOURCC_NV12, 64, 64, kDecoderInternal, 0), MFX_ERR_MEMORY_ALLOC},
      {"no kind bits", request(MFX_FOURCC_NV12, 64, 64, MFX_MEMTYPE_SYSTEM_MEMORY, 1), MFX_ERR_UNSUPPORTED},
      {"video memory", request(MFX_FOURCC_NV12, 64, 64, MFX_MEMTYPE_FROM_DECODE, 1), MFX_ERR_UNSUPPORTED},
      {"a format without a layout", request(0x30313050, 64, 64, kDecoderInternal, 1), MFX_ERR_UNSUPPORTED},
      {"wider than 16384", request(MFX_FOURCC_NV12, 16385, 64, kDecoderInternal, 1), MFX_ERR_MEMORY_ALLOC},
      {"more than 256 frames", request(MFX_FOURCC_NV12, 64, 64, kDecoderInternal, 257), MFX_ERR_MEMORY_ALLOC},
  };
  for (Case c : cases) {
    SCOPED_TRACE(c.what);
    mfxFrameAllocResponse response{};
    EXPECT_EQ(frames.AllocFrames(&c.r, &response), c.expected);
    EXPECT_EQ(response.mids, nullptr);
  }
  mfxFrameAllocRequest r = request(MFX_FOURCC_NV12, 64, 64, kDecoderInternal, 1);
  mfxFrameAllocResponse response{};
  EXPECT_EQ(frames.AllocFrames(nullptr, &response), MFX_ERR_MEMORY_ALLOC);
  EXPECT_EQ(frames.AllocFrames(&r, nullptr), MFX_ERR_MEMORY_ALLOC);
  EXPECT_EQ(frames.CheckRequestType(nullptr), MFX_ERR_NULL_PTR);
  EXPECT_EQ(frames.internalResponseCount(), 0u);
  EXPECT_EQ(buffers.heldBlocks(), 0u);
}

TEST_F(SysMemFrameAllocatorTest, LocksOnlyItsOwnFramesAndFreesEachResponseOnce) {
  mfxFrameAllocRequest r = request(MFX_FOURCC_NV12, 64, 32, kDecoderInternal, 3);
  mfxFrameAllocResponse response{};
  ASSERT_EQ(frames.AllocFrames(&r, &response), MFX_ERR_NONE);
  EXPECT_EQ(buffers.heldBlocks(), 3u);
  mfxFrameData data{};
  EXPECT_EQ(frames.LockFrame(response.mids[0], nullptr), MFX_ERR_NULL_PTR);

  // A buffer of the same buffer allocator is not a frame, even tagged as one.
  mfxMemId plain = nullptr;
  ASSERT_EQ(buffers.AllocBuffer(200, kSystem, &plain), MFX_ERR_NONE);
  mfxU8* bytes = nullptr;
  ASSERT_EQ(buffers.LockBuffer(plain, &bytes), MFX_ERR_NONE);
  std::memcpy(bytes, "FRME", 4);
  uint8_t stranger[256] = {};
  for (mfxMemId mid : {plain, static_cast<mfxMemId>(stranger), static_cast<mfxMemId>(nullptr)}) {
    EXPECT_EQ(frames.LockFrame(mid, &data), MFX_ERR_INVALID_HANDLE);
    EXPECT_EQ(data.Y, nullptr);
  }
  EXPECT_EQ(buffers.FreeBuffer(plain), MFX_ERR_NONE);

  mfxFrameAllocResponse copy = response;
  ASSERT_EQ(frames.FreeFrames(&copy), MFX_ERR_NONE) << "a copy of the response names the same frames";
  EXPECT_EQ(buffers.heldBlocks(), 0u);
  EXPECT_EQ(frames.FreeFrames(&response), MFX_ERR_INVALID_HANDLE) << "freed once only; its id array is not read";
  EXPECT_EQ(frames.FreeFrames(nullptr), MFX_ERR_INVALID_HANDLE);
}

TEST_F(SysMemFrameAllocatorTest, ExternalFramesOfAKindAreSharedAndCounted) {
  mfxFrameAllocRequest first = request(MFX_FOURCC_NV12, 64, 32, kDecoderShared, 4, 2);
  mfxFrameAllocResponse a{}, b{}, c{};
  ASSERT_EQ(frames.AllocFrames(&first, &a), MFX_ERR_NONE);
  mfxFrameAllocRequest again = request(MFX_FOURCC_NV12, 64, 32, kDecoderShared, 4, 4);
  ASSERT_EQ(frames.AllocFrames(&again, &b), MFX_ERR_NONE);
  EXPECT_EQ(b.mids, a.mids) << "the existing frames are shared";
  EXPECT_EQ(frames.externalReferenceCount(0), 2u);
  mfxFrameAllocRequest more = request(MFX_FOURCC_NV12, 64, 32, kDecoderShared, 5, 5);
  EXPECT_EQ(frames.AllocFrames(&more, &c), MFX_ERR_MEMORY_ALLOC) << "more than the kind has";
  EXPECT_EQ(buffers.heldBlocks(), 4u);

  ASSERT_EQ(frames.FreeFrames(&a), MFX_ERR_NONE);
  EXPECT_EQ(buffers.heldBlocks(), 4u) << "one user left";
  ASSERT_EQ(frames.FreeFrames(&b), MFX_ERR_NONE);
  EXPECT_EQ(buffers.heldBlocks(), 0u);
  EXPECT_EQ(frames.externalReferenceCount(0), 0u);
  EXPECT_EQ(frames.FreeFrames(&b), MFX_ERR_INVALID_HANDLE) << "a double free";
}

TEST_F(SysMemFrameAllocatorTest, FewerFramesThanTheMinimumIsNoMemoryAndKeepsNothing) {
  // Buffers run out after two frames.
  class TwoBuffers : public SysMemBufferAllocator {
   public:
    mfxStatus AllocBuffer(mfxU32 size, mfxU16 type, mfxMemId* mid) override {
      if (heldBlocks() >= 2) return MFX_ERR_MEMORY_ALLOC;
      return SysMemBufferAllocator::AllocBuffer(size, type, mid);
    }
  } twoBuffers;
  SysMemFrameAllocator limited(&twoBuffers);
  ASSERT_EQ(limited.Init(nullptr), MFX_ERR_NONE);
  mfxFrameAllocRequest needsThree = request(MFX_FOURCC_NV12, 64, 32, kDecoderInternal, 4, 3);
  mfxFrameAllocResponse response{};
  EXPECT_EQ(limited.AllocFrames(&needsThree, &response), MFX_ERR_MEMORY_ALLOC);
  EXPECT_EQ(twoBuffers.heldBlocks(), 0u);
  mfxFrameAllocRequest takesTwo = request(MFX_FOURCC_NV12, 64, 32, kDecoderInternal, 4, 2);
  ASSERT_EQ(limited.AllocFrames(&takesTwo, &response), MFX_ERR_NONE);
  EXPECT_EQ(response.NumFrameActual, 2) << "what came, when the minimum came";
  EXPECT_EQ(limited.Close(), MFX_ERR_NONE);
  EXPECT_EQ(twoBuffers.heldBlocks(), 0u) << "close frees every response";
}

TEST_F(SysMemFrameAllocatorTest, AnOwnBufferAllocatorGoesWithCloseAndTheRecordReachesTheSlots) {
  SysMemFrameAllocator own;
  ASSERT_EQ(own.Init(nullptr), MFX_ERR_NONE);
  mfxFrameAllocator* record = own.record();
  mfxFrameAllocRequest internal = request(MFX_FOURCC_NV12, 64, 32, kDecoderInternal, 2);
  mfxFrameAllocRequest shared = request(MFX_FOURCC_NV12, 64, 32, kDecoderShared, 2);
  mfxFrameAllocResponse a{}, b{};
  ASSERT_EQ(record->Alloc(record->pthis, &internal, &a), MFX_ERR_NONE);
  ASSERT_EQ(record->Alloc(record->pthis, &shared, &b), MFX_ERR_NONE);
  mfxFrameData data{};
  ASSERT_EQ(record->Lock(record->pthis, b.mids[0], &data), MFX_ERR_NONE);
  EXPECT_NE(data.Y, nullptr);
  EXPECT_EQ(record->Unlock(record->pthis, b.mids[0], &data), MFX_ERR_NONE);
  EXPECT_EQ(record->GetHDL(record->pthis, b.mids[0], nullptr), MFX_ERR_UNSUPPORTED);
  EXPECT_EQ(record->Free(record->pthis, &a), MFX_ERR_NONE);
  for (auto entry : {record->Alloc(nullptr, &internal, &a), record->Lock(nullptr, b.mids[0], &data),
                     record->Unlock(nullptr, b.mids[0], &data), record->GetHDL(nullptr, b.mids[0], nullptr),
                     record->Free(nullptr, &b)}) {
    EXPECT_EQ(entry, MFX_ERR_MEMORY_ALLOC) << "a record without its object";
  }
  // The shared frames are still held: close lets go of them and of the buffer
  // allocator (LeakSanitizer checks the rest), and a lock then has no allocator.
  const mfxMemId sharedFrame = b.mids[0];
  EXPECT_EQ(own.Close(), MFX_ERR_NONE);
  EXPECT_EQ(own.LockFrame(sharedFrame, &data), MFX_ERR_NOT_INITIALIZED);
}

// A kind without kind bits matches no slot, so a fifth one finds every slot taken.
class KindlessAllocator : public BaseFrameAllocator {
 public:
  mfxStatus Init(FrameAllocatorParams*) override { return MFX_ERR_NONE; }
  mfxStatus LockFrame(mfxMemId, mfxFrameData*) override { return MFX_ERR_NONE; }
  mfxStatus UnlockFrame(mfxMemId, mfxFrameData*) override { return MFX_ERR_NONE; }
  mfxStatus GetFrameHDL(mfxMemId, mfxHDL*) override { return MFX_ERR_UNSUPPORTED; }
  mfxStatus CheckRequestType(mfxFrameAllocRequest*) override { return MFX_ERR_NONE; }
  mfxStatus ReleaseResponse(mfxFrameAllocResponse* response) override {
    delete[] response->mids;
    response->mids = nullptr;
    return MFX_ERR_NONE;
  }
  mfxStatus AllocImpl(mfxFrameAllocRequest* r, mfxFrameAllocResponse* response) override {
    response->mids = new mfxMemId[r->NumFrameSuggested]();
    response->NumFrameActual = r->NumFrameSuggested;
    return MFX_ERR_NONE;
  }
};

TEST(BaseFrameAllocator, AFifthExternalKindIsTheLogicError) {
  KindlessAllocator allocator;
  mfxFrameAllocRequest kindless = request(MFX_FOURCC_NV12, 16, 16, MFX_MEMTYPE_EXTERNAL_FRAME, 1);
  mfxFrameAllocResponse responses[5] = {};
  for (int i = 0; i < 4; ++i) ASSERT_EQ(allocator.AllocFrames(&kindless, &responses[i]), MFX_ERR_NONE) << i;
  ::testing::internal::CaptureStdout();
  EXPECT_EQ(allocator.AllocFrames(&kindless, &responses[4]), MFX_ERR_MEMORY_ALLOC);
  EXPECT_EQ(::testing::internal::GetCapturedStdout(),
            "BaseFrameAllocator::AllocFrames: logic error: no free response for externals\n");
  EXPECT_EQ(allocator.Close(), MFX_ERR_NONE);
}

}  // namespace
}  // namespace cvx
