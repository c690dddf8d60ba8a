#include "session/TranscoderSession.h"

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
#include "logging/StdoutLine.h"
#include "video/decoders/IVideoDecoder.h"
#include "video/encoders/IVideoEncoder.h"

namespace cvx {

namespace {

constexpr uint32_t kFailure = static_cast<uint32_t>(-1);

// Runs a session method under its handler: "TranscoderSession::<method>: "
// and the exception's text on stdout, then -1.
template <class Body>
uint32_t guarded(const char* label, Body&& body) {
  try {
    return body();
  } catch (const std::exception& e) {
    writeStdoutLine(label, e);
    return kFailure;
  }
}

// A newly made codec and the words the creation line ends with.
template <class Codec>
struct Selection {
  std::unique_ptr<Codec> codec;
  const char* words = nullptr;
};

Selection<IVideoDecoder> selectVideoDecoder(uint32_t, uint32_t) {
  // No video decoder classes exist in this build yet.
  return {};
}

Selection<IVideoEncoder> selectVideoEncoder(uint32_t, uint32_t, bool, bool) {
  // No video encoder classes exist in this build yet.
  return {};
}

Selection<IAudioDecoder> selectAudioDecoder(uint32_t codec, uint32_t implementation) {
  switch (codec) {
    case 2:
      if (implementation == 3) return {std::make_unique<AudioDecoderMP3>(), "MP3: default"};
      return {std::make_unique<AudioDecoderMP2>(), "MPEG1 Part 1/2: default"};
    case 7: return {std::make_unique<AudioDecoderALaw>(), "G711 ALAW: default"};
    case 8: return {std::make_unique<AudioDecoderMULaw>(), "G711 MULAW: default"};
    case 10: return {std::make_unique<AudioDecoderAAC>(), "AAC: default"};
    case 11: return {std::make_unique<AudioDecoderSpeex>(), "SPEEX: default"};
    default: return {};
  }
}

Selection<IAudioEncoder> selectAudioEncoder(uint32_t codec) {
  switch (codec) {
    case 9: return {std::make_unique<AudioEncoderVorbis>(), "VORBIS: default"};
    case 10: return {std::make_unique<AudioEncoderAAC>(), "AAC: default"};
    default: return {};
  }
}

}  // namespace

TranscoderSession::TranscoderSession() {
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
  try {
    audioBuffers.reserve(audioBuffers.size() + count);
    for (uint32_t i = 0; i < count; ++i) {
      auto buffer = std::make_unique<AudioSampleBuffer>();
      audioBuffers.push_back(AudioSampleBufferSetItem{buffer.get()});
      buffer.release();
    }
    return 0;
  } catch (const std::exception& e) {
    writeStdoutLine("TranscoderSession::audioDecoderBuffersCreate: ", e);
    return static_cast<uint32_t>(-1);
  }
}

uint32_t TranscoderSession::audioDecoderBuffersAllocate(uint32_t sampleCount, uint32_t channels,
                                                        uint32_t sampleRate) {
  try {
    for (AudioSampleBufferSetItem& item : audioBuffers) {
      item.buffer->allocBuffer(sampleCount, channels, sampleRate);
    }
    return 0;
  } catch (const std::exception& e) {
    writeStdoutLine("TranscoderSession::audioDecoderBuffersAllocate: ", e);
    return static_cast<uint32_t>(-1);
  }
}

}  // namespace cvx
