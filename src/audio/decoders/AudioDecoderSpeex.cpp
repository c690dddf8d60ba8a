#include "audio/decoders/AudioDecoderSpeex.h"

#include "audio/samples/AudioSampleBuffer.h"
#include "logging/Guarded.h"
#include "media/CodecNumbers.h"

namespace cvx {

AudioDecoderSpeex::AudioDecoderSpeex() { codec = kAudioCodecSpeex; }

AudioDecoderSpeex::~AudioDecoderSpeex() noexcept(false) = default;

int AudioDecoderSpeex::setDecodeParameters(int32_t, int32_t, int32_t) { return 0; }

int AudioDecoderSpeex::setDecodeParameters(int32_t sampleFormat) { return setDecodeParameters(-1, -1, sampleFormat); }

int AudioDecoderSpeex::decodeCodecConfig(uint8_t*, uint32_t, uint32_t) { return 0; }

int AudioDecoderSpeex::close() { return 0; }

int AudioDecoderSpeex::initialize() {
  return guarded("AudioDecoderSpeex::initialize: ", [&] {
    // A second start replaces the first state.
    decoder = speexDecoderOpen(kSpeexModeWideband);
    // A failed start is not reported: decodeFrame then does nothing.
    if (decoder == nullptr) return 0;
    int enhancer = 1;
    speexDecoderCtl(*decoder, kSpeexSetEnhancer, &enhancer);
    speexDecoderCtl(*decoder, kSpeexGetFrameSize, &frameSize);
    int libraryRate = 0;
    speexDecoderCtl(*decoder, kSpeexGetSamplingRate, &libraryRate);
    return 0;
  });
}

int AudioDecoderSpeex::decodeFirstFrame(uint8_t*, uint32_t, uint32_t) {
  return guarded("AudioDecoderSpeex::decodeFirstFrame: ", [&] {
    channels = 1;
    sampleRate = 16000;
    firstFrameDecoded = true;
    return 0;
  });
}

int AudioDecoderSpeex::decodeFrame(uint8_t* data, uint32_t offset, uint32_t length, uint64_t timecode,
                                   AudioSampleBuffer& buffer) {
  return guarded("AudioDecoderSpeex::decodeFrame: ", [&] {
    if (decoder == nullptr || data == nullptr || buffer.getBuffer() == nullptr || frameSize <= 0) return 0;
    speexBitsReadFrom(*decoder, data + offset, length);
    auto* out = reinterpret_cast<int16_t*>(buffer.getBuffer());
    const uint32_t capacity = buffer.getBufferSize() / 2u;
    const auto step = static_cast<uint32_t>(frameSize);
    uint32_t total = 0;
    do {
      if (capacity - total < step) break;
      if (speexDecodeInt(*decoder, out + total) != 0) break;
      if (speexBitsOverflow(*decoder) != 0) break;
      total += step;
    } while (static_cast<uint32_t>(speexBitsCharPtr(*decoder)) < length);
    if (total == 0) return 0;
    accountFrame(total, timecode, buffer);
    return 0;
  });
}

}  // namespace cvx
