#pragma once

// The part of the Media SDK's C interface this system uses: scalar types,
// status and constant values, the records, and the published functions. Core
// code sees the SDK only through this header, so that only src/platform
// compiles against the SDK's own headers. Every record is laid out exactly as
// the SDK lays it out on LP64 Linux (the same packing, the same unions), and
// MfxApiLayout.cpp proves it against the real headers: the size and offset of
// every field mirrored here, the value of every constant, and the signature of
// every function, type by type. Records the system only passes through are
// declared and never defined.
//
// The functions are the loader's and its forwarders (src/mfxutils): no SDK
// library is linked; the loader binds a runtime at MFXInit.

#include <cstdint>

#include "media/FourCC.h"

namespace cvx {
namespace mfx {

using mfxU8 = unsigned char;
using mfxI8 = char;
using mfxU16 = unsigned short;
using mfxI16 = short;
using mfxU32 = unsigned int;
using mfxI32 = int;
using mfxU64 = unsigned long long;
using mfxI64 = long long;
using mfxHDL = void*;
using mfxMemId = mfxHDL;
using mfxIMPL = mfxI32;

// A runtime may answer any int: the fixed underlying type makes every value
// representable.
enum mfxStatus : int {
  MFX_ERR_NONE = 0,
  MFX_ERR_UNKNOWN = -1,
  MFX_ERR_NULL_PTR = -2,
  MFX_ERR_UNSUPPORTED = -3,
  MFX_ERR_MEMORY_ALLOC = -4,
  MFX_ERR_NOT_ENOUGH_BUFFER = -5,
  MFX_ERR_INVALID_HANDLE = -6,
  MFX_ERR_NOT_INITIALIZED = -8,
  MFX_ERR_NOT_FOUND = -9,
  MFX_ERR_MORE_DATA = -10,
  MFX_ERR_MORE_SURFACE = -11,
  MFX_ERR_ABORTED = -12,
  MFX_ERR_DEVICE_LOST = -13,
  MFX_ERR_INCOMPATIBLE_VIDEO_PARAM = -14,
  MFX_ERR_UNDEFINED_BEHAVIOR = -16,
  MFX_WRN_IN_EXECUTION = 1,
  MFX_WRN_DEVICE_BUSY = 2,
  MFX_WRN_VIDEO_PARAM_CHANGED = 3,
  MFX_WRN_PARTIAL_ACCELERATION = 4,
};

enum mfxHandleType : unsigned int { MFX_HANDLE_VA_DISPLAY = 4 };
enum mfxPriority : unsigned int { MFX_PRIORITY_LOW = 0, MFX_PRIORITY_NORMAL = 1, MFX_PRIORITY_HIGH = 2 };
enum mfxSkipMode : unsigned int { MFX_SKIPMODE_NOSKIP = 0 };

// Implementations.
constexpr mfxIMPL MFX_IMPL_AUTO = 0;
constexpr mfxIMPL MFX_IMPL_SOFTWARE = 1;
constexpr mfxIMPL MFX_IMPL_HARDWARE = 2;
constexpr mfxIMPL MFX_IMPL_AUTO_ANY = 3;
constexpr mfxIMPL MFX_IMPL_HARDWARE_ANY = 4;
constexpr mfxIMPL MFX_IMPL_HARDWARE2 = 5;
constexpr mfxIMPL MFX_IMPL_HARDWARE3 = 6;
constexpr mfxIMPL MFX_IMPL_HARDWARE4 = 7;
constexpr mfxIMPL MFX_IMPL_VIA_VAAPI = 0x0400;
// The implementation without its VIA_ flags.
constexpr mfxIMPL implBaseType(mfxIMPL impl) { return impl & 0x00ff; }

// Four-character codes and formats: ours where we have the code, the SDK's
// own codes built the same way.
constexpr mfxU32 MFX_CODEC_AVC = makeFourCC('A', 'V', 'C', ' ');
constexpr mfxU32 MFX_FOURCC_NV12 = kFourCCNV12;
constexpr mfxU32 MFX_FOURCC_YV12 = kFourCCYV12;
constexpr mfxU32 MFX_FOURCC_YUY2 = kFourCCYUY2;
constexpr mfxU32 MFX_FOURCC_RGB3 = makeFourCC('R', 'G', 'B', '3');
constexpr mfxU32 MFX_FOURCC_RGB4 = makeFourCC('R', 'G', 'B', '4');
constexpr mfxU16 MFX_CHROMAFORMAT_YUV420 = 1;
constexpr mfxU16 MFX_PICSTRUCT_PROGRESSIVE = 1;

// Memory types and I/O patterns.
constexpr mfxU16 MFX_MEMTYPE_INTERNAL_FRAME = 0x0001;
constexpr mfxU16 MFX_MEMTYPE_EXTERNAL_FRAME = 0x0002;
constexpr mfxU16 MFX_MEMTYPE_SYSTEM_MEMORY = 0x0040;
constexpr mfxU16 MFX_MEMTYPE_FROM_ENCODE = 0x0100;
constexpr mfxU16 MFX_MEMTYPE_FROM_DECODE = 0x0200;
constexpr mfxU16 MFX_MEMTYPE_FROM_VPPIN = 0x0400;
constexpr mfxU16 MFX_MEMTYPE_FROM_VPPOUT = 0x0800;
constexpr mfxU16 MFX_IOPATTERN_IN_SYSTEM_MEMORY = 0x02;
constexpr mfxU16 MFX_IOPATTERN_OUT_SYSTEM_MEMORY = 0x20;

// Encoding.
constexpr mfxU16 MFX_PROFILE_AVC_BASELINE = 66;
constexpr mfxU16 MFX_PROFILE_AVC_MAIN = 77;
constexpr mfxU16 MFX_TARGETUSAGE_BALANCED = 4;
constexpr mfxU16 MFX_GOP_CLOSED = 1;
constexpr mfxU16 MFX_RATECONTROL_VBR = 2;
constexpr mfxU16 MFX_FRAMETYPE_I = 0x0001;
constexpr mfxU16 MFX_FRAMETYPE_P = 0x0002;
constexpr mfxU16 MFX_FRAMETYPE_REF = 0x0040;
constexpr mfxU16 MFX_FRAMETYPE_IDR = 0x0080;

#pragma pack(push, 4)
union mfxVersion {
  struct {
    mfxU16 Minor;
    mfxU16 Major;
  };
  mfxU32 Version;
};

struct mfxExtBuffer {
  mfxU32 BufferId;
  mfxU32 BufferSz;
};

struct mfxFrameId {
  mfxU16 TemporalId;
  mfxU16 PriorityId;
  union {
    struct {
      mfxU16 DependencyId;
      mfxU16 QualityId;
    };
    struct {
      mfxU16 ViewId;
    };
  };
};

struct mfxFrameInfo {
  mfxU32 reserved[4];
  mfxU16 reserved4;
  mfxU16 BitDepthLuma;
  mfxU16 BitDepthChroma;
  mfxU16 Shift;
  mfxFrameId FrameId;
  mfxU32 FourCC;
  union {
    struct {
      mfxU16 Width;
      mfxU16 Height;
      mfxU16 CropX;
      mfxU16 CropY;
      mfxU16 CropW;
      mfxU16 CropH;
    };
    struct {
      mfxU64 BufferSize;
      mfxU32 reserved5;
    };
  };
  mfxU32 FrameRateExtN;
  mfxU32 FrameRateExtD;
  mfxU16 reserved3;
  mfxU16 AspectRatioW;
  mfxU16 AspectRatioH;
  mfxU16 PicStruct;
  mfxU16 ChromaFormat;
  mfxU16 reserved2;
};

struct mfxInfoMFX {
  mfxU32 reserved[7];
  mfxU16 LowPower;
  mfxU16 BRCParamMultiplier;
  mfxFrameInfo FrameInfo;
  mfxU32 CodecId;
  mfxU16 CodecProfile;
  mfxU16 CodecLevel;
  mfxU16 NumThread;
  union {
    struct {  // encoding
      mfxU16 TargetUsage;
      mfxU16 GopPicSize;
      mfxU16 GopRefDist;
      mfxU16 GopOptFlag;
      mfxU16 IdrInterval;
      mfxU16 RateControlMethod;
      union {
        mfxU16 InitialDelayInKB;
        mfxU16 QPI;
        mfxU16 Accuracy;
      };
      mfxU16 BufferSizeInKB;
      union {
        mfxU16 TargetKbps;
        mfxU16 QPP;
        mfxU16 ICQQuality;
      };
      union {
        mfxU16 MaxKbps;
        mfxU16 QPB;
        mfxU16 Convergence;
      };
      mfxU16 NumSlice;
      mfxU16 NumRefFrame;
      mfxU16 EncodedOrder;
    };
    struct {  // decoding
      mfxU16 DecodedOrder;
      mfxU16 ExtendedPicStruct;
      mfxU16 TimeStampCalc;
      mfxU16 SliceGroupsPresent;
      mfxU16 MaxDecFrameBuffering;
      mfxU16 EnableReallocRequest;
      mfxU16 FilmGrain;
      mfxU16 IgnoreLevelConstrain;
      mfxU16 reserved2[5];
    };
  };
};

struct mfxInfoVPP {
  mfxU32 reserved[8];
  mfxFrameInfo In;
  mfxFrameInfo Out;
};

struct mfxFrameAllocRequest {
  union {
    mfxU32 AllocId;
    mfxU32 reserved[1];
  };
  mfxU32 reserved3[3];
  mfxFrameInfo Info;
  mfxU16 Type;
  mfxU16 NumFrameMin;
  mfxU16 NumFrameSuggested;
  mfxU16 reserved2;
};
#pragma pack(pop)

#pragma pack(push, 8)
struct _mfxEncryptedData;

struct mfxBitstream {
  union {
    struct {
      _mfxEncryptedData* EncryptedData;
      mfxExtBuffer** ExtParam;
      mfxU16 NumExtParam;
    };
    mfxU32 reserved[6];
  };
  mfxI64 DecodeTimeStamp;
  mfxU64 TimeStamp;
  mfxU8* Data;
  mfxU32 DataOffset;
  mfxU32 DataLength;
  mfxU32 MaxLength;
  mfxU16 PicStruct;
  mfxU16 FrameType;
  mfxU16 DataFlag;
  mfxU16 reserved2;
};

struct mfxFrameData {
  union {
    mfxExtBuffer** ExtParam;
    mfxU64 reserved2;
  };
  mfxU16 NumExtParam;
  mfxU16 reserved[9];
  mfxU16 MemType;
  mfxU16 PitchHigh;
  mfxU64 TimeStamp;
  mfxU32 FrameOrder;
  mfxU16 Locked;
  union {
    mfxU16 Pitch;
    mfxU16 PitchLow;
  };
  union {
    mfxU8* Y;
    mfxU8* R;
  };
  union {
    mfxU8* UV;
    mfxU8* U;
    mfxU8* G;
  };
  union {
    mfxU8* V;
    mfxU8* B;
  };
  mfxU8* A;
  mfxMemId MemId;
  mfxU16 Corrupted;
  mfxU16 DataFlag;
};

struct mfxFrameSurface1 {
  mfxU32 reserved[4];
  mfxFrameInfo Info;
  mfxFrameData Data;
};

struct mfxVideoParam {
  mfxU32 AllocId;
  mfxU32 reserved[2];
  mfxU16 reserved3;
  mfxU16 AsyncDepth;
  union {
    mfxInfoMFX mfx;
    mfxInfoVPP vpp;
  };
  mfxU16 Protected;
  mfxU16 IOPattern;
  mfxExtBuffer** ExtParam;
  mfxU16 NumExtParam;
  mfxU16 reserved2;
};

struct mfxPayload;

struct mfxEncodeCtrl {
  mfxExtBuffer Header;
  mfxU32 reserved[4];
  mfxU16 reserved1;
  mfxU16 MfxNalUnitType;
  mfxU16 SkipFrame;
  mfxU16 QP;
  mfxU16 FrameType;
  mfxU16 NumExtParam;
  mfxU16 NumPayload;
  mfxU16 reserved2;
  mfxExtBuffer** ExtParam;
  mfxPayload** Payload;
};

struct mfxFrameAllocResponse {
  mfxU32 AllocId;
  mfxU32 reserved[3];
  mfxMemId* mids;
  mfxU16 NumFrameActual;
  mfxU16 reserved2;
};

struct mfxBufferAllocator {
  mfxU32 reserved[4];
  mfxHDL pthis;
  mfxStatus (*Alloc)(mfxHDL pthis, mfxU32 nbytes, mfxU16 type, mfxMemId* mid);
  mfxStatus (*Lock)(mfxHDL pthis, mfxMemId mid, mfxU8** ptr);
  mfxStatus (*Unlock)(mfxHDL pthis, mfxMemId mid);
  mfxStatus (*Free)(mfxHDL pthis, mfxMemId mid);
};

struct mfxFrameAllocator {
  mfxU32 reserved[4];
  mfxHDL pthis;
  mfxStatus (*Alloc)(mfxHDL pthis, mfxFrameAllocRequest* request, mfxFrameAllocResponse* response);
  mfxStatus (*Lock)(mfxHDL pthis, mfxMemId mid, mfxFrameData* ptr);
  mfxStatus (*Unlock)(mfxHDL pthis, mfxMemId mid, mfxFrameData* ptr);
  mfxStatus (*GetHDL)(mfxHDL pthis, mfxMemId mid, mfxHDL* handle);
  mfxStatus (*Free)(mfxHDL pthis, mfxFrameAllocResponse* response);
};
#pragma pack(pop)

// Records passed through by address and never read here.
struct _mfxSession;  // the loader's session record (src/mfxutils/MfxLoader.h)
struct _mfxSyncPoint;
struct mfxEncodeStat;
struct mfxDecodeStat;
struct mfxVPPStat;
struct mfxExtVppAuxData;
struct mfxPlugin;
using mfxSession = _mfxSession*;
using mfxSyncPoint = _mfxSyncPoint*;

// Time stamps: the SDK counts in 90 kHz ticks.
constexpr int64_t kTicksPerMillisecond = 90;

// The published functions. MFXInit and MFXClose are the loader's; every other
// one forwards to the runtime that MFXInit bound for the session.
mfxStatus MFXInit(mfxIMPL impl, mfxVersion* ver, mfxSession* session);
mfxStatus MFXClose(mfxSession session);
mfxStatus MFXQueryIMPL(mfxSession session, mfxIMPL* impl);
mfxStatus MFXQueryVersion(mfxSession session, mfxVersion* version);
mfxStatus MFXJoinSession(mfxSession session, mfxSession child);
mfxStatus MFXDisjoinSession(mfxSession session);
mfxStatus MFXCloneSession(mfxSession session, mfxSession* clone);
mfxStatus MFXSetPriority(mfxSession session, mfxPriority priority);
mfxStatus MFXGetPriority(mfxSession session, mfxPriority* priority);
mfxStatus MFXVideoCORE_SetBufferAllocator(mfxSession session, mfxBufferAllocator* allocator);
mfxStatus MFXVideoCORE_SetFrameAllocator(mfxSession session, mfxFrameAllocator* allocator);
mfxStatus MFXVideoCORE_SetHandle(mfxSession session, mfxHandleType type, mfxHDL hdl);
mfxStatus MFXVideoCORE_GetHandle(mfxSession session, mfxHandleType type, mfxHDL* hdl);
mfxStatus MFXVideoCORE_SyncOperation(mfxSession session, mfxSyncPoint syncp, mfxU32 wait);
mfxStatus MFXVideoENCODE_Query(mfxSession session, mfxVideoParam* in, mfxVideoParam* out);
mfxStatus MFXVideoENCODE_QueryIOSurf(mfxSession session, mfxVideoParam* par, mfxFrameAllocRequest* request);
mfxStatus MFXVideoENCODE_Init(mfxSession session, mfxVideoParam* par);
mfxStatus MFXVideoENCODE_Reset(mfxSession session, mfxVideoParam* par);
mfxStatus MFXVideoENCODE_Close(mfxSession session);
mfxStatus MFXVideoENCODE_GetVideoParam(mfxSession session, mfxVideoParam* par);
mfxStatus MFXVideoENCODE_GetEncodeStat(mfxSession session, mfxEncodeStat* stat);
mfxStatus MFXVideoENCODE_EncodeFrameAsync(mfxSession session, mfxEncodeCtrl* ctrl, mfxFrameSurface1* surface,
                                          mfxBitstream* bs, mfxSyncPoint* syncp);
mfxStatus MFXVideoDECODE_Query(mfxSession session, mfxVideoParam* in, mfxVideoParam* out);
mfxStatus MFXVideoDECODE_DecodeHeader(mfxSession session, mfxBitstream* bs, mfxVideoParam* par);
mfxStatus MFXVideoDECODE_QueryIOSurf(mfxSession session, mfxVideoParam* par, mfxFrameAllocRequest* request);
mfxStatus MFXVideoDECODE_Init(mfxSession session, mfxVideoParam* par);
mfxStatus MFXVideoDECODE_Reset(mfxSession session, mfxVideoParam* par);
mfxStatus MFXVideoDECODE_Close(mfxSession session);
mfxStatus MFXVideoDECODE_GetVideoParam(mfxSession session, mfxVideoParam* par);
mfxStatus MFXVideoDECODE_GetDecodeStat(mfxSession session, mfxDecodeStat* stat);
mfxStatus MFXVideoDECODE_SetSkipMode(mfxSession session, mfxSkipMode mode);
mfxStatus MFXVideoDECODE_GetPayload(mfxSession session, mfxU64* ts, mfxPayload* payload);
mfxStatus MFXVideoDECODE_DecodeFrameAsync(mfxSession session, mfxBitstream* bs, mfxFrameSurface1* surface_work,
                                          mfxFrameSurface1** surface_out, mfxSyncPoint* syncp);
mfxStatus MFXVideoVPP_Query(mfxSession session, mfxVideoParam* in, mfxVideoParam* out);
mfxStatus MFXVideoVPP_QueryIOSurf(mfxSession session, mfxVideoParam* par, mfxFrameAllocRequest request[2]);
mfxStatus MFXVideoVPP_Init(mfxSession session, mfxVideoParam* par);
mfxStatus MFXVideoVPP_Reset(mfxSession session, mfxVideoParam* par);
mfxStatus MFXVideoVPP_Close(mfxSession session);
mfxStatus MFXVideoVPP_GetVideoParam(mfxSession session, mfxVideoParam* par);
mfxStatus MFXVideoVPP_GetVPPStat(mfxSession session, mfxVPPStat* stat);
mfxStatus MFXVideoVPP_RunFrameVPPAsync(mfxSession session, mfxFrameSurface1* in, mfxFrameSurface1* out,
                                       mfxExtVppAuxData* aux, mfxSyncPoint* syncp);
mfxStatus MFXVideoUSER_Register(mfxSession session, mfxU32 type, const mfxPlugin* par);
mfxStatus MFXVideoUSER_Unregister(mfxSession session, mfxU32 type);
mfxStatus MFXVideoUSER_ProcessFrameAsync(mfxSession session, const mfxHDL* in, mfxU32 in_num, const mfxHDL* out,
                                         mfxU32 out_num, mfxSyncPoint* syncp);

}  // namespace mfx
}  // namespace cvx
