#include "audio/decoders/AudioDecoderMP2.h"

#include <sstream>

#include "logging/Guarded.h"

namespace cvx {

namespace {

constexpr const char* kFirstFramePrefix = "AudioDecoderMP2.decodeFirstFrame[{context}]: ";

// Rows by table version (0 MPEG-2, 1 MPEG-1, 2 MPEG-2.5); 1 marks the reserved index.
constexpr uint32_t kSampleRates[3][4] = {{22050, 24000, 16000, 1}, {44100, 48000, 32000, 1}, {11025, 12000, 8000, 1}};
// Table version by the header's two version bits; -1 is the reserved value.
constexpr int kVersionByBits[4] = {2, -1, 0, 1};

}  // namespace

AudioDecoderMP2::AudioDecoderMP2() : AudioDecoderMpegAudio("AudioDecoderMP2") {}

bufstream_tt* AudioDecoderMP2::openLibrary() { return openMpegAudioDecoderStream(nullptr, nullptr, nullptr); }

int AudioDecoderMP2::setDecodeParameters(int32_t, int32_t, int32_t) { return 0; }

int AudioDecoderMP2::setDecodeParameters(int32_t sampleFormat) { return setDecodeParameters(-1, -1, sampleFormat); }

int AudioDecoderMP2::decodeCodecConfig(uint8_t*, uint32_t, uint32_t) { return 0; }

int AudioDecoderMP2::initialize() {
  return guarded("AudioDecoderMP2::initialize: ", [&] {
    close();
    handle.reset(openLibrary());
    if (handle == nullptr) {
      logError("AudioDecoderMP2.initialize[{context}]: Error opening decoder");
      return -1;
    }
    aux(audio_decoder_info::kReset, nullptr, 0);
    if (aux(audio_decoder_info::kInitialize, nullptr, 0) != 0) {
      logError("AudioDecoderMP2.initialize[{context}]: Error initializing decoder");
      return -1;
    }
    return 0;
  });
}

int AudioDecoderMP2::decodeFirstFrame(uint8_t* data, uint32_t offset, uint32_t length) {
  return guarded("AudioDecoderMP2::decodeFirstFrame: ", [&] {
    if (handle == nullptr) {
      logError(std::string(kFirstFramePrefix) + "Decoder NULL");
      return -1;
    }
    if (data == nullptr || length < 4) {
      logError(std::string(kFirstFramePrefix) + "Not enough data to decode");
      return -1;
    }
    const uint8_t b1 = data[offset + 1];
    const uint8_t b2 = data[offset + 2];
    const uint8_t b3 = data[offset + 3];
    const int version = kVersionByBits[(b1 >> 3) & 3];
    if (version == -1) {
      std::ostringstream line;
      line << kFirstFramePrefix << "Bad MP2 Audio version: " << version;
      logError(line.str());
      return -1;
    }
    channels = (b3 >> 6) == 3 ? 1 : 2;
    sampleRate = kSampleRates[version][(b2 >> 2) & 3];
    {
      std::ostringstream line;
      line << kFirstFramePrefix << "sampleRate:" << sampleRate << " channels:" << channels;
      logInfo(line.str());
    }
    aux(audio_decoder_info::kReset, nullptr, 0);
    if (handle->copybytes(handle.get(), data + offset, length) == 0) {
      logError(std::string(kFirstFramePrefix) + "Decode failed");
      return -1;
    }
    if (aux(audio_decoder_info::kInitialize, nullptr, 0) != 0) {
      logError(std::string(kFirstFramePrefix) + "Initialize failed");
      return -1;
    }
    firstFrameDecoded = true;
    return 0;
  });
}

}  // namespace cvx
