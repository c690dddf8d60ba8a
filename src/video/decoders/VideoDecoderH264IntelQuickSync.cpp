#include "video/decoders/VideoDecoderH264IntelQuickSync.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <new>
#include <sstream>
#include <thread>

#include "logging/Guarded.h"
#include "media/CodecNumbers.h"
#include "media/FourCC.h"
#include "video/frames/VideoFrameBuffer.h"

namespace cvx {

using namespace mfx;

namespace {

// Surfaces come from the decoder, are shared with the application, and live
// in system memory.
constexpr mfxU16 kSurfaceType = MFX_MEMTYPE_FROM_DECODE | MFX_MEMTYPE_EXTERNAL_FRAME | MFX_MEMTYPE_SYSTEM_MEMORY;

uint32_t pitchOf(const mfxFrameData& data) { return uint32_t{data.PitchHigh} << 16 | data.PitchLow; }

}  // namespace

VideoDecoderH264IntelQuickSync::VideoDecoderH264IntelQuickSync() { codec = kVideoCodecH264; }

VideoDecoderH264IntelQuickSync::~VideoDecoderH264IntelQuickSync() noexcept(false) { close(); }

int VideoDecoderH264IntelQuickSync::initialize() {
  // The label is the encoder's; hosts may match on it.
  return guarded("VideoEncoderH264IntelQuickSync2::initialize: ", [&] {
    if (session != nullptr) return 0;
    mfxSession opened = nullptr;
    const mfxStatus status = MFXInit(implementation, nullptr, &opened);
    // Without a runtime the decoder stays inert; the call does not say so.
    if (status < MFX_ERR_NONE || opened == nullptr) return 0;
    session.reset(opened);
    mfxIMPL impl = MFX_IMPL_AUTO;
    MFXQueryIMPL(session.get(), &impl);
    logInfo(std::string("VideoDecoderH264IntelQuickSync.initialize[{context}]: Create video decoder: ") +
            (implBaseType(impl) == MFX_IMPL_SOFTWARE ? "Software" : "Hardware"));
    decoder = std::make_unique<MFXVideoDECODE>(session.get());
    videoParam.mfx.CodecId = MFX_CODEC_AVC;
    bitstreamBlock = std::make_unique<uint8_t[]>(kBitstreamBytes);
    bitstream.Data = bitstreamBlock.get();
    bitstream.MaxLength = kBitstreamBytes;
    return 0;
  });
}

int VideoDecoderH264IntelQuickSync::setGPUID(int) {
  return guarded("VideoDecoderH264IntelQuickSync::setGPUID: ", [] { return 0; });
}

int VideoDecoderH264IntelQuickSync::close() {
  return guarded("VideoDecoderH264IntelQuickSync::close: ", [&] {
    if (decoder != nullptr) {
      decoder->Close();
      decoder.reset();
    }
    bitstreamBlock.reset();
    bitstream = mfxBitstream{};
    stagedAt = 0;
    stagedLength = 0;
    if (allocator != nullptr) allocator->Free(allocator->pthis, &allocResponse);
    allocResponse = mfxFrameAllocResponse{};
    allocator.reset();
    surfaces.clear();
    lockedPlanes.clear();
    outputSurface = nullptr;
    draining = false;
    session.reset();
    videoParam = mfxVideoParam{};
    return 0;
  });
}

bool VideoDecoderH264IntelQuickSync::isInputEmpty() {
  return bitstream.DataOffset >= bitstream.DataLength && !draining;
}

int VideoDecoderH264IntelQuickSync::endOfStream() {
  return guarded("VideoDecoderH264IntelQuickSync::endOfStream: ", [&] {
    if (inputEnded) return 0;
    inputEnded = true;
    draining = decoder != nullptr && !stopped;
    return 0;
  });
}

bool VideoDecoderH264IntelQuickSync::makeRoom(uint32_t more) {
  if (bitstream.Data == nullptr) return false;
  const uint64_t capacity = bitstream.MaxLength;
  // The SDK only moves the start of what it has not read; anything else it
  // did to these fields leaves nothing readable.
  if (bitstream.DataOffset > capacity || bitstream.DataLength > capacity - bitstream.DataOffset) {
    bitstream.DataOffset = 0;
    bitstream.DataLength = 0;
  }
  if (stagedLength > 0 && bitstream.DataOffset + uint64_t{bitstream.DataLength} > stagedAt) {
    bitstream.DataLength = stagedAt > bitstream.DataOffset ? stagedAt - bitstream.DataOffset : 0;
  }
  uint8_t* data = bitstream.Data;
  std::memmove(data, data + bitstream.DataOffset, bitstream.DataLength);
  bitstream.DataOffset = 0;
  std::memmove(data + bitstream.DataLength, data + stagedAt, stagedLength);
  stagedAt = bitstream.DataLength;
  const uint64_t needed = uint64_t{stagedAt} + stagedLength + more;
  if (needed <= capacity) return true;
  if (needed > kMaxBitstreamBytes) return false;
  const uint32_t grown = static_cast<uint32_t>(std::min<uint64_t>(kMaxBitstreamBytes, std::max(needed, capacity * 2)));
  std::unique_ptr<uint8_t[]> larger(new (std::nothrow) uint8_t[grown]);
  if (larger == nullptr) return false;
  std::memcpy(larger.get(), data, uint64_t{stagedAt} + stagedLength);
  bitstreamBlock = std::move(larger);
  bitstream.Data = bitstreamBlock.get();
  bitstream.MaxLength = grown;
  return true;
}

int VideoDecoderH264IntelQuickSync::addFrame(uint8_t* data, uint32_t offset, uint32_t length, int64_t frameTimecode,
                                             uint32_t frameKind) {
  return guarded("VideoDecoderH264IntelQuickSync::addFrame: ", [&] {
    if (refusedAfterEnd("VideoDecoderH264IntelQuickSync", "addFrame")) return -1;
    bufferList.clear();
    const int result = queueLengthPrefixedFrame("VideoDecoderH264IntelQuickSync", bufferList, data, offset, length, frameTimecode, frameKind);
    // An inert decoder has no bitstream to fill, a stopped one no use for it.
    if (bitstream.Data == nullptr || stopped) {
      bufferList.clear();
      return result;
    }
    uint64_t bytes = 0;
    for (const byteBlock& block : bufferList) bytes += block.length;
    if (bytes > kMaxBitstreamBytes || !makeRoom(static_cast<uint32_t>(bytes))) {
      bufferList.clear();
      logError("VideoDecoderH264IntelQuickSync.addFrame[{context}]: frame of " + std::to_string(bytes) +
               " bytes dropped: the bitstream holds at most " + std::to_string(kMaxBitstreamBytes));
      return -1;
    }
    uint8_t* out = bitstream.Data + stagedAt + stagedLength;
    for (const byteBlock& block : bufferList) {
      std::memcpy(out, block.data, block.length);
      out += block.length;
    }
    stagedLength += static_cast<uint32_t>(bytes);
    // The last frame's time goes with everything staged, and so does its label.
    stagedTimecode = frameTimecode;
    stagedFrameType = frameKind;
    bufferList.clear();
    return result;
  });
}

void VideoDecoderH264IntelQuickSync::fillBitstream() {
  const uint64_t timeStamp = static_cast<uint64_t>(stagedTimecode) * kTicksPerMillisecond;
  bitstream.TimeStamp = timeStamp;
  frameTypes[timeStamp] = stagedFrameType;
  if (frameTypes.size() > kMaxFrameTypes) frameTypes.erase(frameTypes.begin());
  makeRoom(0);
  bitstream.DataLength += stagedLength;
  stagedAt = bitstream.DataLength;
  stagedLength = 0;
}

int VideoDecoderH264IntelQuickSync::decodeCodecConfig(uint8_t* data, uint32_t offset, uint32_t length) {
  return guarded("VideoDecoderH264IntelQuickSync::decodeCodecConfig: ", [&] {
    if (refusedAfterEnd("VideoDecoderH264IntelQuickSync", "decodeCodecConfig")) return -1;
    if (decoder == nullptr) return 0;
    if (!readConfigurationRecord(bufferList, data, offset, length)) return 0;
    if (!firstConfig) return 0;
    // The parameter sets open the bitstream; frames added before the
    // configuration could not be decoded and are let go.
    const std::size_t headers = sps.size() + pps.size();
    std::memcpy(bitstream.Data, sps.data(), sps.size());
    std::memcpy(bitstream.Data + sps.size(), pps.data(), pps.size());
    bitstream.DataOffset = 0;
    bitstream.DataLength = static_cast<mfxU32>(headers);
    stagedAt = bitstream.DataLength;
    stagedLength = 0;
    mfxStatus status = decoder->DecodeHeader(&bitstream, &videoParam);
    const mfxFrameInfo& info = videoParam.mfx.FrameInfo;
    if (status == MFX_ERR_NONE &&
        (info.CropW == 0 || info.CropH == 0 || info.Width > kMaxDimension || info.Height > kMaxDimension)) {
      logError("VideoDecoderH264IntelQuickSync.decodeCodecConfig[{context}]: picture size " +
               std::to_string(info.Width) + "x" + std::to_string(info.Height) + " out of range");
      status = MFX_ERR_UNSUPPORTED;
    }
    if (status == MFX_ERR_NONE) {
      updateDecodeInfo();
      videoParam.IOPattern = MFX_IOPATTERN_OUT_SYSTEM_MEMORY;
      videoParam.mfx.DecodedOrder = 0;
      decoder->Init(&videoParam);
      mfxFrameAllocRequest request{};
      decoder->QueryIOSurf(&videoParam, &request);
      setUpSurfaces(request.NumFrameSuggested);
    }
    firstConfig = false;
    return 0;
  });
}

void VideoDecoderH264IntelQuickSync::setUpSurfaces(mfxU16 suggested) {
  const mfxU16 count = std::min<mfxU16>(std::max<mfxU16>(1, suggested), kMaxSurfaces);
  allocator.reset(new (std::nothrow) SysMemFrameAllocator());
  if (allocator == nullptr) {
    logError("TranscoderSession.decodeCodecConfig[{context}]: m_pMFXAllocator is NULL");
    return;
  }
  if (allocator->Init(nullptr) != MFX_ERR_NONE) {
    logError("TranscoderSession.decodeCodecConfig[{context}]: m_pMFXAllocator Init FAILED");
  }
  mfxFrameAllocRequest request{};
  request.Type = kSurfaceType;
  request.Info = videoParam.mfx.FrameInfo;
  request.NumFrameMin = count;
  request.NumFrameSuggested = count;
  if (allocator->Alloc(allocator->pthis, &request, &allocResponse) != MFX_ERR_NONE) {
    logError("TranscoderSession.decodeCodecConfig[{context}]: m_pMFXAllocator->Alloc FAILED");
    allocResponse = mfxFrameAllocResponse{};
  }
  surfaceBytes = SysMemFrameAllocator::frameBytes(request.Info);
  surfaces.assign(allocResponse.NumFrameActual, mfxFrameSurface1{});
  lockedPlanes.assign(allocResponse.NumFrameActual, mfxFrameData{});
  for (std::size_t i = 0; i < surfaces.size(); ++i) {
    surfaces[i].Info = videoParam.mfx.FrameInfo;
    if (allocator->Lock(allocator->pthis, allocResponse.mids[i], &surfaces[i].Data) != MFX_ERR_NONE) {
      logError("TranscoderSession.decodeCodecConfig[{context}]: m_pMFXAllocator->Lock FAILED");
    }
    lockedPlanes[i] = surfaces[i].Data;
  }
}

int VideoDecoderH264IntelQuickSync::findFreeSurface() const {
  for (std::size_t i = 0; i < surfaces.size(); ++i) {
    if (surfaces[i].Data.Locked == 0) return static_cast<int>(i);
  }
  return kNoSurface;
}

int VideoDecoderH264IntelQuickSync::outputIndex() const {
  if (outputSurface == nullptr || surfaces.empty()) return -1;
  const auto* first = surfaces.data();
  for (std::size_t i = 0; i < surfaces.size(); ++i) {
    if (outputSurface == first + i) return static_cast<int>(i);
  }
  return -1;
}

bool VideoDecoderH264IntelQuickSync::runRounds(uint32_t& flags) {
  for (int round = 0; round < kMaxRounds; ++round) {
    if (lastStatus < 0 && lastStatus != MFX_ERR_MORE_DATA && lastStatus != MFX_ERR_MORE_SURFACE) return true;
    if (lastStatus == MFX_WRN_DEVICE_BUSY) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    if (lastStatus == MFX_ERR_NONE || lastStatus == MFX_ERR_MORE_SURFACE) {
      currentSurface = static_cast<uint16_t>(findFreeSurface());
      if (currentSurface == kNoSurface) {
        logError("TranscoderSession.decode[{context}]: INVALID_SURF_IDX");
        return true;
      }
    }
    // With no bitstream the SDK gives out the pictures it holds, then asks
    // for more data once more: that is the end of the drain.
    bool endOfBitstream = false;
    if (lastStatus == MFX_ERR_MORE_DATA) {
      if (stagedLength > 0) {
        fillBitstream();
      } else if (draining) {
        endOfBitstream = true;
      } else {
        return true;
      }
    }
    if (decoder == nullptr || currentSurface >= surfaces.size()) return true;
    mfxSyncPoint syncPoint = nullptr;
    outputSurface = nullptr;
    lastStatus = decoder->DecodeFrameAsync(endOfBitstream ? nullptr : &bitstream, &surfaces[currentSurface],
                                           &outputSurface, &syncPoint);
    if (endOfBitstream && lastStatus == MFX_ERR_MORE_DATA) {
      draining = false;
      return true;
    }
    if (lastStatus > MFX_ERR_NONE && syncPoint != nullptr) lastStatus = MFX_ERR_NONE;
    if (lastStatus == MFX_ERR_NONE) lastStatus = MFXVideoCORE_SyncOperation(session.get(), syncPoint, kSyncWaitMs);
    if (lastStatus != MFX_ERR_NONE) continue;
    if (outputIndex() >= 0) {
      flags |= kDecodePictureReady | kDecodeParserStopped;
      return true;
    }
  }
  return false;
}

void VideoDecoderH264IntelQuickSync::stop(const std::string& why) {
  stopped = true;
  draining = false;
  bitstream.DataOffset = 0;
  bitstream.DataLength = 0;
  stagedAt = 0;
  stagedLength = 0;
  outputSurface = nullptr;
  logError("VideoDecoderH264IntelQuickSync.decode[{context}]: decoding stopped: " + why);
}

int VideoDecoderH264IntelQuickSync::decode(uint32_t& flags) {
  flags = 0;
  if (!stopped) {
    const bool settled = runRounds(flags);
    if (!settled) {
      stop("no progress in " + std::to_string(kMaxRounds) + " rounds, last status " + std::to_string(lastStatus));
    } else if (lastStatus < 0 && lastStatus != MFX_ERR_MORE_DATA && lastStatus != MFX_ERR_MORE_SURFACE) {
      stop("status " + std::to_string(lastStatus));
    }
  }
  // A drain call without a picture has met the end, or a fault: either way
  // nothing more comes, and the host's loop must end.
  if (!(flags & kDecodePictureReady)) draining = false;
  if (isInputEmpty()) flags |= kDecodeInputEmpty;
  return 0;
}

int VideoDecoderH264IntelQuickSync::getDecodedFrame(VideoFrameBuffer& frame) {
  return guarded("VideoDecoderH264IntelQuickSync::getDecodedFrame: ", [&] {
    const int index = outputIndex();
    if (index < 0) return 0;
    const uint64_t timeStamp = outputSurface->Data.TimeStamp;
    uint32_t type = 0;
    const auto found = frameTypes.find(timeStamp);
    if (found != frameTypes.end()) {
      type = found->second;
      frameTypes.erase(found);
    }
    frame.setFrameType(static_cast<int32_t>(type));
    frame.setTimecode(static_cast<int64_t>(timeStamp) / kTicksPerMillisecond);
    // A view on the surface as its lock gave it, at no more than the size it
    // was allocated at.
    const mfxFrameData& planes = lockedPlanes[static_cast<std::size_t>(index)];
    const mfxFrameInfo& allocated = videoParam.mfx.FrameInfo;
    const uint32_t width = std::min(outputSurface->Info.Width, allocated.Width);
    const uint32_t height = std::min(outputSurface->Info.Height, allocated.Height);
    const int32_t pitch = static_cast<int32_t>(pitchOf(planes));
    uint8_t* const viewPlanes[4] = {planes.Y, planes.UV, planes.V, planes.A};
    const int32_t strides[4] = {pitch, pitch >> 1, pitch >> 1, 0};
    VideoFrameBuffer view;
    if (view.attachExternal(width, height, kFourCCYV12, viewPlanes, strides, surfaceBytes) != 0) return 0;
    VideoFrameBuffer::copyNV12ToYV12(frame, view);
    view.freeBuffer();
    return 0;
  });
}

void VideoDecoderH264IntelQuickSync::updateDecodeInfo() {
  guarded("VideoDecoderH264IntelQuickSync::updateDecodeInfo: ", [&] {
    const mfxFrameInfo& info = videoParam.mfx.FrameInfo;
    const double rate = info.FrameRateExtN > 0 && info.FrameRateExtD > 0
                            ? static_cast<double>(info.FrameRateExtN) / static_cast<double>(info.FrameRateExtD)
                            : 0.0;
    setWidth(info.CropW);
    setHeight(info.CropH);
    setFrameRate(rate);
    displayHeight = info.CropH;
    displayWidth = info.CropW;
    // The ratio is a pixel shape here.
    if (info.AspectRatioW > 0 && info.AspectRatioH > 0) {
      displayWidth = static_cast<uint32_t>(uint64_t{info.CropW} * info.AspectRatioW / info.AspectRatioH);
    }
    if (logDecodeInfo) {
      std::ostringstream line;
      line << "VideoDecoderH264IntelQuickSync.updateDecodeInfo[{context}]: " << " frame:" << width << "x" << height
           << " display:" << displayWidth << "x" << displayHeight << " frameRate:" << rate;
      logInfo(line.str());
      logDecodeInfo = false;
    }
  });
}

}  // namespace cvx
