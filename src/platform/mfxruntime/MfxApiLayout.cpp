// Proves MfxApi.h against the SDK's own headers at compile time: every
// mirrored record has the SDK's size and alignment and every mirrored field
// its offset and size; every constant its value; every function its
// signature, each parameter type mapped to its mirror. This is the one file
// that includes the SDK's headers; it emits no code.
//
// Ours comes first, so the SDK's macros cannot reach into it.
#include "platform/mfxruntime/MfxApi.h"

#include <cstddef>
#include <type_traits>

#include <mfx/mfxplugin.h>
#include <mfx/mfxvideo.h>

namespace {

namespace our = cvx::mfx;

// ---- Records ----

#define CVX_SAME_RECORD(type)                                                 \
  static_assert(sizeof(our::type) == sizeof(::type), #type " size");          \
  static_assert(alignof(our::type) == alignof(::type), #type " alignment")
#define CVX_SAME_FIELD(type, field)                                                              \
  static_assert(offsetof(our::type, field) == offsetof(::type, field), #type "." #field " offset"); \
  static_assert(sizeof(our::type::field) == sizeof(::type::field), #type "." #field " size")

CVX_SAME_RECORD(mfxVersion);
CVX_SAME_FIELD(mfxVersion, Minor);
CVX_SAME_FIELD(mfxVersion, Major);
CVX_SAME_FIELD(mfxVersion, Version);

CVX_SAME_RECORD(mfxExtBuffer);
CVX_SAME_FIELD(mfxExtBuffer, BufferId);
CVX_SAME_FIELD(mfxExtBuffer, BufferSz);

CVX_SAME_RECORD(mfxFrameId);
CVX_SAME_FIELD(mfxFrameId, TemporalId);
CVX_SAME_FIELD(mfxFrameId, PriorityId);
CVX_SAME_FIELD(mfxFrameId, DependencyId);
CVX_SAME_FIELD(mfxFrameId, QualityId);
CVX_SAME_FIELD(mfxFrameId, ViewId);

CVX_SAME_RECORD(mfxFrameInfo);
static_assert(sizeof(our::mfxFrameInfo) == 68, "the allocators copy 68 bytes of frame info");
CVX_SAME_FIELD(mfxFrameInfo, reserved);
CVX_SAME_FIELD(mfxFrameInfo, reserved4);
CVX_SAME_FIELD(mfxFrameInfo, BitDepthLuma);
CVX_SAME_FIELD(mfxFrameInfo, BitDepthChroma);
CVX_SAME_FIELD(mfxFrameInfo, Shift);
CVX_SAME_FIELD(mfxFrameInfo, FrameId);
CVX_SAME_FIELD(mfxFrameInfo, FourCC);
CVX_SAME_FIELD(mfxFrameInfo, Width);
CVX_SAME_FIELD(mfxFrameInfo, Height);
CVX_SAME_FIELD(mfxFrameInfo, CropX);
CVX_SAME_FIELD(mfxFrameInfo, CropY);
CVX_SAME_FIELD(mfxFrameInfo, CropW);
CVX_SAME_FIELD(mfxFrameInfo, CropH);
CVX_SAME_FIELD(mfxFrameInfo, BufferSize);
CVX_SAME_FIELD(mfxFrameInfo, reserved5);
CVX_SAME_FIELD(mfxFrameInfo, FrameRateExtN);
CVX_SAME_FIELD(mfxFrameInfo, FrameRateExtD);
CVX_SAME_FIELD(mfxFrameInfo, reserved3);
CVX_SAME_FIELD(mfxFrameInfo, AspectRatioW);
CVX_SAME_FIELD(mfxFrameInfo, AspectRatioH);
CVX_SAME_FIELD(mfxFrameInfo, PicStruct);
CVX_SAME_FIELD(mfxFrameInfo, ChromaFormat);
CVX_SAME_FIELD(mfxFrameInfo, reserved2);

CVX_SAME_RECORD(mfxInfoMFX);
CVX_SAME_FIELD(mfxInfoMFX, reserved);
CVX_SAME_FIELD(mfxInfoMFX, LowPower);
CVX_SAME_FIELD(mfxInfoMFX, BRCParamMultiplier);
CVX_SAME_FIELD(mfxInfoMFX, FrameInfo);
CVX_SAME_FIELD(mfxInfoMFX, CodecId);
CVX_SAME_FIELD(mfxInfoMFX, CodecProfile);
CVX_SAME_FIELD(mfxInfoMFX, CodecLevel);
CVX_SAME_FIELD(mfxInfoMFX, NumThread);
CVX_SAME_FIELD(mfxInfoMFX, TargetUsage);
CVX_SAME_FIELD(mfxInfoMFX, GopPicSize);
CVX_SAME_FIELD(mfxInfoMFX, GopRefDist);
CVX_SAME_FIELD(mfxInfoMFX, GopOptFlag);
CVX_SAME_FIELD(mfxInfoMFX, IdrInterval);
CVX_SAME_FIELD(mfxInfoMFX, RateControlMethod);
CVX_SAME_FIELD(mfxInfoMFX, InitialDelayInKB);
CVX_SAME_FIELD(mfxInfoMFX, QPI);
CVX_SAME_FIELD(mfxInfoMFX, Accuracy);
CVX_SAME_FIELD(mfxInfoMFX, BufferSizeInKB);
CVX_SAME_FIELD(mfxInfoMFX, TargetKbps);
CVX_SAME_FIELD(mfxInfoMFX, QPP);
CVX_SAME_FIELD(mfxInfoMFX, ICQQuality);
CVX_SAME_FIELD(mfxInfoMFX, MaxKbps);
CVX_SAME_FIELD(mfxInfoMFX, QPB);
CVX_SAME_FIELD(mfxInfoMFX, Convergence);
CVX_SAME_FIELD(mfxInfoMFX, NumSlice);
CVX_SAME_FIELD(mfxInfoMFX, NumRefFrame);
CVX_SAME_FIELD(mfxInfoMFX, EncodedOrder);
CVX_SAME_FIELD(mfxInfoMFX, DecodedOrder);
CVX_SAME_FIELD(mfxInfoMFX, ExtendedPicStruct);
CVX_SAME_FIELD(mfxInfoMFX, TimeStampCalc);
CVX_SAME_FIELD(mfxInfoMFX, SliceGroupsPresent);
CVX_SAME_FIELD(mfxInfoMFX, MaxDecFrameBuffering);
CVX_SAME_FIELD(mfxInfoMFX, EnableReallocRequest);
CVX_SAME_FIELD(mfxInfoMFX, FilmGrain);
CVX_SAME_FIELD(mfxInfoMFX, IgnoreLevelConstrain);

CVX_SAME_RECORD(mfxInfoVPP);
CVX_SAME_FIELD(mfxInfoVPP, reserved);
CVX_SAME_FIELD(mfxInfoVPP, In);
CVX_SAME_FIELD(mfxInfoVPP, Out);

CVX_SAME_RECORD(mfxFrameAllocRequest);
CVX_SAME_FIELD(mfxFrameAllocRequest, AllocId);
CVX_SAME_FIELD(mfxFrameAllocRequest, reserved3);
CVX_SAME_FIELD(mfxFrameAllocRequest, Info);
CVX_SAME_FIELD(mfxFrameAllocRequest, Type);
CVX_SAME_FIELD(mfxFrameAllocRequest, NumFrameMin);
CVX_SAME_FIELD(mfxFrameAllocRequest, NumFrameSuggested);
CVX_SAME_FIELD(mfxFrameAllocRequest, reserved2);

CVX_SAME_RECORD(mfxBitstream);
CVX_SAME_FIELD(mfxBitstream, EncryptedData);
CVX_SAME_FIELD(mfxBitstream, ExtParam);
CVX_SAME_FIELD(mfxBitstream, NumExtParam);
CVX_SAME_FIELD(mfxBitstream, reserved);
CVX_SAME_FIELD(mfxBitstream, DecodeTimeStamp);
CVX_SAME_FIELD(mfxBitstream, TimeStamp);
CVX_SAME_FIELD(mfxBitstream, Data);
CVX_SAME_FIELD(mfxBitstream, DataOffset);
CVX_SAME_FIELD(mfxBitstream, DataLength);
CVX_SAME_FIELD(mfxBitstream, MaxLength);
CVX_SAME_FIELD(mfxBitstream, PicStruct);
CVX_SAME_FIELD(mfxBitstream, FrameType);
CVX_SAME_FIELD(mfxBitstream, DataFlag);
CVX_SAME_FIELD(mfxBitstream, reserved2);

CVX_SAME_RECORD(mfxFrameData);
CVX_SAME_FIELD(mfxFrameData, ExtParam);
CVX_SAME_FIELD(mfxFrameData, reserved2);
CVX_SAME_FIELD(mfxFrameData, NumExtParam);
CVX_SAME_FIELD(mfxFrameData, reserved);
CVX_SAME_FIELD(mfxFrameData, MemType);
CVX_SAME_FIELD(mfxFrameData, PitchHigh);
CVX_SAME_FIELD(mfxFrameData, TimeStamp);
CVX_SAME_FIELD(mfxFrameData, FrameOrder);
CVX_SAME_FIELD(mfxFrameData, Locked);
CVX_SAME_FIELD(mfxFrameData, Pitch);
CVX_SAME_FIELD(mfxFrameData, PitchLow);
CVX_SAME_FIELD(mfxFrameData, Y);
CVX_SAME_FIELD(mfxFrameData, R);
CVX_SAME_FIELD(mfxFrameData, UV);
CVX_SAME_FIELD(mfxFrameData, U);
CVX_SAME_FIELD(mfxFrameData, G);
CVX_SAME_FIELD(mfxFrameData, V);
CVX_SAME_FIELD(mfxFrameData, B);
CVX_SAME_FIELD(mfxFrameData, A);
CVX_SAME_FIELD(mfxFrameData, MemId);
CVX_SAME_FIELD(mfxFrameData, Corrupted);
CVX_SAME_FIELD(mfxFrameData, DataFlag);

CVX_SAME_RECORD(mfxFrameSurface1);
CVX_SAME_FIELD(mfxFrameSurface1, reserved);
CVX_SAME_FIELD(mfxFrameSurface1, Info);
CVX_SAME_FIELD(mfxFrameSurface1, Data);

CVX_SAME_RECORD(mfxVideoParam);
CVX_SAME_FIELD(mfxVideoParam, AllocId);
CVX_SAME_FIELD(mfxVideoParam, reserved);
CVX_SAME_FIELD(mfxVideoParam, reserved3);
CVX_SAME_FIELD(mfxVideoParam, AsyncDepth);
CVX_SAME_FIELD(mfxVideoParam, mfx);
CVX_SAME_FIELD(mfxVideoParam, vpp);
CVX_SAME_FIELD(mfxVideoParam, Protected);
CVX_SAME_FIELD(mfxVideoParam, IOPattern);
CVX_SAME_FIELD(mfxVideoParam, ExtParam);
CVX_SAME_FIELD(mfxVideoParam, NumExtParam);
CVX_SAME_FIELD(mfxVideoParam, reserved2);

CVX_SAME_RECORD(mfxEncodeCtrl);
CVX_SAME_FIELD(mfxEncodeCtrl, Header);
CVX_SAME_FIELD(mfxEncodeCtrl, reserved);
CVX_SAME_FIELD(mfxEncodeCtrl, reserved1);
CVX_SAME_FIELD(mfxEncodeCtrl, MfxNalUnitType);
CVX_SAME_FIELD(mfxEncodeCtrl, SkipFrame);
CVX_SAME_FIELD(mfxEncodeCtrl, QP);
CVX_SAME_FIELD(mfxEncodeCtrl, FrameType);
CVX_SAME_FIELD(mfxEncodeCtrl, NumExtParam);
CVX_SAME_FIELD(mfxEncodeCtrl, NumPayload);
CVX_SAME_FIELD(mfxEncodeCtrl, reserved2);
CVX_SAME_FIELD(mfxEncodeCtrl, ExtParam);
CVX_SAME_FIELD(mfxEncodeCtrl, Payload);

CVX_SAME_RECORD(mfxFrameAllocResponse);
CVX_SAME_FIELD(mfxFrameAllocResponse, AllocId);
CVX_SAME_FIELD(mfxFrameAllocResponse, reserved);
CVX_SAME_FIELD(mfxFrameAllocResponse, mids);
CVX_SAME_FIELD(mfxFrameAllocResponse, NumFrameActual);
CVX_SAME_FIELD(mfxFrameAllocResponse, reserved2);

CVX_SAME_RECORD(mfxBufferAllocator);
CVX_SAME_FIELD(mfxBufferAllocator, reserved);
CVX_SAME_FIELD(mfxBufferAllocator, pthis);
CVX_SAME_FIELD(mfxBufferAllocator, Alloc);
CVX_SAME_FIELD(mfxBufferAllocator, Lock);
CVX_SAME_FIELD(mfxBufferAllocator, Unlock);
CVX_SAME_FIELD(mfxBufferAllocator, Free);

CVX_SAME_RECORD(mfxFrameAllocator);
CVX_SAME_FIELD(mfxFrameAllocator, reserved);
CVX_SAME_FIELD(mfxFrameAllocator, pthis);
CVX_SAME_FIELD(mfxFrameAllocator, Alloc);
CVX_SAME_FIELD(mfxFrameAllocator, Lock);
CVX_SAME_FIELD(mfxFrameAllocator, Unlock);
CVX_SAME_FIELD(mfxFrameAllocator, GetHDL);
CVX_SAME_FIELD(mfxFrameAllocator, Free);

#undef CVX_SAME_FIELD
#undef CVX_SAME_RECORD

// ---- Scalars and constants ----

static_assert(std::is_same_v<our::mfxU8, ::mfxU8> && std::is_same_v<our::mfxI8, ::mfxI8> &&
              std::is_same_v<our::mfxU16, ::mfxU16> && std::is_same_v<our::mfxI16, ::mfxI16> &&
              std::is_same_v<our::mfxU32, ::mfxU32> && std::is_same_v<our::mfxI32, ::mfxI32> &&
              std::is_same_v<our::mfxU64, ::mfxU64> && std::is_same_v<our::mfxI64, ::mfxI64> &&
              std::is_same_v<our::mfxHDL, ::mfxHDL> && std::is_same_v<our::mfxMemId, ::mfxMemId> &&
              std::is_same_v<our::mfxIMPL, ::mfxIMPL>,
              "scalar types");
static_assert(std::is_same_v<std::underlying_type_t<our::mfxStatus>, std::underlying_type_t<::mfxStatus>> &&
              std::is_same_v<std::underlying_type_t<our::mfxHandleType>, std::underlying_type_t<::mfxHandleType>> &&
              std::is_same_v<std::underlying_type_t<our::mfxPriority>, std::underlying_type_t<::mfxPriority>> &&
              std::is_same_v<std::underlying_type_t<our::mfxSkipMode>, std::underlying_type_t<::mfxSkipMode>>,
              "enumeration types");

#define CVX_SAME_VALUE(name) static_assert(static_cast<long long>(our::name) == static_cast<long long>(::name), #name)
CVX_SAME_VALUE(MFX_ERR_NONE);
CVX_SAME_VALUE(MFX_ERR_UNKNOWN);
CVX_SAME_VALUE(MFX_ERR_NULL_PTR);
CVX_SAME_VALUE(MFX_ERR_UNSUPPORTED);
CVX_SAME_VALUE(MFX_ERR_MEMORY_ALLOC);
CVX_SAME_VALUE(MFX_ERR_NOT_ENOUGH_BUFFER);
CVX_SAME_VALUE(MFX_ERR_INVALID_HANDLE);
CVX_SAME_VALUE(MFX_ERR_NOT_INITIALIZED);
CVX_SAME_VALUE(MFX_ERR_NOT_FOUND);
CVX_SAME_VALUE(MFX_ERR_MORE_DATA);
CVX_SAME_VALUE(MFX_ERR_MORE_SURFACE);
CVX_SAME_VALUE(MFX_ERR_ABORTED);
CVX_SAME_VALUE(MFX_ERR_DEVICE_LOST);
CVX_SAME_VALUE(MFX_ERR_INCOMPATIBLE_VIDEO_PARAM);
CVX_SAME_VALUE(MFX_ERR_UNDEFINED_BEHAVIOR);
CVX_SAME_VALUE(MFX_WRN_IN_EXECUTION);
CVX_SAME_VALUE(MFX_WRN_DEVICE_BUSY);
CVX_SAME_VALUE(MFX_WRN_VIDEO_PARAM_CHANGED);
CVX_SAME_VALUE(MFX_WRN_PARTIAL_ACCELERATION);
CVX_SAME_VALUE(MFX_HANDLE_VA_DISPLAY);
CVX_SAME_VALUE(MFX_PRIORITY_LOW);
CVX_SAME_VALUE(MFX_PRIORITY_NORMAL);
CVX_SAME_VALUE(MFX_PRIORITY_HIGH);
CVX_SAME_VALUE(MFX_SKIPMODE_NOSKIP);
CVX_SAME_VALUE(MFX_IMPL_AUTO);
CVX_SAME_VALUE(MFX_IMPL_SOFTWARE);
CVX_SAME_VALUE(MFX_IMPL_HARDWARE);
CVX_SAME_VALUE(MFX_IMPL_AUTO_ANY);
CVX_SAME_VALUE(MFX_IMPL_HARDWARE_ANY);
CVX_SAME_VALUE(MFX_IMPL_HARDWARE2);
CVX_SAME_VALUE(MFX_IMPL_HARDWARE3);
CVX_SAME_VALUE(MFX_IMPL_HARDWARE4);
CVX_SAME_VALUE(MFX_IMPL_VIA_VAAPI);
CVX_SAME_VALUE(MFX_CODEC_AVC);
CVX_SAME_VALUE(MFX_FOURCC_NV12);
CVX_SAME_VALUE(MFX_FOURCC_YV12);
CVX_SAME_VALUE(MFX_FOURCC_YUY2);
CVX_SAME_VALUE(MFX_FOURCC_RGB3);
CVX_SAME_VALUE(MFX_FOURCC_RGB4);
CVX_SAME_VALUE(MFX_CHROMAFORMAT_YUV420);
CVX_SAME_VALUE(MFX_PICSTRUCT_PROGRESSIVE);
CVX_SAME_VALUE(MFX_MEMTYPE_INTERNAL_FRAME);
CVX_SAME_VALUE(MFX_MEMTYPE_EXTERNAL_FRAME);
CVX_SAME_VALUE(MFX_MEMTYPE_SYSTEM_MEMORY);
CVX_SAME_VALUE(MFX_MEMTYPE_FROM_ENCODE);
CVX_SAME_VALUE(MFX_MEMTYPE_FROM_DECODE);
CVX_SAME_VALUE(MFX_MEMTYPE_FROM_VPPIN);
CVX_SAME_VALUE(MFX_MEMTYPE_FROM_VPPOUT);
CVX_SAME_VALUE(MFX_IOPATTERN_IN_SYSTEM_MEMORY);
CVX_SAME_VALUE(MFX_IOPATTERN_OUT_SYSTEM_MEMORY);
CVX_SAME_VALUE(MFX_PROFILE_AVC_BASELINE);
CVX_SAME_VALUE(MFX_PROFILE_AVC_MAIN);
CVX_SAME_VALUE(MFX_TARGETUSAGE_BALANCED);
CVX_SAME_VALUE(MFX_GOP_CLOSED);
CVX_SAME_VALUE(MFX_RATECONTROL_VBR);
CVX_SAME_VALUE(MFX_FRAMETYPE_I);
CVX_SAME_VALUE(MFX_FRAMETYPE_P);
CVX_SAME_VALUE(MFX_FRAMETYPE_REF);
CVX_SAME_VALUE(MFX_FRAMETYPE_IDR);
#undef CVX_SAME_VALUE
static_assert(our::implBaseType(0x0402) == MFX_IMPL_BASETYPE(0x0402), "implementation base type");
static_assert(cvx::makeFourCC('A', 'V', 'C', ' ') == static_cast<our::mfxU32>(MFX_MAKEFOURCC('A', 'V', 'C', ' ')),
              "four-character codes");

// ---- Function signatures ----

// Maps a type of the SDK's headers to its mirror, through pointers, const and
// function types; scalars map to themselves, and a record without a mirror
// maps to itself too, which no mirrored signature can match.
template <class T>
struct Mirror {
  using type = T;
};
template <class T>
struct Mirror<T*> {
  using type = typename Mirror<T>::type*;
};
template <class T>
struct Mirror<const T> {
  using type = const typename Mirror<T>::type;
};
template <class R, class... A>
struct Mirror<R(A...)> {
  using type = typename Mirror<R>::type(typename Mirror<A>::type...);
};
#define CVX_MIRROR(sdk, ours)         \
  template <>                         \
  struct Mirror<sdk> {                \
    using type = ours;                \
  }
CVX_MIRROR(::mfxStatus, our::mfxStatus);
CVX_MIRROR(::mfxHandleType, our::mfxHandleType);
CVX_MIRROR(::mfxPriority, our::mfxPriority);
CVX_MIRROR(::mfxSkipMode, our::mfxSkipMode);
CVX_MIRROR(::mfxVersion, our::mfxVersion);
CVX_MIRROR(::_mfxSession, our::_mfxSession);
CVX_MIRROR(::_mfxSyncPoint, our::_mfxSyncPoint);
CVX_MIRROR(::mfxBitstream, our::mfxBitstream);
CVX_MIRROR(::mfxFrameSurface1, our::mfxFrameSurface1);
CVX_MIRROR(::mfxVideoParam, our::mfxVideoParam);
CVX_MIRROR(::mfxEncodeCtrl, our::mfxEncodeCtrl);
CVX_MIRROR(::mfxFrameAllocRequest, our::mfxFrameAllocRequest);
CVX_MIRROR(::mfxFrameAllocResponse, our::mfxFrameAllocResponse);
CVX_MIRROR(::mfxFrameData, our::mfxFrameData);
CVX_MIRROR(::mfxBufferAllocator, our::mfxBufferAllocator);
CVX_MIRROR(::mfxFrameAllocator, our::mfxFrameAllocator);
CVX_MIRROR(::mfxEncodeStat, our::mfxEncodeStat);
CVX_MIRROR(::mfxDecodeStat, our::mfxDecodeStat);
CVX_MIRROR(::mfxVPPStat, our::mfxVPPStat);
CVX_MIRROR(::mfxExtVppAuxData, our::mfxExtVppAuxData);
CVX_MIRROR(::mfxPayload, our::mfxPayload);
CVX_MIRROR(::mfxPlugin, our::mfxPlugin);
#undef CVX_MIRROR

// The allocator records' entries are function pointers: their types go through
// the same mapping.
static_assert(std::is_same_v<Mirror<decltype(::mfxFrameAllocator::Alloc)>::type, decltype(our::mfxFrameAllocator::Alloc)> &&
              std::is_same_v<Mirror<decltype(::mfxFrameAllocator::Lock)>::type, decltype(our::mfxFrameAllocator::Lock)> &&
              std::is_same_v<Mirror<decltype(::mfxFrameAllocator::Unlock)>::type, decltype(our::mfxFrameAllocator::Unlock)> &&
              std::is_same_v<Mirror<decltype(::mfxFrameAllocator::GetHDL)>::type, decltype(our::mfxFrameAllocator::GetHDL)> &&
              std::is_same_v<Mirror<decltype(::mfxFrameAllocator::Free)>::type, decltype(our::mfxFrameAllocator::Free)>,
              "frame allocator entries");
static_assert(std::is_same_v<Mirror<decltype(::mfxBufferAllocator::Alloc)>::type, decltype(our::mfxBufferAllocator::Alloc)> &&
              std::is_same_v<Mirror<decltype(::mfxBufferAllocator::Lock)>::type, decltype(our::mfxBufferAllocator::Lock)> &&
              std::is_same_v<Mirror<decltype(::mfxBufferAllocator::Unlock)>::type, decltype(our::mfxBufferAllocator::Unlock)> &&
              std::is_same_v<Mirror<decltype(::mfxBufferAllocator::Free)>::type, decltype(our::mfxBufferAllocator::Free)>,
              "buffer allocator entries");

#define CVX_SAME_SIGNATURE(name) \
  static_assert(std::is_same_v<Mirror<decltype(::name)>::type, decltype(our::name)>, #name " signature")
CVX_SAME_SIGNATURE(MFXInit);
CVX_SAME_SIGNATURE(MFXClose);
CVX_SAME_SIGNATURE(MFXQueryIMPL);
CVX_SAME_SIGNATURE(MFXQueryVersion);
CVX_SAME_SIGNATURE(MFXJoinSession);
CVX_SAME_SIGNATURE(MFXDisjoinSession);
CVX_SAME_SIGNATURE(MFXCloneSession);
CVX_SAME_SIGNATURE(MFXSetPriority);
CVX_SAME_SIGNATURE(MFXGetPriority);
CVX_SAME_SIGNATURE(MFXVideoCORE_SetBufferAllocator);
CVX_SAME_SIGNATURE(MFXVideoCORE_SetFrameAllocator);
CVX_SAME_SIGNATURE(MFXVideoCORE_SetHandle);
CVX_SAME_SIGNATURE(MFXVideoCORE_GetHandle);
CVX_SAME_SIGNATURE(MFXVideoCORE_SyncOperation);
CVX_SAME_SIGNATURE(MFXVideoENCODE_Query);
CVX_SAME_SIGNATURE(MFXVideoENCODE_QueryIOSurf);
CVX_SAME_SIGNATURE(MFXVideoENCODE_Init);
CVX_SAME_SIGNATURE(MFXVideoENCODE_Reset);
CVX_SAME_SIGNATURE(MFXVideoENCODE_Close);
CVX_SAME_SIGNATURE(MFXVideoENCODE_GetVideoParam);
CVX_SAME_SIGNATURE(MFXVideoENCODE_GetEncodeStat);
CVX_SAME_SIGNATURE(MFXVideoENCODE_EncodeFrameAsync);
CVX_SAME_SIGNATURE(MFXVideoDECODE_Query);
CVX_SAME_SIGNATURE(MFXVideoDECODE_DecodeHeader);
CVX_SAME_SIGNATURE(MFXVideoDECODE_QueryIOSurf);
CVX_SAME_SIGNATURE(MFXVideoDECODE_Init);
CVX_SAME_SIGNATURE(MFXVideoDECODE_Reset);
CVX_SAME_SIGNATURE(MFXVideoDECODE_Close);
CVX_SAME_SIGNATURE(MFXVideoDECODE_GetVideoParam);
CVX_SAME_SIGNATURE(MFXVideoDECODE_GetDecodeStat);
CVX_SAME_SIGNATURE(MFXVideoDECODE_SetSkipMode);
CVX_SAME_SIGNATURE(MFXVideoDECODE_GetPayload);
CVX_SAME_SIGNATURE(MFXVideoDECODE_DecodeFrameAsync);
CVX_SAME_SIGNATURE(MFXVideoVPP_Query);
CVX_SAME_SIGNATURE(MFXVideoVPP_QueryIOSurf);
CVX_SAME_SIGNATURE(MFXVideoVPP_Init);
CVX_SAME_SIGNATURE(MFXVideoVPP_Reset);
CVX_SAME_SIGNATURE(MFXVideoVPP_Close);
CVX_SAME_SIGNATURE(MFXVideoVPP_GetVideoParam);
CVX_SAME_SIGNATURE(MFXVideoVPP_GetVPPStat);
CVX_SAME_SIGNATURE(MFXVideoVPP_RunFrameVPPAsync);
CVX_SAME_SIGNATURE(MFXVideoUSER_Register);
CVX_SAME_SIGNATURE(MFXVideoUSER_Unregister);
CVX_SAME_SIGNATURE(MFXVideoUSER_ProcessFrameAsync);
#undef CVX_SAME_SIGNATURE

}  // namespace
