#include "video/encoders/VideoEncoderH264NVidiaCUDA2.h"

#include <cstring>
#include <new>
#include <utility>
#include <sstream>

#include "hardware/NVidiaCUDAUtils.h"
#include "logging/Guarded.h"
#include "media/CodecNumbers.h"
#include "video/encoders/FrameRateFraction.h"
#include "video/frames/VideoFrameBuffer.h"

namespace cvx {

namespace {

constexpr int32_t kNoIdrPeriod = 0x7fffffff;
constexpr int32_t kProfileMain = 0xFF4D;
constexpr int32_t kProfileBaseline = 0xFF42;

// Frame type from the delimiter's payload, the byte after a four-byte length
// and the unit's header.
uint32_t frameTypeOf(const unsigned char* data, int bytes) {
  if (bytes < 6) return 2;
  if (data[5] == 0x10) return 1;
  if (data[5] == 0x50) return 3;
  return 2;
}

}  // namespace

VideoEncoderH264NVidiaCUDA2::VideoEncoderH264NVidiaCUDA2()
    : lock(createConcurrentLock()),
      encodedFrames("VideoEncoderH264NVidiaCUDA2::getEncodedFrameCount: ",
                    "VideoEncoderH264NVidiaCUDA2::getEncodedFrames: ") {
  codec = kVideoCodecH264;
}

VideoEncoderH264NVidiaCUDA2::~VideoEncoderH264NVidiaCUDA2() noexcept(false) {
  guarded("VideoEncoderH264NVidiaCUDA2::delete: ", [&] { encoder.reset(); });
}

int VideoEncoderH264NVidiaCUDA2::setDefaults(uint32_t profile, uint32_t) {
  return guarded("VideoEncoderH264NVidiaCUDA2::setDefaults: ", [&] {
    NVCUDAEncoderParams& p = settings.params;
    p.word0 = 0;
    p.word1 = 1;
    p.forceGPUSelection = 0;
    p.surfaceFormat = kNVVESurfaceYV12;
    p.pictureStructure = 3;
    p.deviceMemPitch = 0;
    p.codecType = kNVVECodecH264;
    p.gpuCount = 0;
    p.word8 = 0;
    p.deviceMemoryInput = 0;
    p.selectedGPU = 0;
    p.aspectFloat = 0.0f;
    p.fieldEncMode = 0;
    p.pInterval = 1;
    p.idrPeriod = 72;
    p.dynamicGOP = 0;
    p.rcType = 3;
    p.qpIntra = 25;
    p.qpInterP = 28;
    p.qpInterB = 31;
    p.deblockMode = 1;
    p.profileLevel = profile == 2 ? kProfileMain : kProfileBaseline;
    p.forceIntra = 0;
    p.forceIDR = 0;
    p.clearStat = 0;
    p.setDeinterlace = 0;
    p.presets = -1;
    p.disableCABAC = 0;
    p.naluFramingType = 4;
    p.disableSPSPPS = 0;
    p.gpuOffloadLevel = kNVVEOffloadFull;
    p.gpuOffloadLevelCurrent = 0;
    std::memset(p.furtherWords, 0, sizeof(p.furtherWords));
    return 0;
  });
}

int VideoEncoderH264NVidiaCUDA2::setFrameSize(uint32_t width, uint32_t height) {
  return guarded("VideoEncoderH264NVidiaCUDA2::setFrameSize: ", [&] {
    NVCUDAEncoderParams& p = settings.params;
    p.outputSize[0] = p.inputSize[0] = p.aspectRatio[0] = static_cast<int32_t>(width);
    p.outputSize[1] = p.inputSize[1] = p.aspectRatio[1] = static_cast<int32_t>(height);
    p.aspectRatio[2] = 0;
    return 0;
  });
}

int VideoEncoderH264NVidiaCUDA2::setFrameRate(double framesPerSecond) {
  return guarded("VideoEncoderH264NVidiaCUDA2::setFrameRate: ", [&] {
    const FrameRateFraction fraction = frameRateFraction(framesPerSecond);
    settings.params.frameRate[0] = static_cast<int32_t>(fraction.denominator);
    settings.params.frameRate[1] = static_cast<int32_t>(fraction.numerator);
    frameDuration = frameDurationOf(framesPerSecond);
    return 0;
  });
}

int VideoEncoderH264NVidiaCUDA2::setBitrate(uint32_t bitsPerSecond) {
  return guarded("VideoEncoderH264NVidiaCUDA2::setBitrate: ", [&] {
    settings.params.avgBitrate = static_cast<int32_t>(bitsPerSecond);
    // Multiplied first in 32 bits: from about 34 Mbit/s on the peak wraps.
    settings.params.peakBitrate = static_cast<int32_t>(bitsPerSecond * 125u / 100u);
    return 0;
  });
}

int VideoEncoderH264NVidiaCUDA2::setKeyFrameFollow(bool) {
  return guarded("VideoEncoderH264NVidiaCUDA2::setKeyFrameFollow: ", [&] {
    // The library places no key frames of its own; the source's, passed as
    // forced IDR pictures, decide alone.
    settings.params.idrPeriod = kNoIdrPeriod;
    keyFrameFollow = true;
    return 0;
  });
}

int VideoEncoderH264NVidiaCUDA2::checkSettings() {
  return guarded("VideoEncoderH264NVidiaCUDA2::checkSettings: ", [] { return 0; });
}

int VideoEncoderH264NVidiaCUDA2::setGPUID(int id) {
  return guarded("VideoEncoderH264NVidiaCUDA2::setGPUID: ", [&] {
    gpuId = id;
    return 0;
  });
}

int VideoEncoderH264NVidiaCUDA2::initialize() {
  // The software encoder's label, as hosts have always seen it.
  return guarded("VideoEncoderH264::initialize: ", [&] {
    if (encoder != nullptr) return -1;
    NVCUDAEncoderParams& p = settings.params;
    if (gpuId >= 0) {
      const int count = NVidiaCUDAUtils::getCUDADeviceCount();
      std::ostringstream line;
      if (gpuId >= count) {
        line << "VideoEncoderH264NVidiaCUDA2.initialize[{context}]: GPUID does not exist: setGPUID: " << gpuId
             << " deviceCount: " << count;
        logError(line.str());
      } else {
        p.forceGPUSelection = 1;
        p.selectedGPU = gpuId;
        line << "VideoEncoderH264NVidiaCUDA2.initialize[{context}]: setGPUID: " << gpuId;
        logInfo(line.str());
      }
    }
    encoder.reset(new (std::nothrow) NVCUDAVideoEncoder(p));
    if (encoder == nullptr) {
      logError("VideoEncoderH264NVidiaCUDA2.initialize[{context}]: Error creating encoder");
      return 0;
    }
    encoder->setLogger(logger, contextId);
    // Each phase logs its own failure; the host learns of it from the log
    // and from frames that never come back.
    encoder->InitEncoder();
    encoder->SetEncodeParameters();
    callbacks = NVVE_CallbackParams{};
    callbacks.pfnacquirebitstream = &acquireBitstream;
    callbacks.pfnreleasebitstream = &releaseBitstream;
    callbacks.pfnonbeginframe = &onBeginFrame;
    callbacks.pfnonendframe = &onEndFrame;
    encoder->RegisterCallbacks(callbacks, this);
    encoder->CreateHWEncoder();
    return 0;
  });
}

bool VideoEncoderH264NVidiaCUDA2::acceptsFrame(const VideoFrameBuffer& frame) {
  const NVCUDAEncoderParams& p = settings.params;
  const uint8_t* plane = frame.getPlane(0);
  const uint8_t* block = frame.getBytes();
  const uint64_t needed = nvveFrameBytes(p.surfaceFormat, static_cast<int>(frame.getWidth()),
                                         frame.getPlaneStride(0), static_cast<int>(frame.getHeight()));
  const bool fits = plane != nullptr && block != nullptr && plane >= block && needed > 0 &&
                    needed <= frame.getByteCount() - static_cast<uint64_t>(plane - block) &&
                    frame.getWidth() == static_cast<uint32_t>(p.inputSize[0]) &&
                    frame.getHeight() == static_cast<uint32_t>(p.inputSize[1]);
  if (!fits && !refusing) {
    std::ostringstream line;
    line << "VideoEncoderH264NVidiaCUDA2.addFrame[{context}]: frame " << frame.getWidth() << "x"
         << frame.getHeight() << " stride " << frame.getPlaneStride(0) << " does not fit surface format "
         << p.surfaceFormat << " at " << p.inputSize[0] << "x" << p.inputSize[1];
    logError(line.str());
  }
  refusing = !fits;
  return fits;
}

int VideoEncoderH264NVidiaCUDA2::addFrame(VideoFrameBuffer& frame, uint32_t frameTypeHint) {
  return guarded("VideoEncoderH264NVidiaCUDA2::addFrame: ", [&] {
    if (refusedAfterEnd("VideoEncoderH264NVidiaCUDA2") || encoder == nullptr) return -1;
    uint32_t hint = frameTypeHint;
    if (hint == 0) hint = static_cast<uint32_t>(frame.getFrameType());
    if (!acceptsFrame(frame)) return -1;
    // An encoder that never started said why when it was initialised; its
    // frames give no output, as the library's refusals do.
    if (!encoder->isStarted()) return 0;
    const PendingFrame pending{frame.getTimecode()};
    {
      ConcurrentLockGuard guard(lock.get());
      if (pendingFrames.size() >= kMaxPendingFrames) {
        logError("VideoEncoderH264NVidiaCUDA2.addFrame[{context}]: the encoder returns no frames; frame dropped");
        return -1;
      }
      pendingFrames.push_back(pending);
    }
    const NVCUDAEncoderParams& p = settings.params;
    NVVE_EncodeFrameParams efparams = {};
    efparams.Width = static_cast<int>(frame.getWidth());
    efparams.Height = static_cast<int>(frame.getHeight());
    efparams.Pitch = frame.getPlaneStride(0);
    efparams.picBuf = frame.getPlane(0);
    efparams.SurfFmt = p.surfaceFormat;
    efparams.PictureStruc = p.pictureStructure;
    efparams.topfieldfirst = p.surfaceFormat == kNVVESurfaceYUY2 ? 1 : 0;
    efparams.repeatFirstField = 0;
    efparams.progressiveFrame = p.surfaceFormat == kNVVESurfaceNV12 ? 1 : 0;
    efparams.bLast = 0;
    // Under key frame follow the IDR period keeps the library from placing
    // key frames of its own, so this flag alone places them.
    const int status = encoder->EncodeFrame(efparams, hint == 1 ? kNVVEFrameForceIDR : 0);
    if (status != 0) {
      // A refused frame never comes back: its record must not take the
      // timecode of the next frame that does.
      {
        ConcurrentLockGuard guard(lock.get());
        pendingFrames.pop_back();
      }
      if (!encodeFailing) {
        logError(std::string("VideoEncoderH264NVidiaCUDA2.addFrame[{context}]: NVEncodeFrame failed: ") +
                 encoder->lastErrorText());
      }
    }
    encodeFailing = status != 0;
    ++frameCount;
    return 0;
  });
}

int VideoEncoderH264NVidiaCUDA2::endOfStream() {
  return guarded("VideoEncoderH264NVidiaCUDA2::endOfStream: ", [&] {
    if (!markEnded() || encoder == nullptr || !encoder->isStarted()) return 0;
    if (encoder->EndStream() != 0) {
      logError(std::string("VideoEncoderH264NVidiaCUDA2.endOfStream[{context}]: ") + encoder->lastErrorText());
      return -1;
    }
    return 0;
  });
}

std::size_t VideoEncoderH264NVidiaCUDA2::getPendingFrameCount() {
  ConcurrentLockGuard guard(lock.get());
  return pendingFrames.size();
}

uint32_t VideoEncoderH264NVidiaCUDA2::getEncodedFrameCount() { return encodedFrames.count(); }

int VideoEncoderH264NVidiaCUDA2::getEncodedFrames(std::vector<VideoFrameEncoded>& out) {
  return encodedFrames.takeAll(out);
}

unsigned char* VideoEncoderH264NVidiaCUDA2::acquireBitstream(int* bufferSize, void* user) {
  auto* self = static_cast<VideoEncoderH264NVidiaCUDA2*>(user);
  unsigned char* buffer = self != nullptr && self->encoder != nullptr ? self->encoder->getBitstreamBuffer() : nullptr;
  if (bufferSize != nullptr) *bufferSize = buffer != nullptr ? NVCUDAVideoEncoder::kBitstreamBufferSize : 0;
  return buffer;
}

void VideoEncoderH264NVidiaCUDA2::releaseBitstream(int bytes, unsigned char* data, void* user) {
  auto* self = static_cast<VideoEncoderH264NVidiaCUDA2*>(user);
  if (self == nullptr) return;
  guarded("VideoEncoderH264NVidiaCUDA2::releaseBitstream: ", [&] { self->finishFrame(bytes, data); });
}

void VideoEncoderH264NVidiaCUDA2::finishFrame(int bytes, const unsigned char* data) {
  // The copy is made outside the lock, which guards list operations only.
  EncodedBlock block;
  if (bytes > 0 && data != nullptr) block = EncodedBlock::copyOf(data, static_cast<uint32_t>(bytes));
  PendingFrame pending;
  bool paired = false;
  {
    ConcurrentLockGuard guard(lock.get());
    if (!pendingFrames.empty()) {
      // The library returns frames in submission order.
      pending = pendingFrames.front();
      pendingFrames.pop_front();
      paired = true;
    }
  }
  // A frame lost on the way (no bytes, or no memory for them) still takes
  // its record with it.
  if (!paired || !block) return;
  const uint32_t frameType = frameTypeOf(block.data(), bytes);
  encodedFrames.append(VideoFrameEncoded{std::move(block), pending.timecode, frameType});
}

void VideoEncoderH264NVidiaCUDA2::onBeginFrame(const NVVE_BeginFrameInfo*, void*) {}

void VideoEncoderH264NVidiaCUDA2::onEndFrame(const NVVE_EndFrameInfo*, void*) {}

int VideoEncoderH264NVidiaCUDA2::setParameterDouble(uint32_t settingIndex, double value) {
  return settings.setDouble(settingIndex, value);
}

int VideoEncoderH264NVidiaCUDA2::setParameterLongArray(uint32_t settingIndex, const int64_t* values,
                                                       uint32_t count) {
  return settings.setLongArray(settingIndex, values, count);
}

int VideoEncoderH264NVidiaCUDA2::setParameterLong(uint32_t settingIndex, int64_t value) {
  return settings.setLong(settingIndex, value);
}

int VideoEncoderH264NVidiaCUDA2::getParameterType(uint32_t settingIndex, uint32_t* arrayLength) {
  return settings.getType(settingIndex, arrayLength);
}

int VideoEncoderH264NVidiaCUDA2::getParameterDouble(uint32_t settingIndex, double* value) {
  return settings.getDouble(settingIndex, value);
}

int VideoEncoderH264NVidiaCUDA2::getParameterLongArray(uint32_t settingIndex, int64_t* values, uint32_t* count) {
  return settings.getLongArray(settingIndex, values, count);
}

int VideoEncoderH264NVidiaCUDA2::getParameterLong(uint32_t settingIndex, int64_t* value) {
  return settings.getLong(settingIndex, value);
}

}  // namespace cvx
