#include "session/TranscoderSession.h"

#include <cmath>
#include <cstdlib>
#include <exception>
#include <memory>
#include <sstream>
#include <string>

#include "audio/decoders/AudioDecoderAAC.h"
#include "audio/decoders/AudioDecoderALaw.h"
#include "audio/decoders/AudioDecoderMP2.h"
#include "audio/decoders/AudioDecoderMP3.h"
#include "audio/decoders/AudioDecoderMULaw.h"
#include "audio/decoders/AudioDecoderSpeex.h"
#include "audio/encoders/AudioEncoderAAC.h"
#include "audio/encoders/AudioEncoderVorbis.h"
#include "audio/samples/AudioLimits.h"
#include "audio/samples/AudioSampleBuffer.h"
#include "hardware/HardwareProbe.h"
#include "logging/Guarded.h"
#include "logging/StdoutLine.h"
#include "media/CodecNumbers.h"
#include "platform/librarylog/LibraryLog.h"
#include "video/decoders/VideoDecoderH264.h"
#include "video/decoders/VideoDecoderH264IntelQuickSync.h"
#include "video/decoders/VideoDecoderMP2.h"
#include "video/decoders/VideoDecoderMP4.h"
#include "video/encoders/VideoEncoderH264.h"
#include "video/encoders/VideoEncoderH264IntelQuickSync2.h"
#include "video/encoders/VideoEncoderH264NVidiaCUDA2.h"
#include "video/encoders/VideoEncoderVPX.h"
#include "video/frames/PictureLimits.h"
#include "video/frames/VideoFrameBuffer.h"
#include "video/frames/VideoOverlayFrame.h"

