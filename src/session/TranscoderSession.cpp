#include "session/TranscoderSession.h"

#include <cmath>
#include <cstdlib>
#include <exception>
#include <memory>
#include <sstream>

#include "audio/decoders/AudioDecoderAAC.h"
#include "audio/decoders/AudioDecoderALaw.h"
#include "audio/decoders/AudioDecoderMP2.h"
#include "audio/decoders/AudioDecoderMP3.h"
#include "audio/decoders/AudioDecoderMULaw.h"
#include "audio/decoders/AudioDecoderSpeex.h"
#include "audio/encoders/AudioEncoderAAC.h"
#include "audio/encoders/AudioEncoderVorbis.h"
#include "audio/samples/AudioSampleBuffer.h"
#include "hardware/HardwareProbe.h"
#include "logging/Guarded.h"
#include "logging/StdoutLine.h"
#include "media/CodecNumbers.h"
#include "platform/libavlog/LibavLogRouting.h"
#include "video/decoders/VideoDecoderH264.h"
#include "video/decoders/VideoDecoderMP2.h"
#include "video/decoders/VideoDecoderMP4.h"
#include "video/encoders/VideoEncoderH264.h"
#include "video/encoders/VideoEncoderVPX.h"
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

Selection<IVideoDecoder> selectVideoDecoder(uint32_t codec, uint32_t implementation) {
  switch (codec) {
    case kVideoCodecSorensonSpark: return numbered<VideoDecoderMP4>(codec, "SorensonSpark: default");
    case kVideoCodecH263: return numbered<VideoDecoderMP4>(codec, "H.263: default");
    case kVideoCodecMPEG4Part2: return numbered<VideoDecoderMP4>(codec, "MP4: default");
    case kVideoCodecMPEG2: return numbered<VideoDecoderMP2>(codec, "MPEG2: default");
    case kVideoCodecH264:
      // Implementations 1 and 2 name the hardware decoder, which this build
      // does not have: they answer as an unknown codec.
      if (implementation == kVideoImplementationQuickSync ||
          implementation == kVideoDecoderImplementationQuickSyncSoftware) {
        return {};
      }
      return {std::make_unique<VideoDecoderH264>(), "H.264: default"};
    default:
      return {};
  }
}

