#include "audio/decoders/AudioDecoderAAC.h"

#include <cstring>
#include <sstream>
#include <string>

#include "audio/samples/AudioSampleBuffer.h"
#include "audio/decoders/AudioSpecificConfig.h"
#include "logging/Guarded.h"
#include "media/CodecNumbers.h"
#include "platform/audiocodecs/AacSampleRates.h"

namespace cvx {

namespace {

constexpr const char* kObjectTypeNames[32] = {
    "Null",         "AAC Main",           "AAC LC",
    "AAC SSR",      "AAC LTP",            "SBR",
    "AAC Scalable", "TwinVQ",             "CELP",
    "HVXC",         "Reserved 10",        "Reserved 11",
    "TTSI",         "Main synthetic",     "Wavetable synthesis",
    "General MIDI", "Algorithmic synthesis and audio FX", "ER AAC LC",
    "Reserved 18",  "ER AAC LTP",         "ER AAC scalable",
    "ER TwinVQ",    "ER BSAC",            "ER LD",
    "ER CELP",      "ER HVXC",            "ER HILN",
    "ER parametric", "SinuSoidal Coding", "Reserved 29",
    "Reserved 30",  "Reserved 31"};

constexpr uint32_t kChannelsByConfig[8] = {0, 1, 2, 3, 4, 5, 6, 8};

void storeWord(uint8_t* record, uint32_t at, int32_t value) { std::memcpy(record + at, &value, sizeof value); }

}  // namespace

AudioDecoderAAC::AudioDecoderAAC() {
  codec = kAudioCodecAAC;
  std::memset(audioSettings, 0xFF, sizeof audioSettings);
}

AudioDecoderAAC::~AudioDecoderAAC() noexcept(false) { close(); }

bufstream_tt* AudioDecoderAAC::openLibrary() { return openAacDecoderStream(); }

const char* AudioDecoderAAC::objectTypeName(uint32_t type) { return type < 32 ? kObjectTypeNames[type] : ""; }

uint32_t AudioDecoderAAC::getSampleRate() {
  return sampleRateIndex < kAacSampleRateCount ? kAacSampleRates[sampleRateIndex] : 0;
}

uint32_t AudioDecoderAAC::getChannels() { return channelConfig < 8 ? kChannelsByConfig[channelConfig] : 2; }

int AudioDecoderAAC::setDecodeParameters(int32_t first, int32_t second, int32_t third) {
  return guarded("AudioDecoderAAC::setDecodeParameters: ", [&] {
    std::memset(audioSettings, 0xFF, sizeof audioSettings);
    storeWord(audioSettings, kAacDecoderSettingsFirst, first);
    storeWord(audioSettings, kAacDecoderSettingsSecond, second);
    storeWord(audioSettings, kAacDecoderSettingsThird, third);
    return 0;
  });
}

int AudioDecoderAAC::setDecodeParameters(int32_t sampleFormat) { return setDecodeParameters(-1, -1, sampleFormat); }

int AudioDecoderAAC::initialize() {
  return guarded("AudioDecoderAAC::initialize: ", [&] {
    if (handle != nullptr) close();
    handle.reset(openLibrary());
    if (handle == nullptr) {
      logError("AudioDecoderAAC.initialize[{context}]: Error opening decoder");
      return -1;
    }
    aux(audio_decoder_info::kReset, nullptr, 0);
    if (aux(audio_decoder_info::kInitialize, audioSettings, sizeof audioSettings) != 0) {
      logError("AudioDecoderAAC.initialize[{context}]: Error initializing decoder");
      return -1;
    }
    return 0;
  });
}

int AudioDecoderAAC::decodeCodecConfig(uint8_t* data, uint32_t offset, uint32_t length) {
  return guarded("AudioDecoderAAC::decodeCodecConfig: ", [&] {
    // Both bytes must be there: the block is a plain copy of the host's record.
    if (data == nullptr || length < 2) {
      logError("AudioDecoderAAC.decodeCodecConfig[{context}]: an AudioSpecificConfig has at least two bytes");
      return -1;
    }
    const AudioSpecificConfig config = AudioSpecificConfig::fromBytes(data[offset], data[offset + 1]);
    objectType = config.objectType;
    sampleRateIndex = config.sampleRateIndex;
    channelConfig = config.channelConfig;
    return 0;
  });
}

bool AudioDecoderAAC::fitsAdtsFrame(const uint8_t* data, uint32_t length, const char* prefix) {
  // The header needs its room, which the marshalling reserves in front of
  // every unit, and its length field has 13 bits.
  if (data != nullptr && length >= kHeaderSize && length <= kMaxFrameBytes) return true;
  std::ostringstream line;
  line << prefix << "access unit of " << (length < kHeaderSize ? 0 : length - kHeaderSize)
       << " bytes does not fit an ADTS frame of " << kHeaderSize << " to " << kMaxFrameBytes << " bytes";
  logError(line.str());
  return false;
}

void AudioDecoderAAC::writeAdtsHeader(uint8_t* out, uint32_t type, uint32_t rateIndex, uint32_t config,
                                      bool protectionAbsent, uint32_t frameLength) {
  std::memset(out, 0, kHeaderSize);
  out[0] = 0xFF;
  out[1] = protectionAbsent ? 0xF1 : 0xF0;
  out[2] = static_cast<uint8_t>((((type - 1u) & 3u) << 6) + ((rateIndex * 4u) & 0x3Cu) + ((config >> 2) & 1u));
  out[3] = static_cast<uint8_t>(((config & 3u) << 6) + ((frameLength >> 11) & 3u));
  out[4] = static_cast<uint8_t>(frameLength >> 3);
  out[5] = static_cast<uint8_t>(((frameLength & 7u) << 5) + 31u);
  out[6] = 0xFC;
}

int AudioDecoderAAC::decodeFirstFrame(uint8_t* data, uint32_t offset, uint32_t length) {
  return guarded("AudioDecoderAAC::decodeFirstFrame: ", [&] {
    if (handle == nullptr) return -1;
    if (!fitsAdtsFrame(data, length, "AudioDecoderAAC.decodeFirstFrame[{context}]: ")) return -1;
    writeAdtsHeader(data + offset, objectType, sampleRateIndex, channelConfig, true, length);
    aux(audio_decoder_info::kReset, nullptr, 0);
    if (handle->copybytes(handle.get(), data + offset, length) == 0) {
      logError("AudioDecoderAAC.decodeFirstFrame[{context}]: Decode failed");
      return -1;
    }
    if (aux(audio_decoder_info::kInitialize, audioSettings, sizeof audioSettings) != 0) {
      logError("AudioDecoderAAC.decodeFirstFrame[{context}]: Initialize failed");
      return -1;
    }
    firstFrameDecoded = true;
    return 0;
  });
}

int AudioDecoderAAC::decodeFrame(uint8_t* data, uint32_t offset, uint32_t length, uint64_t timecode,
                                 AudioSampleBuffer& buffer) {
  return guarded("AudioDecoderAAC::decodeFrame: ", [&] {
    if (handle == nullptr) return -1;
    if (!fitsAdtsFrame(data, length, "AudioDecoderAAC.decodeFrame[{context}]: ")) return -1;
    writeAdtsHeader(data + offset, objectType, sampleRateIndex, channelConfig, true, length);
    // A stream that never yields samples must not grow the queue for ever:
    // past any real decoder delay the oldest time goes.
    if (timecodeQueue.size() >= kMaxQueuedTimecodes) timecodeQueue.pop_front();
    timecodeQueue.push_back(timecode);
    const auto learnStream = [&] {
      AacFrameInfo frameInfo{};
      if (aux(audio_decoder_info::kFrameInfo, &frameInfo, sizeof frameInfo) == 0) {
        sampleRate = frameInfo.sampleRate;
        channels = frameInfo.channels;
      }
    };
    // Each block of samples takes the oldest host time waiting.
    const auto stampBlock = [&](uint32_t bytes) {
      if (timecodeQueue.empty() || channels == 0) return;
      const uint64_t t = timecodeQueue.front();
      timecodeQueue.pop_front();
      accountFrame(bytes / (channels * 2u), t, buffer);
    };
    const uint32_t state = feedPacket(data + offset, length, buffer, learnStream, stampBlock);
    if (timecodeQueue.size() > timecodeQueueHighWater) {
      timecodeQueueHighWater = timecodeQueue.size();
      std::ostringstream line;
      line << "AudioDecoderAAC.decodeFrame[{context}]: " << "Timecode queue: " << timecodeQueue.size();
      logError(line.str());
    }
    // The packet gave no frame, so its time must not wait for one.
    if ((state & audio_decoder_state::kNoFrame) != 0 && !timecodeQueue.empty()) timecodeQueue.pop_back();
    return 0;
  });
}

int AudioDecoderAAC::close() {
  return guarded("AudioDecoderAAC::close: ", [&] {
    handle.reset();
    return 0;
  });
}

}  // namespace cvx
