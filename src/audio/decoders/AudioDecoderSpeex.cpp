#include "audio/decoders/AudioDecoderSpeex.h"

#include <exception>

#include "audio/samples/AudioSampleBuffer.h"
#include "logging/StdoutLine.h"

namespace cvx {

AudioDecoderSpeex::AudioDecoderSpeex() { codec = 11; }

AudioDecoderSpeex::~AudioDecoderSpeex() noexcept(false) { release(); }

void AudioDecoderSpeex::release() {
  if (decoderState != nullptr) {
    speexDecoderDestroy(decoderState);
    speexBitsDestroy(bits);
    decoderState = nullptr;
  }
}

int AudioDecoderSpeex::setDecodeParameters(int32_t, int32_t, int32_t) { return 0; }

int AudioDecoderSpeex::setDecodeParameters(int32_t sampleFormat) { return setDecodeParameters(-1, -1, sampleFormat); }

int AudioDecoderSpeex::decodeCodecConfig(uint8_t*, uint32_t, uint32_t) { return 0; }

int AudioDecoderSpeex::close() { return 0; }

int AudioDecoderSpeex::initialize() {
  try {
    // A second start must not leak the first state.
    release();
    decoderState = speexDecoderInit(kSpeexModeWideband);
    // A failed start is not reported: decodeFrame then does nothing.
    if (decoderState == nullptr) return 0;
    speexBitsInit(bits);
    int enhancer = 1;
    speexDecoderCtl(decoderState, kSpeexSetEnhancer, &enhancer);
    speexDecoderCtl(decoderState, kSpeexGetFrameSize, &frameSize);
    int libraryRate = 0;
    speexDecoderCtl(decoderState, kSpeexGetSamplingRate, &libraryRate);
    return 0;
  } catch (const std::exception& e) {
    writeStdoutLine("AudioDecoderSpeex::initialize: ", e);
    return -1;
  }
}

int AudioDecoderSpeex::decodeFirstFrame(uint8_t*, uint32_t, uint32_t) {
  try {
    channels = 1;
    sampleRate = 16000;
    firstFrameDecoded = true;
    return 0;
  } catch (const std::exception& e) {
    writeStdoutLine("AudioDecoderSpeex::decodeFirstFrame: ", e);
    return -1;
  }
}

int AudioDecoderSpeex::decodeFrame(uint8_t* data, uint32_t offset, uint32_t length, uint64_t timecode,
                                   AudioSampleBuffer& buffer) {
  try {
    if (decoderState == nullptr || data == nullptr || buffer.getBuffer() == nullptr || frameSize <= 0) return 0;
    speexBitsReadFrom(bits, data + offset, length);
    auto* out = reinterpret_cast<int16_t*>(buffer.getBuffer());
    const uint32_t capacity = buffer.getBufferSize() / 2u;
    const auto step = static_cast<uint32_t>(frameSize);
    uint32_t total = 0;
    do {
      if (capacity - total < step) break;
      if (speexDecodeInt(decoderState, bits, out + total) != 0) break;
      if (speexBitsOverflow(bits) != 0) break;
      total += step;
    } while (static_cast<uint32_t>(speexBitsCharPtr(bits)) < length);
    if (total == 0) return 0;
    accountFrame(total, timecode, buffer);
    return 0;
  } catch (const std::exception& e) {
    writeStdoutLine("AudioDecoderSpeex::decodeFrame: ", e);
    return -1;
  }
}

}  // namespace cvx