namespace cvx {

namespace {

constexpr uint32_t kFailure = static_cast<uint32_t>(-1);

// A newly made codec and the words the creation line ends with.
template <class Codec>
struct Selection {
  std::unique_ptr<Codec> codec;
  const char* words = nullptr;
};

// The MPEG classes keep the number the host asked for.
template <class Decoder>
Selection<IVideoDecoder> numbered(uint32_t codec, const char* words) {
  auto decoder = std::make_unique<Decoder>();
  decoder->setCodec(codec);
  return {std::move(decoder), words};
}

Selection<IVideoDecoder> quickSyncDecoder(mfx::mfxIMPL implementation, const char* words) {
  auto decoder = std::make_unique<VideoDecoderH264IntelQuickSync>();
  decoder->setImplementation(static_cast<uint32_t>(implementation));
  return {std::move(decoder), words};
}

Selection<IVideoDecoder> selectVideoDecoder(uint32_t codec, uint32_t implementation) {
  switch (codec) {
    case kVideoCodecSorensonSpark: return numbered<VideoDecoderMP4>(codec, "SorensonSpark: default");
    case kVideoCodecH263: return numbered<VideoDecoderMP4>(codec, "H.263: default");
    case kVideoCodecMPEG4Part2: return numbered<VideoDecoderMP4>(codec, "MP4: default");
    case kVideoCodecMPEG2: return numbered<VideoDecoderMP2>(codec, "MPEG2: default");
    case kVideoCodecH264:
      // Quick Sync is made whatever the probe found: without it, its
      // initialize opens no session and the decoder stays inert.
      if (implementation == kVideoImplementationQuickSync) {
        return quickSyncDecoder(mfx::MFX_IMPL_AUTO, "H.264: QuickSync");
      }
      if (implementation == kVideoDecoderImplementationQuickSyncSoftware) {
        return quickSyncDecoder(mfx::MFX_IMPL_SOFTWARE, "H.264: QuickSync(software)");
      }
      return {std::make_unique<VideoDecoderH264>(), "H.264: default"};
    default:
      return {};
  }
}

// A hardware encoder asked for on a machine without it silently becomes the
// software one; the word "default" in the log is the only trace.
Selection<IVideoEncoder> selectVideoEncoder(uint32_t codec, uint32_t implementation, bool cuda, bool quickSync) {
  switch (codec) {
    case kVideoCodecH264:
      if (implementation == kVideoEncoderImplementationCUDA && cuda) {
        return {std::make_unique<VideoEncoderH264NVidiaCUDA2>(), "H.264: CUDA"};
      }
      if (implementation == kVideoImplementationQuickSync && quickSync) {
        return {std::make_unique<VideoEncoderH264IntelQuickSync2>(), "H.264: QuickSync"};
      }
      return {std::make_unique<VideoEncoderH264>(), "H.264: default"};
    case kVideoCodecVP8: return {std::make_unique<VideoEncoderVPX>(), "VP8: default"};
    default: return {};
  }
}

Selection<IAudioDecoder> selectAudioDecoder(uint32_t codec, uint32_t implementation) {
  switch (codec) {
    case kAudioCodecMpegAudio:
      if (implementation == kAudioImplementationMP3) return {std::make_unique<AudioDecoderMP3>(), "MP3: default"};
      return {std::make_unique<AudioDecoderMP2>(), "MPEG1 Part 1/2: default"};
    case kAudioCodecG711ALaw: return {std::make_unique<AudioDecoderALaw>(), "G711 ALAW: default"};
    case kAudioCodecG711MuLaw: return {std::make_unique<AudioDecoderMULaw>(), "G711 MULAW: default"};
    case kAudioCodecAAC: return {std::make_unique<AudioDecoderAAC>(), "AAC: default"};
    case kAudioCodecSpeex: return {std::make_unique<AudioDecoderSpeex>(), "SPEEX: default"};
    default: return {};
  }
}

Selection<IAudioEncoder> selectAudioEncoder(uint32_t codec) {
  switch (codec) {
    case kAudioCodecVorbis: return {std::make_unique<AudioEncoderVorbis>(), "VORBIS: default"};
    case kAudioCodecAAC: return {std::make_unique<AudioEncoderAAC>(), "AAC: default"};
    default: return {};
  }
}

// The progress line of a codec made by number: what was made, in words.
void logCreated(LogCollector& log, int contextType, uint32_t index, const char* method, const char* what,
                const char* words) {
  log.logLevel2(contextType, static_cast<int>(index),
                std::string("TranscoderSession.") + method + "[{context}]: Create " + what + ": " + words);
}

// A host's value refused where it enters: one fault line, and the failure.
uint32_t refused(LogCollector& log, int contextType, const std::string& statement) {
  log.logLevel3(contextType, 0, statement);
  return kFailure;
}

// How many more of something fit under a limit when `held` are there.
bool passesLimit(uint32_t count, uint32_t held, uint32_t limit) { return held > limit || count > limit - held; }

}  // namespace

TranscoderSession::TranscoderSession() {
  // The codec libraries' own messages reach the host through the log, never
  // through the server's standard error.
  routeLibraryLogs(getDefaultLogger());
  const HardwareAvailability found = probeHardware(logCollector);
  isCUDAAvailable = found.cuda ? 1 : 0;
  isQuickSyncAvailable = found.quickSync ? 1 : 0;
}

// The compressed frames go with the members, before the base deletes the
// decoder, which reads none of them on its way out.
TranscoderSession::~TranscoderSession() = default;

uint32_t TranscoderSession::videoDecoderCreate(uint32_t codec, uint32_t implementation, uint32_t newFourCC) {
  return guarded("TranscoderSession::videoDecoderCreate: ", [&]() -> uint32_t {
    fourcc = newFourCC;
    Selection<IVideoDecoder> made = selectVideoDecoder(codec, implementation);
    if (made.codec == nullptr) return kFailure;
    made.codec->setLogger(&logCollector);
    replaceVideoDecoder(std::move(made.codec));
    logCreated(logCollector, kLogContextVideoDecoder, 0, "videoDecoderCreate", "video decoder", made.words);
    return 0;
  });
}

uint32_t TranscoderSession::videoDecoderCreate(uint32_t codec, uint32_t implementation) {
  return videoDecoderCreate(codec, implementation, kDefaultFourCC);
}

uint32_t TranscoderSession::videoEncoderAdd(uint32_t codec, uint32_t implementation, uint32_t& index) {
  return guarded("TranscoderSession::videoEncoderAdd: ", [&]() -> uint32_t {
    Selection<IVideoEncoder> made =
        selectVideoEncoder(codec, implementation, isCUDAAvailable != 0, isQuickSyncAvailable != 0);
    if (made.codec == nullptr) return kFailure;
    if (videoEncoders.size() >= kMaxVideoEncoders) {
      return refused(logCollector, kLogContextVideoEncoder,
                     "TranscoderSession.videoEncoderAdd[{context}]: a session has at most " +
                         std::to_string(kMaxVideoEncoders) + " video encoders");
    }
    made.codec->setLogger(&logCollector);
    IVideoEncoder* encoder = made.codec.get();
    index = appendVideoEncoder(std::move(made.codec));
    encoder->setContextId(index);
    logCreated(logCollector, kLogContextVideoEncoder, index, "videoEncoderAdd", "video encoder", made.words);
    return 0;
  });
}

uint32_t TranscoderSession::audioDecoderCreate(uint32_t codec, uint32_t implementation, uint32_t sampleFormat) {
  return guarded("TranscoderSession::audioDecoderCreate: ", [&]() -> uint32_t {
    audioSampleFormat = sampleFormat;
    Selection<IAudioDecoder> made = selectAudioDecoder(codec, implementation);
    if (made.codec == nullptr) return kFailure;
    made.codec->setLogger(&logCollector);
    made.codec->setDecodeParameters(static_cast<int32_t>(sampleFormat));
    audioFrameHeaderSize = made.codec->getFrameHeaderSize();
    replaceAudioDecoder(std::move(made.codec));
    logCreated(logCollector, kLogContextAudioDecoder, 0, "audioDecoderCreate", "audio decoder", made.words);
    return 0;
  });
}

uint32_t TranscoderSession::audioDecoderCreate(uint32_t codec, uint32_t implementation) {
  return audioDecoderCreate(codec, implementation, kDefaultAudioSampleFormat);
}

uint32_t TranscoderSession::audioEncoderAdd(uint32_t codec, uint32_t, uint32_t& index) {
  return guarded("TranscoderSession::audioEncoderAdd: ", [&]() -> uint32_t {
    Selection<IAudioEncoder> made = selectAudioEncoder(codec);
    if (made.codec == nullptr) return kFailure;
    if (audioEncoders.size() >= kAudioMaxEncoders) {
      std::ostringstream line;
      line << "TranscoderSession.audioEncoderAdd[{context}]: a session has at most " << kAudioMaxEncoders
           << " audio encoders";
      logCollector.logLevel3(kLogContextAudioEncoder, static_cast<int>(audioEncoders.size()), line.str());
      return kFailure;
    }
    made.codec->setLogger(&logCollector);
    IAudioEncoder* encoder = made.codec.get();
    index = appendAudioEncoder(std::move(made.codec));
    encoder->setContextId(index);
    logCreated(logCollector, kLogContextAudioEncoder, index, "audioEncoderAdd", "audio encoder", made.words);
    return 0;
  });
}

namespace {

// Runs `call` on an encoder under the method's handler; no encoder (a bad
// index) is a failure.
template <class Encoder, class Call>
uint32_t onEncoder(const char* label, Encoder* encoder, Call&& call) {
  return guarded(label, [&]() -> uint32_t {
    if (encoder == nullptr) return kFailure;
    return static_cast<uint32_t>(call(*encoder));
  });
}

}  // namespace

template <class Call>
uint32_t TranscoderSession::withVideoEncoder(const char* label, uint32_t encoderIndex, Call&& call) {
  return onEncoder(label, getVideoEncoder(encoderIndex), std::forward<Call>(call));
}

template <class Call>
uint32_t TranscoderSession::withAudioEncoder(const char* label, uint32_t encoderIndex, Call&& call) {
  return onEncoder(label, getAudioEncoder(encoderIndex), std::forward<Call>(call));
}

uint32_t TranscoderSession::videoDecoderBuffersCreate(uint32_t count) {
  return guarded("TranscoderSession::videoDecoderBuffersCreate: ", [&]() -> uint32_t {
    if (passesLimit(count, decoderFrames.getCount(), kMaxDecoderFrames)) {
      return refused(logCollector, kLogContextVideoDecoder,
                     "TranscoderSession.videoDecoderBuffersCreate[{context}]: " + std::to_string(count) +
                         " more frames would pass the limit of " + std::to_string(kMaxDecoderFrames));
    }
    for (uint32_t i = 0; i < count; ++i) {
      if (decoderFrames.add() < 0) return kFailure;
    }
    return 0;
  });
}

uint32_t TranscoderSession::videoDecoderSetGPUID(int gpuId) {
  return guarded("TranscoderSession::videoDecoderSetGPUID: ", [&]() -> uint32_t {
    if (videoDecoder == nullptr) return kFailure;
    return static_cast<uint32_t>(videoDecoder->setGPUID(gpuId));
  });
}

uint32_t TranscoderSession::videoDecoderInitialize() {
  return guarded("TranscoderSession::videoDecoderInitialize: ", [&]() -> uint32_t {
    if (videoDecoder == nullptr) return kFailure;
    return static_cast<uint32_t>(videoDecoder->initialize());
  });
}

uint32_t TranscoderSession::videoDecoderDecodeCodecConfig(uint8_t* data, uint32_t offset, uint32_t length) {
  return guarded("TranscoderSession::videoDecoderDecodeCodecConfig: ", [&]() -> uint32_t {
    if (videoDecoder == nullptr || videoDecoderCheckLength(length, true) != 0) return kFailure;
    const int result = videoDecoder->decodeCodecConfig(data, offset, length);
    // Both steps run whatever the configuration's outcome.
    for (uint32_t i = 0; i < decoderFrames.getCount(); ++i) allocDecoderFrame(i, "videoDecoderDecodeCodecConfig");
    // A stream without a usable rate leaves the encoders at the rate the host set.
    const double rate = videoDecoder->getFrameRate();
    if (std::isfinite(rate) && rate > 0.0) {
      for (VideoEncoderWrapper& wrapper : videoEncoders) wrapper.encoder->setFrameRate(rate);
    }
    return static_cast<uint32_t>(result);
  });
}

uint32_t TranscoderSession::videoDecoderCheckLength(int64_t length, bool configuration) {
  return guarded("TranscoderSession::videoDecoderCheckLength: ", [&]() -> uint32_t {
    const int64_t largest = configuration ? kMaxVideoConfigLength : kMaxVideoFrameLength;
    if (length <= largest) return 0;
    std::ostringstream line;
    line << (configuration ? "TranscoderSession.videoDecoderDecodeCodecConfig[{context}]: configuration"
                           : "TranscoderSession.videoDecoderAddFrame[{context}]: frame")
         << " of " << length << " bytes refused: the largest is " << largest;
    logCollector.logLevel3(kLogContextVideoDecoder, 0, line.str());
    return kFailure;
  });
}

uint32_t TranscoderSession::videoDecoderAddFrame(MallocBlock block, uint32_t length, int64_t timecode,
                                                 uint32_t frameType) {
  return guarded("TranscoderSession::videoDecoderAddFrame: ", [&]() -> uint32_t {
    if (videoDecoder == nullptr || videoDecoderCheckLength(length, false) != 0) return kFailure;
    uint8_t* data = block.get();
    const size_t waiting = videoDecodeBlocks.count();
    const uint64_t waitingBytes = videoDecodeBlocks.bytes();
    if (!videoDecodeBlocks.keep(std::move(block), length, videoDecoder->isInputEmpty())) {
      std::ostringstream line;
      line << "TranscoderSession.videoDecoderAddFrame[{context}]: frame of " << length << " bytes refused: "
           << waiting << " frames of " << waitingBytes << " bytes wait in the decoder (at most "
           << VideoDecodeBlocks::kMaxFrames << " frames and " << VideoDecodeBlocks::kMaxBytes
           << " bytes); decode until its input is empty";
      logCollector.logLevel3(kLogContextVideoDecoder, 0, line.str());
      return kFailure;
    }
    return static_cast<uint32_t>(videoDecoder->addFrame(data, 0, length, timecode, frameType));
  });
}

void TranscoderSession::allocDecoderFrame(uint32_t index, const char* method) {
  VideoFrameBuffer* frame = getDecoderFrame(index);
  if (frame == nullptr) return;
  const uint32_t width = videoDecoder->getWidth();
  const uint32_t height = videoDecoder->getHeight();
  if (frame->allocBuffer(width, height, fourcc) == 0) return;
  std::ostringstream line;
  line << "TranscoderSession." << method << "[{context}]: no picture for frame " << index << " at " << width
       << "x" << height;
  logCollector.logLevel3(kLogContextVideoDecoder, 0, line.str());
}

uint32_t TranscoderSession::videoDecoderAddFrame(uint8_t* data, uint32_t offset, uint32_t length, int64_t timecode,
                                                 uint32_t frameType) {
  return guarded("TranscoderSession::videoDecoderAddFrame: ", [&]() -> uint32_t {
    if (videoDecoder == nullptr || videoDecoderCheckLength(length, false) != 0) return kFailure;
    return static_cast<uint32_t>(videoDecoder->addFrame(data, offset, length, timecode, frameType));
  });
}

uint32_t TranscoderSession::videoDecoderDecode(uint32_t bufferIndex, uint32_t& flags) {
  return guarded("TranscoderSession::videoDecoderDecode: ", [&]() -> uint32_t {
    if (videoDecoder == nullptr) return kFailure;
    const int result = videoDecoder->decode(flags);
    VideoFrameBuffer* frame = getDecoderFrame(bufferIndex);
    if (frame == nullptr) return kFailure;
    // A new format resizes the frame before the picture is fetched into it.
    if (flags & kDecodeSequenceChanged) allocDecoderFrame(bufferIndex, "videoDecoderDecode");
    if ((flags & kDecodePictureReady) && !(flags & kDecodePictureSkipped)) videoDecoder->getDecodedFrame(*frame);
    return static_cast<uint32_t>(result);
  });
}

uint32_t TranscoderSession::videoDecoderEndOfStream() {
  return guarded("TranscoderSession::videoDecoderEndOfStream: ", [&]() -> uint32_t {
    if (videoDecoder == nullptr) return kFailure;
    return static_cast<uint32_t>(videoDecoder->endOfStream());
  });
}

uint32_t TranscoderSession::videoDecoderTransferFrame(uint32_t bufferIndex, uint32_t setIndex) {
  return guarded("TranscoderSession::videoDecoderTransferFrame: ", [&]() -> uint32_t {
    VideoFrameBuffer* source = getDecoderFrame(bufferIndex);
    VideoFrameBufferSet* set = getEncoderBufferSet(setIndex);
    if (source == nullptr || set == nullptr) return kFailure;
    set->applyOverlays2(*source, decoderOverlays);
    for (uint32_t i = 0; i < set->getCount(); ++i) {
      VideoOverlayFrames* overlays = getRenditionOverlays(i);
      VideoFrameBuffer* destination = set->get(i)->getBuffer();
      if (overlays != nullptr && destination != nullptr) set->transferFrame(*source, *destination, *overlays);
    }
    return 0;
  });
}

uint32_t TranscoderSession::videoDecoderGetFrameBGRA(uint32_t bufferIndex, uint8_t* buffer, uint64_t capacity,
                                                     uint64_t& size, uint32_t& width, uint32_t& height,
                                                     int64_t& timecode) {
  return guarded("TranscoderSession::videoDecoderGetFrameBGRA: ", [&]() -> uint32_t {
    VideoFrameBuffer* frame = getDecoderFrame(bufferIndex);
    if (frame == nullptr) return kFailure;
    frame->getFrameBGRA(buffer, capacity, &size, &width, &height, &timecode);
    return 0;
  });
}

uint32_t TranscoderSession::videoEncoderGetFrameBGRA(uint32_t setIndex, uint32_t itemIndex, uint8_t* buffer,
                                                     uint64_t capacity, uint64_t& size, uint32_t& width,
                                                     uint32_t& height, int64_t& timecode) {
  return guarded("TranscoderSession::videoEncoderGetFrameBGRA: ", [&]() -> uint32_t {
    VideoFrameBuffer* frame = getEncoderFrame(setIndex, itemIndex);
    if (frame == nullptr) return kFailure;
    frame->getFrameBGRA(buffer, capacity, &size, &width, &height, &timecode);
    return 0;
  });
}

uint32_t TranscoderSession::videoDecoderBufferSetOverlayVideoFrame(uint32_t key,
                                                                   std::unique_ptr<VideoOverlayFrame> frame) {
  // The label names the rendition setter; hosts may match on it.
  return guarded("TranscoderSession::videoEncoderBufferSetOverlayVideoFrame: ", [&]() -> uint32_t {
    return installOverlay(decoderOverlays, key, std::move(frame), kLogContextVideoDecoder, 0);
  });
}

uint32_t TranscoderSession::videoEncoderBufferSetOverlayVideoFrame(uint32_t key, uint32_t itemIndex,
                                                                   std::unique_ptr<VideoOverlayFrame> frame) {
  return guarded("TranscoderSession::videoEncoderBufferSetOverlayVideoFrame: ", [&]() -> uint32_t {
    VideoOverlayFrames* overlays = getRenditionOverlays(itemIndex);
    if (overlays == nullptr) return 0;
    return installOverlay(*overlays, key, std::move(frame), kLogContextVideoEncoder, static_cast<int>(itemIndex));
  });
}

uint32_t TranscoderSession::installOverlay(VideoOverlayFrames& overlays, uint32_t key,
                                           std::unique_ptr<VideoOverlayFrame> frame, int contextType,
                                           int contextIndex) {
  if (frame == nullptr) {
    overlays.removeOverlay(key);
    return 0;
  }
  std::ostringstream line;
  line << "TranscoderSession.videoEncoderBufferSetOverlayVideoFrame[{context}]: overlay " << key << " ("
       << frame->getWidth() << "x" << frame->getHeight() << " code 0x" << std::hex << frame->getFourCC() << std::dec
       << ", stride " << frame->getStride() << ", " << frame->getByteCount() << " bytes, on the frame "
       << frame->getDstWidth() << "x" << frame->getDstHeight() << ")";
  // A picture its own fields do not describe is held, as the host asked,
  // and never drawn.
  const bool drawable = frame->isDrawable();
  if (!overlays.setOverlay(key, std::move(frame))) {
    line << " would pass the limit of " << kMaxOverlays << " overlays";
    logCollector.logLevel3(contextType, contextIndex, line.str());
    return kFailure;
  }
  if (!drawable) {
    line << " cannot be drawn";
    logCollector.logLevel3(contextType, contextIndex, line.str());
  }
  return 0;
}

uint32_t TranscoderSession::videoEncoderBufferSetsCreate(uint32_t count) {
  return guarded("TranscoderSession::videoEncoderBufferSetsCreate: ", [&]() -> uint32_t {
    if (passesLimit(count, static_cast<uint32_t>(encoderSets.size()), kMaxBufferSets)) {
      return refused(logCollector, kLogContextSession,
                     "TranscoderSession.videoEncoderBufferSetsCreate[{context}]: " + std::to_string(count) +
                         " more sets would pass the limit of " + std::to_string(kMaxBufferSets));
    }
    for (uint32_t i = 0; i < count; ++i) {
      encoderSets.push_back(std::make_unique<VideoFrameBufferSet>(nullptr, &pictureMemory));
    }
    return 0;
  });
}

uint32_t TranscoderSession::VideoEncoderBufferAdd(uint32_t width, uint32_t height, uint32_t scaleMode,
                                                  uint32_t newFourCC, uint32_t& index) {
  return guarded("TranscoderSession::VideoEncoderBufferAdd: ", [&]() -> uint32_t {
    // Refused before anything is added, so that every set keeps the same items.
    const std::string label = "TranscoderSession.VideoEncoderBufferAdd[{context}]: ";
    std::ostringstream described;
    described << width << "x" << height << " code 0x" << std::hex << newFourCC;
    const std::string rendition = described.str();
    if (renditionOverlays.size() >= kMaxRenditions) {
      return refused(logCollector, kLogContextSession,
                     label + "a rendition would pass the limit of " + std::to_string(kMaxRenditions));
    }
    if (isPictureSizeRefused(width, height) || !VideoFrameBuffer::isPictureCode(newFourCC)) {
      return refused(logCollector, kLogContextSession, label + "refused rendition " + rendition);
    }
    if (VideoFrameBuffer::calcBlockBytes(width, height, newFourCC) * encoderSets.size() >
        pictureMemory.getAvailable()) {
      return refused(logCollector, kLogContextSession,
                     label + "no picture memory left for rendition " + rendition + " in every set");
    }
    renditionOverlays.push_back(std::make_unique<VideoOverlayFrames>());
    for (std::unique_ptr<VideoFrameBufferSet>& set : encoderSets) {
      const int32_t added = set->add();
      if (added < 0) return kFailure;
      index = static_cast<uint32_t>(added);
      VideoFrameBuffer* buffer = set->get(index)->getBuffer();
      buffer->setScaleMode(static_cast<int32_t>(scaleMode));
      buffer->allocBuffer(width, height, newFourCC);
    }
    return 0;
  });
}

uint32_t TranscoderSession::VideoEncoderBufferAdd(uint32_t width, uint32_t height, uint32_t scaleMode,
                                                  uint32_t& index) {
  return VideoEncoderBufferAdd(width, height, scaleMode, fourcc, index);
}

uint32_t TranscoderSession::videoEncoderSetCrop(uint32_t itemIndex, const uint32_t* values, std::size_t count) {
  guarded("TranscoderSession::videoEncoderSetCrop: ", [&]() -> uint32_t {
    for (std::unique_ptr<VideoFrameBufferSet>& set : encoderSets) {
      const VideoFrameBufferSetItem* item = set->get(itemIndex);
      if (item != nullptr) item->getBuffer()->setCrop(values, count);
    }
    return 0;
  });
  // The boundary ignores this answer: the host always sees 0.
  return kFailure;
}

uint32_t TranscoderSession::videoEncoderSetSrcRect(uint32_t itemIndex, const uint32_t* values, std::size_t count) {
  guarded("TranscoderSession::videoEncoderSetSrcRect: ", [&]() -> uint32_t {
    for (std::unique_ptr<VideoFrameBufferSet>& set : encoderSets) {
      const VideoFrameBufferSetItem* item = set->get(itemIndex);
      if (item != nullptr) item->getBuffer()->setSrcRect(values, count);
    }
    return 0;
  });
  return kFailure;
}

uint32_t TranscoderSession::videoEncoderSetDefaults(uint32_t encoderIndex, uint32_t first, uint32_t second) {
  return withVideoEncoder("TranscoderSession::videoEncoderSetDefaults: ", encoderIndex,
                          [&](IVideoEncoder& e) { return e.setDefaults(first, second); });
}

uint32_t TranscoderSession::videoEncoderSetBitrate(uint32_t encoderIndex, uint32_t bitrate) {
  return withVideoEncoder("TranscoderSession::videoEncoderSetBitrate: ", encoderIndex,
                          [&](IVideoEncoder& e) { return e.setBitrate(bitrate); });
}

uint32_t TranscoderSession::videoEncoderSetFrameSize(uint32_t encoderIndex, uint32_t width, uint32_t height) {
  return withVideoEncoder("TranscoderSession::videoEncoderSetFrameSize: ", encoderIndex,
                          [&](IVideoEncoder& e) { return e.setFrameSize(width, height); });
}

uint32_t TranscoderSession::videoEncoderSetKeyFrameFollow(uint32_t encoderIndex, bool follow) {
  return withVideoEncoder("TranscoderSession::videoEncoderSetKeyFrameFollow: ", encoderIndex,
                          [&](IVideoEncoder& e) { return e.setKeyFrameFollow(follow); });
}

uint32_t TranscoderSession::videoEncoderSetFrameRate(uint32_t encoderIndex, double framesPerSecond) {
  return withVideoEncoder("TranscoderSession::videoEncoderSetFrameRate: ", encoderIndex,
                          [&](IVideoEncoder& e) { return e.setFrameRate(framesPerSecond); });
}

uint32_t TranscoderSession::videoEncoderSetGPUID(uint32_t encoderIndex, int gpuId) {
  // The label names the decoder's setter; hosts may match on it.
  return withVideoEncoder("TranscoderSession::videoDecoderSetGPUID: ", encoderIndex,
                          [&](IVideoEncoder& e) { return e.setGPUID(gpuId); });
}

uint32_t TranscoderSession::videoEncoderInitialize(uint32_t encoderIndex) {
  return withVideoEncoder("TranscoderSession::videoEncoderInitialize: ", encoderIndex,
                          [&](IVideoEncoder& e) { return e.initialize(); });
}

uint32_t TranscoderSession::videoEncoderAddFrame(uint32_t encoderIndex, uint32_t setIndex, uint32_t itemIndex,
                                                 uint32_t hint) {
  return withVideoEncoder("TranscoderSession::videoEncoderAddFrame: ", encoderIndex, [&](IVideoEncoder& e) {
    VideoFrameBuffer* frame = getEncoderFrame(setIndex, itemIndex);
    if (frame == nullptr) return -1;
    return e.addFrame(*frame, hint);
  });
}

uint32_t TranscoderSession::videoEncoderGetEncodedFrames(uint32_t encoderIndex,
                                                         std::vector<VideoFrameEncoded>& frames) {
  return withVideoEncoder("TranscoderSession::videoEncoderGetEncodedFrames: ", encoderIndex,
                          [&](IVideoEncoder& e) { return e.getEncodedFrames(frames); });
}

uint32_t TranscoderSession::videoEncoderEndOfStream(uint32_t encoderIndex) {
  return withVideoEncoder("TranscoderSession::videoEncoderEndOfStream: ", encoderIndex,
                          [](IVideoEncoder& e) { return e.endOfStream(); });
}

namespace {

// A value the audio path does not take: one level-3 line naming the method
// and what was wrong, and the failure status.
uint32_t refuseAudio(LogCollector& log, int contextType, int contextIndex, const char* method,
                     const std::string& reason) {
  log.logLevel3(contextType, contextIndex, std::string("TranscoderSession.") + method + "[{context}]: " + reason);
  return kFailure;
}

// Packets and configuration records above the limit are refused before any
// decoder sees them; `room` is the header room the boundary put in front.
bool packetTooLong(LogCollector& log, const char* method, uint32_t length, uint32_t room) {
  if (length <= uint64_t{kAudioMaxPacketBytes} + room) return false;
  std::ostringstream line;
  line << "packet of " << length - room << " bytes is above the limit of " << kAudioMaxPacketBytes;
  refuseAudio(log, kLogContextAudioDecoder, 0, method, line.str());
  return true;
}

}  // namespace

uint32_t TranscoderSession::audioDecoderInitialize() {
  return guarded("TranscoderSession::audioDecoderInitialize: ", [&]() -> uint32_t {
    if (audioDecoder == nullptr) return kFailure;
    return static_cast<uint32_t>(audioDecoder->initialize());
  });
}

uint32_t TranscoderSession::audioDecoderDecodeCodecConfig(uint8_t* data, uint32_t offset, uint32_t length) {
  return guarded("TranscoderSession::audioDecoderDecodeCodecConfig: ", [&]() -> uint32_t {
    if (audioDecoder == nullptr) return kFailure;
    if (packetTooLong(logCollector, "audioDecoderDecodeCodecConfig", length, 0)) return kFailure;
    return static_cast<uint32_t>(audioDecoder->decodeCodecConfig(data, offset, length));
  });
}

uint32_t TranscoderSession::audioDecoderIsFirstFrameDecoded() {
  return guarded("TranscoderSession::audioDecoderIsFirstFrameDecoded: ", [&]() -> uint32_t {
    if (audioDecoder == nullptr) return 0;
    return audioDecoder->isFirstFrameDecoded() ? 1 : 0;
  });
}

uint32_t TranscoderSession::audioDecoderDecodeFirstFrame(uint8_t* data, uint32_t offset, uint32_t length) {
  return guarded("TranscoderSession::audioDecoderDecodeFirstFrame: ", [&]() -> uint32_t {
    if (audioDecoder == nullptr) return kFailure;
    if (packetTooLong(logCollector, "audioDecoderDecodeFirstFrame", length, audioFrameHeaderSize)) return kFailure;
    return static_cast<uint32_t>(audioDecoder->decodeFirstFrame(data, offset, length));
  });
}

uint32_t TranscoderSession::audioDecoderDecodeFrame(uint8_t* data, uint32_t offset, uint32_t length,
                                                    uint64_t timecode, uint32_t bufferIndex) {
  return guarded("TranscoderSession::audioDecoderDecodeFrame: ", [&]() -> uint32_t {
    AudioSampleBuffer* buffer = getAudioBuffer(bufferIndex);
    if (buffer == nullptr) {
      // Tested first, so a session with neither decoder nor buffers says why.
      writeStdoutLine("TranscoderSession::audioDecoderDecodeFrame: ", "audioSampleBuffer missing");
      return kFailure;
    }
    if (audioDecoder == nullptr) return kFailure;
    if (packetTooLong(logCollector, "audioDecoderDecodeFrame", length, audioFrameHeaderSize)) return kFailure;
    return static_cast<uint32_t>(audioDecoder->decodeFrame(data, offset, length, timecode, *buffer));
  });
}

uint32_t TranscoderSession::audioDecoderResetDecodedFrameState() {
  return guarded("TranscoderSession::audioDecoderResetDecodedFrameState: ", [&]() -> uint32_t {
    if (audioDecoder == nullptr) return kFailure;
    audioDecoder->resetDecodedFrameState();
    return 0;
  });
}

uint32_t TranscoderSession::audioDecoderGetSampleRate(uint32_t& value) {
  return guarded("TranscoderSession::audioDecoderGetSampleRate: ", [&]() -> uint32_t {
    if (audioDecoder == nullptr) return kFailure;
    value = audioDecoder->getSampleRate();
    return 0;
  });
}

uint32_t TranscoderSession::audioDecoderGetChannels(uint32_t& value) {
  return guarded("TranscoderSession::audioDecoderGetChannels: ", [&]() -> uint32_t {
    if (audioDecoder == nullptr) return kFailure;
    value = audioDecoder->getChannels();
    return 0;
  });
}

template <class Describe, class Set>
uint32_t TranscoderSession::setAudioEncoderValue(const char* method, uint32_t encoderIndex, bool valid,
                                                 Describe&& describe, Set&& set) {
  const std::string label = std::string("TranscoderSession::") + method + ": ";
  return withAudioEncoder(label.c_str(), encoderIndex, [&](IAudioEncoder& e) {
    if (!valid) {
      std::ostringstream line;
      describe(line);
      return refuseAudio(logCollector, kLogContextAudioEncoder, static_cast<int>(encoderIndex), method, line.str());
    }
    set(e);
    return 0u;
  });
}

uint32_t TranscoderSession::audioEncoderSetSampleRate(uint32_t encoderIndex, uint32_t sampleRate) {
  return setAudioEncoderValue(
      "audioEncoderSetSampleRate", encoderIndex, isAudioSampleRate(sampleRate),
      [&](std::ostream& out) { out << "sample rate " << sampleRate << " is not between 1 and " << kAudioMaxSampleRate; },
      [&](IAudioEncoder& e) { e.setSampleRate(sampleRate); });
}

uint32_t TranscoderSession::audioEncoderSetChannels(uint32_t encoderIndex, uint32_t channels) {
  return setAudioEncoderValue(
      "audioEncoderSetChannels", encoderIndex, isAudioChannelCount(channels),
      [&](std::ostream& out) { out << "channel count " << channels << " is not between 1 and " << kAudioMaxChannels; },
      [&](IAudioEncoder& e) { e.setChannels(channels); });
}

uint32_t TranscoderSession::audioEncoderSetQuality(uint32_t encoderIndex, double quality) {
  return setAudioEncoderValue(
      "audioEncoderSetQuality", encoderIndex, isAudioQuality(quality),
      [&](std::ostream& out) { out << "quality " << quality << " is not a finite number"; },
      [&](IAudioEncoder& e) { e.setQuality(quality); });
}

uint32_t TranscoderSession::audioEncoderSetBitrate(uint32_t encoderIndex, uint32_t bitrate) {
  return setAudioEncoderValue(
      "audioEncoderSetBitrate", encoderIndex, bitrate <= kAudioMaxBitrate,
      [&](std::ostream& out) { out << "bit rate " << bitrate << " is above " << kAudioMaxBitrate; },
      [&](IAudioEncoder& e) { e.setBitrate(bitrate); });
}

uint32_t TranscoderSession::audioEncoderInitialize(uint32_t encoderIndex) {
  return withAudioEncoder("TranscoderSession::audioEncoderInitialize: ", encoderIndex,
                          [](IAudioEncoder& e) { return e.initialize(); });
}

uint32_t TranscoderSession::audioEncoderGetHeaders(uint32_t encoderIndex, std::vector<AudioFrameEncoded>& frames) {
  return withAudioEncoder("TranscoderSession::audioEncoderGetHeaders: ", encoderIndex,
                          [&](IAudioEncoder& e) { return e.getHeaders(frames); });
}

uint32_t TranscoderSession::audioEncoderAddSampleBuffer(uint32_t encoderIndex, uint32_t bufferIndex,
                                                        std::vector<AudioFrameEncoded>& frames) {
  return withAudioEncoder("TranscoderSession::audioEncoderAddSampleBuffer: ", encoderIndex, [&](IAudioEncoder& e) {
    AudioSampleBuffer* buffer = getAudioBuffer(bufferIndex);
    if (buffer == nullptr) return -1;
    return e.addSampleBuffer(*buffer, frames);
  });
}

uint32_t TranscoderSession::audioEncoderEndOfStream(uint32_t encoderIndex, std::vector<AudioFrameEncoded>& frames) {
  return withAudioEncoder("TranscoderSession::audioEncoderEndOfStream: ", encoderIndex,
                          [&](IAudioEncoder& e) { return e.endOfStream(frames); });
}

uint32_t TranscoderSession::audioDecoderBuffersCreate(uint32_t count) {
  return guarded("TranscoderSession::audioDecoderBuffersCreate: ", [&]() -> uint32_t {
    if (count > kAudioMaxBufferCount - audioBuffers.size()) {
      std::ostringstream line;
      line << count << " more buffers would pass the limit of " << kAudioMaxBufferCount << " (the set has "
           << audioBuffers.size() << ")";
      return refuseAudio(logCollector, kLogContextAudioDecoder, 0, "audioDecoderBuffersCreate", line.str());
    }
    audioBuffers.reserve(audioBuffers.size() + count);
    for (uint32_t i = 0; i < count; ++i) audioBuffers.push_back(std::make_unique<AudioSampleBuffer>());
    return 0;
  });
}

uint32_t TranscoderSession::audioDecoderBuffersAllocate(uint32_t sampleCount, uint32_t channels,
                                                        uint32_t sampleRate) {
  return guarded("TranscoderSession::audioDecoderBuffersAllocate: ", [&]() -> uint32_t {
    std::ostringstream line;
    if (sampleCount < 1 || sampleCount > kAudioMaxBufferSamples) {
      line << "sample count " << sampleCount << " is not between 1 and " << kAudioMaxBufferSamples;
    } else if (!isAudioChannelCount(channels)) {
      line << "channel count " << channels << " is not between 1 and " << kAudioMaxChannels;
    } else if (!isAudioSampleRate(sampleRate)) {
      line << "sample rate " << sampleRate << " is not between 1 and " << kAudioMaxSampleRate;
    } else if (uint64_t{sampleCount} * channels * 2u * audioBuffers.size() > kAudioMaxBufferSetBytes) {
      line << audioBuffers.size() << " buffers of " << sampleCount << " samples x " << channels
           << " channels pass the limit of " << kAudioMaxBufferSetBytes << " bytes for the set";
    }
    if (!line.str().empty()) {
      return refuseAudio(logCollector, kLogContextAudioDecoder, 0, "audioDecoderBuffersAllocate", line.str());
    }
    // Each buffer's own failure is its to report; the set answers 0.
    for (std::unique_ptr<AudioSampleBuffer>& buffer : audioBuffers) buffer->allocBuffer(sampleCount, channels, sampleRate);
    return 0;
  });
}

}  // namespace cvx
