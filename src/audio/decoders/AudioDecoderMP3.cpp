#include "audio/decoders/AudioDecoderMP3.h"

#include <cstring>
#include <string>

#include "audio/decoders/AudioSpecificConfig.h"
#include "logging/Guarded.h"

namespace cvx {

namespace {
constexpr const char* kFirstFramePrefix = "AudioDecoderMP3.decodeFirstFrame[{context}]: ";
}

AudioDecoderMP3::AudioDecoderMP3() : AudioDecoderMpegAudio("AudioDecoderMP3") {
  // The settings lead the library to its work area.
  void* link = workArea;
  std::memcpy(settings + kMp3SettingsLinkOffset, &link, sizeof link);
}

bufstream_tt* AudioDecoderMP3::openLibrary() { return openMp3DecoderStream(nullptr, nullptr, nullptr); }

int AudioDecoderMP3::setDecodeParameters(int32_t, int32_t, int32_t) { return 0; }

int AudioDecoderMP3::setDecodeParameters(int32_t sampleFormat) {
  return guarded("AudioDecoderMP3::setDecodeParameters: ", [&] {
    return setDecodeParameters(-1, -1, sampleFormat);
  });
}

int AudioDecoderMP3::initialize() {
  return guarded("AudioDecoderMP3::initialize: ", [&] {
    close();
    handle.reset(openLibrary());
    if (handle == nullptr) {
      logError("AudioDecoderMP3.initialize[{context}]: Error opening decoder");
      return -1;
    }
    aux(audio_decoder_info::kSettings, settings, sizeof settings);
    return 0;
  });
}

int AudioDecoderMP3::decodeCodecConfig(uint8_t* data, uint32_t offset, uint32_t length) {
  return guarded("AudioDecoderMP3::decodeCodecConfig: ", [&] {
    // Both bytes must be there: the block is a plain copy of the host's record.
    if (data == nullptr || length < 2) return 0;
    const AudioSpecificConfig config = AudioSpecificConfig::fromBytes(data[offset], data[offset + 1]);
    objectType = config.objectType;
    sampleRateIndex = config.sampleRateIndex;
    channelConfig = config.channelConfig;
    return 0;
  });
}

int AudioDecoderMP3::decodeFirstFrame(uint8_t* data, uint32_t offset, uint32_t length) {
  return guarded("AudioDecoderMP3::decodeFirstFrame: ", [&] {
    if (handle == nullptr) {
      logError(std::string(kFirstFramePrefix) + "Decoder NULL");
      return -1;
    }
    aux(audio_decoder_info::kReset, nullptr, 0);
    if (data != nullptr) handle->copybytes(handle.get(), data + offset, length);
    const uint32_t state = aux(audio_decoder_info::kState, nullptr, 0);
    if ((state & audio_decoder_state::kInputUsed) == 0) {
      logError(std::string(kFirstFramePrefix) + "Decode failed");
      return -1;
    }
    streamInfo = nullptr;
    aux(audio_decoder_info::kFrameInfo, &streamInfo, 0);
    if (streamInfo != nullptr) {
      sampleRate = streamInfo->sampleRate;
      channels = streamInfo->channels;
    }
    firstFrameDecoded = true;
    return 0;
  });
}

}  // namespace cvx
