#include "video/encoders/VideoEncoderH264IntelQuickSync2.h"

#include <chrono>
#include <cmath>
#include <new>
#include <sstream>
#include <thread>

#include "logging/Guarded.h"
#include "media/CodecNumbers.h"
#include "media/FourCC.h"
#include "video/encoders/QuickSyncAccessUnits.h"

namespace cvx {

using namespace mfx;

namespace {

constexpr uint32_t kSettingCodecId = 20000;
// P and a reference; or I, a reference and IDR.
constexpr mfxU16 kPredictedType = MFX_FRAMETYPE_P | MFX_FRAMETYPE_REF;
constexpr mfxU16 kKeyType = MFX_FRAMETYPE_I | MFX_FRAMETYPE_REF | MFX_FRAMETYPE_IDR;

// The setting table: each number from 20001 names a 16-bit field of the SDK's
// parameters (20000 is the 32-bit codec id). Where the SDK's fields share
// their place, two numbers name it.
mfxU16* settingField(mfxInfoMFX& m, uint32_t index) {
  switch (index) {
    case 20001: return &m.CodecProfile;
    case 20002: return &m.CodecLevel;
    case 20003: return &m.NumThread;
    case 20004: return &m.TargetUsage;
    case 20005: return &m.GopPicSize;
    case 20006: return &m.GopRefDist;
    case 20007: return &m.GopOptFlag;
    case 20008: return &m.IdrInterval;
    case 20009: return &m.RateControlMethod;
    case 20010:
    case 20011: return &m.InitialDelayInKB;  // also QPI
    case 20012: return &m.BufferSizeInKB;
    case 20013:
    case 20014: return &m.TargetKbps;  // also QPP
    case 20015:
    case 20016: return &m.MaxKbps;  // also QPB
    case 20017: return &m.NumSlice;
    case 20018: return &m.NumRefFrame;
    case 20019: return &m.EncodedOrder;
    default: return nullptr;
  }
}

// A rate as the SDK's fraction: whole rates over 1, NTSC rates over 1001,
// anything else in ten-thousandths.
void toFraction(double rate, mfxU32& numerator, mfxU32& denominator) {
  double n = std::trunc(rate + 0.5);
  if (std::fabs(n - rate) < 0.0001) {
    numerator = static_cast<mfxU32>(n);
    denominator = 1;
    return;
  }
  n = std::trunc(rate * 1.001 + 0.5);
  if (std::fabs(n * 1000 - rate * 1001) < 10) {
    numerator = static_cast<mfxU32>(n) * 1000;
    denominator = 1001;
    return;
  }
  numerator = static_cast<mfxU32>(std::trunc(rate * 10000 + 0.5));
  denominator = 10000;
}

void setPitch(mfxFrameData& data, uint32_t pitch) {
  data.PitchLow = static_cast<mfxU16>(pitch & 0xFFFF);
  data.PitchHigh = static_cast<mfxU16>(pitch >> 16);
}

}  // namespace

VideoEncoderH264IntelQuickSync2::VideoEncoderH264IntelQuickSync2() {
  codec = kVideoCodecH264;
  guarded("VideoEncoderH264IntelQuickSync2::constructor: ", [&] {
    // Not tested: without a session every operation does nothing or fails softly.
    mfxSession opened = nullptr;
    MFXInit(MFX_IMPL_AUTO, nullptr, &opened);
    session.reset(opened);
  });
}

VideoEncoderH264IntelQuickSync2::~VideoEncoderH264IntelQuickSync2() noexcept(false) {
  guarded("VideoEncoderH264IntelQuickSync2::delete: ", [&] {
    if (encoder != nullptr) {
      encoder->Close();
      encoder.reset();
    }
    bitstreamBlock.reset();
    session.reset();
    // Frames the host never took go with the list.
    encodedFrames.clear();
  });
}

int VideoEncoderH264IntelQuickSync2::setDefaults(uint32_t first, uint32_t) {
  return guarded("VideoEncoderH264IntelQuickSync2::setDefaults: ", [&] {
    mfxInfoMFX& m = encodeParams.mfx;
    m.CodecId = MFX_CODEC_AVC;
    m.CodecProfile = first == 2 ? MFX_PROFILE_AVC_MAIN : MFX_PROFILE_AVC_BASELINE;
    m.NumThread = 0;
    m.TargetUsage = MFX_TARGETUSAGE_BALANCED;
    m.GopPicSize = 0;
    m.GopRefDist = 1;
    m.GopOptFlag = MFX_GOP_CLOSED;
    m.RateControlMethod = MFX_RATECONTROL_VBR;
    m.EncodedOrder = 1;
    encodeParams.IOPattern = MFX_IOPATTERN_IN_SYSTEM_MEMORY;
    m.FrameInfo.FourCC = MFX_FOURCC_NV12;
    m.FrameInfo.ChromaFormat = MFX_CHROMAFORMAT_YUV420;
    m.FrameInfo.PicStruct = MFX_PICSTRUCT_PROGRESSIVE;
    return 0;
  });
}

int VideoEncoderH264IntelQuickSync2::setFrameSize(uint32_t width, uint32_t height) {
  return guarded("VideoEncoderH264IntelQuickSync2::setFrameSize: ", [&] {
    if (width > kMaxDimension || height > kMaxDimension) {
      logError("VideoEncoderH264IntelQuickSync2.setFrameSize[{context}]: " + std::to_string(width) + "x" +
               std::to_string(height) + " is larger than " + std::to_string(kMaxDimension) + " in a direction");
      return -1;
    }
    mfxFrameInfo& info = encodeParams.mfx.FrameInfo;
    info.Width = static_cast<mfxU16>((width + 15) & ~15u);
    info.Height = static_cast<mfxU16>((height + 15) & 0xfff0u);
    info.CropX = 0;
    info.CropY = 0;
    info.CropW = static_cast<mfxU16>(width);
    info.CropH = static_cast<mfxU16>(height);
    return 0;
  });
}

int VideoEncoderH264IntelQuickSync2::setFrameRate(double framesPerSecond) {
  return guarded("VideoEncoderH264IntelQuickSync2::setFrameRate: ", [&] {
    if (!(framesPerSecond > 0.0 && framesPerSecond <= kMaxFrameRate)) {
      std::ostringstream line;
      line << "VideoEncoderH264IntelQuickSync2.setFrameRate[{context}]: frame rate " << framesPerSecond
           << " outside (0, " << kMaxFrameRate << "]";
      logError(line.str());
      return -1;
    }
    toFraction(framesPerSecond, encodeParams.mfx.FrameInfo.FrameRateExtN, encodeParams.mfx.FrameInfo.FrameRateExtD);
    frameDuration = static_cast<uint64_t>(std::floor(1000.0 / framesPerSecond + 0.5));
    return 0;
  });
}

int VideoEncoderH264IntelQuickSync2::setBitrate(uint32_t bitsPerSecond) {
  return guarded("VideoEncoderH264IntelQuickSync2::setBitrate: ", [&] {
    encodeParams.mfx.TargetKbps = static_cast<mfxU16>(bitsPerSecond / 1000);
    return 0;
  });
}

int VideoEncoderH264IntelQuickSync2::setKeyFrameFollow(bool) {
  return guarded("VideoEncoderH264IntelQuickSync2::setKeyFrameFollow: ", [&] {
    keyFrameFollow = true;
    return 0;
  });
}

int VideoEncoderH264IntelQuickSync2::checkSettings() {
  return guarded("VideoEncoderH264IntelQuickSync2::checkSettings: ", [] { return 0; });
}

int VideoEncoderH264IntelQuickSync2::setGPUID(int) {
  return guarded("VideoEncoderH264IntelQuickSync2::setGPUID: ", [] { return 0; });
}

int VideoEncoderH264IntelQuickSync2::initialize() {
  return guarded("VideoEncoderH264IntelQuickSync2::initialize: ", [&] {
    surface.Info = encodeParams.mfx.FrameInfo;
    if (session == nullptr || encoder != nullptr) return 0;
    mfxIMPL impl = MFX_IMPL_AUTO;
    MFXQueryIMPL(session.get(), &impl);
    logInfo(std::string("VideoEncoderH264IntelQuickSync2.initialize[{context}]: Create video encoder: ") +
            (implBaseType(impl) == MFX_IMPL_SOFTWARE ? "Software" : "Hardware"));
    encoder.reset(new (std::nothrow) MFXVideoENCODE(session.get()));
    if (encoder == nullptr) {
      logError("VideoEncoderH264IntelQuickSync2.initialize[{context}]: Encoder creation failed");
      return 0;
    }
    // One staging surface in system memory: the request makes no pool, and
    // the answers are the SDK's to act on.
    mfxFrameAllocRequest request{};
    encoder->QueryIOSurf(&encodeParams, &request);
    encoder->Init(&encodeParams);
    reallocBuffer();
    return 0;
  });
}

bool VideoEncoderH264IntelQuickSync2::reallocBuffer() {
  return guarded("VideoEncoderH264IntelQuickSync2::reallocBuffer: ", [&] {
    if (session == nullptr || encoder == nullptr) return false;
    mfxVideoParam current{};
    if (encoder->GetVideoParam(&current) != MFX_ERR_NONE) return false;
    const mfxU32 size = (mfxU32{current.mfx.BufferSizeInKB} + 20) << 10;
    if (bitstreamBlock != nullptr && size <= bitstream.MaxLength) return false;
    bitstreamBlock.reset();
    bitstream.Data = nullptr;
    bitstream.MaxLength = 0;
    bitstreamBlock = std::make_unique<uint8_t[]>(size);
    bitstream.Data = bitstreamBlock.get();
    bitstream.MaxLength = size;
    bitstream.DataOffset = 0;
    bitstream.DataLength = 0;
    return true;
  }, false);
}

int VideoEncoderH264IntelQuickSync2::addFrame(VideoFrameBuffer& frame, uint32_t frameTypeHint) {
  return guarded("VideoEncoderH264IntelQuickSync2::addFrame: ", [&] {
    if (refusedAfterEnd("VideoEncoderH264IntelQuickSync2") || session == nullptr || encoder == nullptr) return -1;
    const mfxFrameInfo& info = encodeParams.mfx.FrameInfo;
    work.allocBuffer(info.Width, info.Height, kFourCCYV12);
    // A size the staging frame cannot take, or a frame that does not fit it,
    // never reaches the SDK.
    if (work.getPlane(0) == nullptr || VideoFrameBuffer::copyYV12ToNV12(work, frame) != 0) return -1;

    surface.Data.TimeStamp = static_cast<uint64_t>(frame.getTimecode()) * kTicksPerMillisecond;
    surface.Data.FrameOrder = frameOrder++;
    setPitch(surface.Data, static_cast<uint32_t>(work.getPlaneStride(0)));
    surface.Data.Y = work.getPlane(0);
    surface.Data.U = work.getPlane(1);
    surface.Data.V = work.getPlane(2);
    surface.Data.A = work.getPlane(3);

    const uint32_t hint = frameTypeHint != 0 ? frameTypeHint : static_cast<uint32_t>(frame.getFrameType());
    // In encoded order this is what decides the frame's type.
    encodeCtrl.FrameType = keyFrameFollow && hint == 1 ? kKeyType : kPredictedType;

    encodeWithRetries(&encodeCtrl, &surface);
    takeOutput();
    return 0;
  });
}

mfxStatus VideoEncoderH264IntelQuickSync2::encodeWithRetries(mfxEncodeCtrl* control, mfxFrameSurface1* input) {
  mfxStatus status = MFX_ERR_NONE;
  for (int retries = 0; retries < kMaxRetries; ++retries) {
    status = encoder->EncodeFrameAsync(control, input, &bitstream, &syncPoint);
    if (status > MFX_ERR_NONE && syncPoint == nullptr) {
      if (status == MFX_WRN_DEVICE_BUSY) std::this_thread::sleep_for(std::chrono::milliseconds(1));
      continue;
    }
    // A larger buffer is worth one more try; the same size again is not.
    if (status == MFX_ERR_NOT_ENOUGH_BUFFER && reallocBuffer()) continue;
    break;
  }
  return status;
}

void VideoEncoderH264IntelQuickSync2::takeOutput() {
  bool synced = false;
  if (syncPoint != nullptr && MFXVideoCORE_SyncOperation(session.get(), syncPoint, kSyncWaitMs) == MFX_ERR_NONE) {
    syncPoint = nullptr;
    synced = true;
  }
  // The SDK's own view of where its output lies is checked against the buffer.
  const uint64_t end = uint64_t{bitstream.DataOffset} + bitstream.DataLength;
  if (synced && bitstream.Data != nullptr && bitstream.DataLength > 0 && end <= bitstream.MaxLength) {
    // The SDK gives back the time stamp of the frame the output is of, also
    // for a frame it held.
    frameCountEncoded += QuickSyncAccessUnits::rebuild(bitstream.Data + bitstream.DataOffset, bitstream.DataLength,
                                                       static_cast<int64_t>(bitstream.TimeStamp) / kTicksPerMillisecond,
                                                       encodedFrames);
  }
  bitstream.DataOffset = 0;
  bitstream.DataLength = 0;
  bitstream.TimeStamp = 0;
}

int VideoEncoderH264IntelQuickSync2::endOfStream() {
  return guarded("VideoEncoderH264IntelQuickSync2::endOfStream: ", [&] {
    if (!markEnded() || session == nullptr || encoder == nullptr) return 0;
    // A runtime that keeps answering with output is stopped by the bound: it
    // cannot hold more frames than it was ever given.
    for (uint32_t held = 0; held <= frameOrder; ++held) {
      const mfxStatus status = encodeWithRetries(nullptr, nullptr);
      if (status == MFX_ERR_MORE_DATA) return 0;
      if (status < MFX_ERR_NONE) {
        logError("VideoEncoderH264IntelQuickSync2.endOfStream[{context}]: the last frames failed: status " +
                 std::to_string(static_cast<int>(status)));
        return -1;
      }
      takeOutput();
    }
    return 0;
  });
}

uint32_t VideoEncoderH264IntelQuickSync2::getEncodedFrameCount() { return static_cast<uint32_t>(encodedFrames.size()); }

int VideoEncoderH264IntelQuickSync2::getEncodedFrames(std::vector<VideoFrameEncoded>& out) {
  return guarded("VideoEncoderH264IntelQuickSync2::getEncodedFrames: ", [&] {
    moveFrames(encodedFrames, out);
    return 0;
  });
}

int VideoEncoderH264IntelQuickSync2::setParameterLong(uint32_t settingIndex, int64_t value) {
  if (settingIndex == kSettingCodecId) {
    encodeParams.mfx.CodecId = static_cast<mfxU32>(value);
  } else if (mfxU16* field = settingField(encodeParams.mfx, settingIndex)) {
    *field = static_cast<mfxU16>(value);
  }
  return 0;
}

int VideoEncoderH264IntelQuickSync2::getParameterType(uint32_t settingIndex, uint32_t* arrayLength) {
  if (arrayLength != nullptr) *arrayLength = 0;
  return settingIndex >= kFirstSetting && settingIndex <= kLastSetting ? kParameterLong : kParameterUnknown;
}

int VideoEncoderH264IntelQuickSync2::getParameterLong(uint32_t settingIndex, int64_t* value) {
  if (value == nullptr) return 0;
  *value = 0;
  if (settingIndex == kSettingCodecId) {
    *value = encodeParams.mfx.CodecId;
  } else if (const mfxU16* field = settingField(encodeParams.mfx, settingIndex)) {
    *value = *field;
  }
  return 0;
}

}  // namespace cvx