// A hardware encoder asked for on a machine without it silently becomes the
// software one; the word "default" in the log is the only trace.
Selection<IVideoEncoder> selectVideoEncoder(uint32_t codec, uint32_t, bool, bool) {
  switch (codec) {
    case kVideoCodecH264: return {std::make_unique<VideoEncoderH264>(), "H.264: default"};
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

// An encoder list at its bound refuses the next encoder, with the reason in the log.
bool encoderRoomLeft(std::size_t count, LogCollector& log, const char* method, const char* kind) {
  if (count < TranscoderSession::kMaxEncoders) return true;
  std::ostringstream line;
  line << "TranscoderSession." << method << "[{context}]: refused: a session holds at most "
       << TranscoderSession::kMaxEncoders << " " << kind << " encoders";
  log.logLevel3(kLogContextSession, 0, line.str());
  return false;
}

}  // namespace

TranscoderSession::TranscoderSession() {
  // The codec libraries' own messages reach the host through the log, never
  // through the server's standard error.
  routeLibavMessages(*getDefaultLogger());
  const HardwareAvailability found = probeHardware(logCollector);
  isCUDAAvailable = found.cuda ? 1 : 0;
  isQuickSyncAvailable = found.quickSync ? 1 : 0;
}

TranscoderSession::~TranscoderSession() {
  try {
    std::free(currVideoDecodeBuffer);
  } catch (const std::exception& e) {
    writeStdoutLine("TranscoderSession::destructor[currVideoDecodeBuffer]: ", e);
  }
  currVideoDecodeBuffer = nullptr;
}

uint8_t* TranscoderSession::swapCurrVideoDecodeBuffer(uint8_t* buffer) {
  uint8_t* previous = currVideoDecodeBuffer;
  currVideoDecodeBuffer = buffer;
  return previous;
}

uint32_t TranscoderSession::videoDecoderCreate(uint32_t codec, uint32_t implementation, uint32_t newFourCC) {
  return guarded("TranscoderSession::videoDecoderCreate: ", [&]() -> uint32_t {
    fourcc = newFourCC;
    Selection<IVideoDecoder> made = selectVideoDecoder(codec, implementation);
    if (made.codec == nullptr) return kFailure;
    made.codec->setLogger(&logCollector);
    std::ostringstream line;
    line << "TranscoderSession.videoDecoderCreate[{context}]: Create video decoder: " << made.words;
    replaceVideoDecoder(made.codec.release());
    logCollector.logLevel2(kLogContextVideoDecoder, 0, line.str());
    return 0;
  });
}

uint32_t TranscoderSession::videoDecoderCreate(uint32_t codec, uint32_t implementation) {
  return videoDecoderCreate(codec, implementation, kDefaultFourCC);
}

uint32_t TranscoderSession::videoEncoderAdd(uint32_t codec, uint32_t implementation, uint32_t& index) {
  return guarded("TranscoderSession::videoEncoderAdd: ", [&]() -> uint32_t {
    if (!encoderRoomLeft(videoEncoders.size(), logCollector, "videoEncoderAdd", "video")) return kFailure;
    Selection<IVideoEncoder> made =
        selectVideoEncoder(codec, implementation, isCUDAAvailable != 0, isQuickSyncAvailable != 0);
    if (made.codec == nullptr) return kFailure;
    made.codec->setLogger(&logCollector);
    videoEncoders.reserve(videoEncoders.size() + 1);
    index = appendVideoEncoder(made.codec.get());
    IVideoEncoder* encoder = made.codec.release();
    encoder->setContextId(index);
    std::ostringstream line;
    line << "TranscoderSession.videoEncoderAdd[{context}]: Create video encoder: " << made.words;
    logCollector.logLevel2(kLogContextVideoEncoder, static_cast<int>(index), line.str());
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
    std::ostringstream line;
    line << "TranscoderSession.audioDecoderCreate[{context}]: Create audio decoder: " << made.words;
    replaceAudioDecoder(made.codec.release());
    logCollector.logLevel2(kLogContextAudioDecoder, 0, line.str());
    return 0;
  });
}

uint32_t TranscoderSession::audioDecoderCreate(uint32_t codec, uint32_t implementation) {
  return audioDecoderCreate(codec, implementation, 2);
}

uint32_t TranscoderSession::audioEncoderAdd(uint32_t codec, uint32_t, uint32_t& index) {
  return guarded("TranscoderSession::audioEncoderAdd: ", [&]() -> uint32_t {
    if (!encoderRoomLeft(audioEncoders.size(), logCollector, "audioEncoderAdd", "audio")) return kFailure;
    Selection<IAudioEncoder> made = selectAudioEncoder(codec);
    if (made.codec == nullptr) return kFailure;
    made.codec->setLogger(&logCollector);
    audioEncoders.reserve(audioEncoders.size() + 1);
    index = appendAudioEncoder(made.codec.get());
    IAudioEncoder* encoder = made.codec.release();
    encoder->setContextId(index);
    std::ostringstream line;
    line << "TranscoderSession.audioEncoderAdd[{context}]: Create audio encoder: " << made.words;
    logCollector.logLevel2(kLogContextAudioEncoder, static_cast<int>(index), line.str());
    return 0;
  });
}

template <class Call>
uint32_t TranscoderSession::withVideoEncoder(const char* label, uint32_t encoderIndex, Call&& call) {
  return guarded(label, [&]() -> uint32_t {
    IVideoEncoder* encoder = getVideoEncoder(encoderIndex);
    if (encoder == nullptr) return kFailure;
    return static_cast<uint32_t>(call(*encoder));
  });
}

uint32_t TranscoderSession::videoDecoderBuffersCreate(uint32_t count) {
  return guarded("TranscoderSession::videoDecoderBuffersCreate: ", [&]() -> uint32_t {
    for (uint32_t i = 0; i < count; ++i) decoderFrames.add();
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
    if (videoDecoder == nullptr) return kFailure;
    const int result = videoDecoder->decodeCodecConfig(data, offset, length);
    // Both steps run whatever the configuration's outcome.
    for (uint32_t i = 0; i < decoderFrames.getCount(); ++i) {
      getDecoderFrame(i)->allocBuffer(videoDecoder->getWidth(), videoDecoder->getHeight(), fourcc);
    }
    // A stream without a usable rate leaves the encoders at the rate the host set.
    const double rate = videoDecoder->getFrameRate();
    if (std::isfinite(rate) && rate > 0.0) {
      for (VideoEncoderWrapper& wrapper : videoEncoders) wrapper.encoder->setFrameRate(rate);
    }
    return static_cast<uint32_t>(result);
  });
}

uint32_t TranscoderSession::videoDecoderAddFrame(uint8_t* data, uint32_t offset, uint32_t length, int64_t timecode,
                                                 uint32_t frameType) {
  return guarded("TranscoderSession::videoDecoderAddFrame: ", [&]() -> uint32_t {
    if (videoDecoder == nullptr) return kFailure;
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
    if (flags & kDecodeSequenceChanged) frame->allocBuffer(videoDecoder->getWidth(), videoDecoder->getHeight(), fourcc);
    if ((flags & kDecodePictureReady) && !(flags & kDecodePictureSkipped)) videoDecoder->getDecodedFrame(*frame);
    return static_cast<uint32_t>(result);
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
    if (frame != nullptr) {
      decoderOverlays.setOverlay(key, std::move(frame));
    } else {
      decoderOverlays.removeOverlay(key);
    }
    return 0;
  });
}

uint32_t TranscoderSession::videoEncoderBufferSetOverlayVideoFrame(uint32_t key, uint32_t itemIndex,
                                                                   std::unique_ptr<VideoOverlayFrame> frame) {
  return guarded("TranscoderSession::videoEncoderBufferSetOverlayVideoFrame: ", [&]() -> uint32_t {
    VideoOverlayFrames* overlays = getRenditionOverlays(itemIndex);
    if (overlays == nullptr) return 0;
    if (frame != nullptr) {
      overlays->setOverlay(key, std::move(frame));
    } else {
      overlays->removeOverlay(key);
    }
    return 0;
  });
}

uint32_t TranscoderSession::videoEncoderBufferSetsCreate(uint32_t count) {
  return guarded("TranscoderSession::videoEncoderBufferSetsCreate: ", [&]() -> uint32_t {
    for (uint32_t i = 0; i < count; ++i) encoderSets.push_back(std::make_unique<VideoFrameBufferSet>());
    return 0;
  });
}

uint32_t TranscoderSession::VideoEncoderBufferAdd(uint32_t width, uint32_t height, uint32_t scaleMode,
                                                  uint32_t newFourCC, uint32_t& index) {
  return guarded("TranscoderSession::VideoEncoderBufferAdd: ", [&]() -> uint32_t {
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

uint32_t TranscoderSession::audioDecoderInitialize() {
  return guarded("TranscoderSession::audioDecoderInitialize: ", [&]() -> uint32_t {
    if (audioDecoder == nullptr) return kFailure;
    return static_cast<uint32_t>(audioDecoder->initialize());
  });
}

uint32_t TranscoderSession::audioDecoderDecodeCodecConfig(uint8_t* data, uint32_t offset, uint32_t length) {
  return guarded("TranscoderSession::audioDecoderDecodeCodecConfig: ", [&]() -> uint32_t {
    if (audioDecoder == nullptr) return kFailure;
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

uint32_t TranscoderSession::audioEncoderSetSampleRate(uint32_t encoderIndex, uint32_t sampleRate) {
  return guarded("TranscoderSession::audioEncoderSetSampleRate: ", [&]() -> uint32_t {
    IAudioEncoder* encoder = getAudioEncoder(encoderIndex);
    if (encoder == nullptr) return kFailure;
    encoder->setSampleRate(sampleRate);
    return 0;
  });
}

uint32_t TranscoderSession::audioEncoderSetChannels(uint32_t encoderIndex, uint32_t channels) {
  return guarded("TranscoderSession::audioEncoderSetChannels: ", [&]() -> uint32_t {
    IAudioEncoder* encoder = getAudioEncoder(encoderIndex);
    if (encoder == nullptr) return kFailure;
    encoder->setChannels(channels);
    return 0;
  });
}

uint32_t TranscoderSession::audioEncoderSetQuality(uint32_t encoderIndex, double quality) {
  return guarded("TranscoderSession::audioEncoderSetQuality: ", [&]() -> uint32_t {
    IAudioEncoder* encoder = getAudioEncoder(encoderIndex);
    if (encoder == nullptr) return kFailure;
    encoder->setQuality(quality);
    return 0;
  });
}

uint32_t TranscoderSession::audioEncoderSetBitrate(uint32_t encoderIndex, uint32_t bitrate) {
  return guarded("TranscoderSession::audioEncoderSetBitrate: ", [&]() -> uint32_t {
    IAudioEncoder* encoder = getAudioEncoder(encoderIndex);
    if (encoder == nullptr) return kFailure;
    encoder->setBitrate(bitrate);
    return 0;
  });
}

uint32_t TranscoderSession::audioEncoderInitialize(uint32_t encoderIndex) {
  return guarded("TranscoderSession::audioEncoderInitialize: ", [&]() -> uint32_t {
    IAudioEncoder* encoder = getAudioEncoder(encoderIndex);
    if (encoder == nullptr) return kFailure;
    return static_cast<uint32_t>(encoder->initialize());
  });
}

uint32_t TranscoderSession::audioEncoderGetHeaders(uint32_t encoderIndex, std::vector<AudioFrameEncoded>& frames) {
  return guarded("TranscoderSession::audioEncoderGetHeaders: ", [&]() -> uint32_t {
    IAudioEncoder* encoder = getAudioEncoder(encoderIndex);
    if (encoder == nullptr) return kFailure;
    return static_cast<uint32_t>(encoder->getHeaders(frames));
  });
}

uint32_t TranscoderSession::audioEncoderAddSampleBuffer(uint32_t encoderIndex, uint32_t bufferIndex,
                                                        std::vector<AudioFrameEncoded>& frames) {
  return guarded("TranscoderSession::audioEncoderAddSampleBuffer: ", [&]() -> uint32_t {
    IAudioEncoder* encoder = getAudioEncoder(encoderIndex);
    if (encoder == nullptr) return kFailure;
    AudioSampleBuffer* buffer = getAudioBuffer(bufferIndex);
    if (buffer == nullptr) return kFailure;
    return static_cast<uint32_t>(encoder->addSampleBuffer(*buffer, frames));
  });
}

uint32_t TranscoderSession::audioDecoderBuffersCreate(uint32_t count) {
  return guarded("TranscoderSession::audioDecoderBuffersCreate: ", [&]() -> uint32_t {
    audioBuffers.reserve(audioBuffers.size() + count);
    for (uint32_t i = 0; i < count; ++i) audioBuffers.push_back(AudioSampleBufferSetItem{new AudioSampleBuffer()});
    return 0;
  });
}

uint32_t TranscoderSession::audioDecoderBuffersAllocate(uint32_t sampleCount, uint32_t channels,
                                                        uint32_t sampleRate) {
  return guarded("TranscoderSession::audioDecoderBuffersAllocate: ", [&]() -> uint32_t {
    // Each buffer's own failure is its to report; the set answers 0.
    for (AudioSampleBufferSetItem& item : audioBuffers) item.buffer->allocBuffer(sampleCount, channels, sampleRate);
    return 0;
  });
}

}  // namespace cvx
