#include "audio/decoders/AudioDecoderG711.h"

#include <sstream>
#include <string>

#include "audio/samples/AudioLimits.h"
#include "audio/samples/AudioSampleBuffer.h"
#include "logging/Guarded.h"

namespace cvx {

namespace {

uint32_t readBigEndian32(const uint8_t* p) {
  return (uint32_t{p[0]} << 24) | (uint32_t{p[1]} << 16) | (uint32_t{p[2]} << 8) | uint32_t{p[3]};
}

}  // namespace

AudioDecoderG711::AudioDecoderG711(uint32_t codecNumber, const char* name, int16_t (*expand)(uint8_t))
    : className(name),
      // Made once: decodeFrame runs per packet.
      decodeFirstFrameLabel(std::string(name) + "::decodeFirstFrame: "),
      decodeFrameLabel(std::string(name) + "::decodeFrame: ") {
  codec = codecNumber;
  for (int b = 0; b < 256; ++b) expansion[b] = expand(static_cast<uint8_t>(b));
}

int AudioDecoderG711::setDecodeParameters(int32_t, int32_t, int32_t) { return 0; }

int AudioDecoderG711::setDecodeParameters(int32_t sampleFormat) { return setDecodeParameters(-1, -1, sampleFormat); }

int AudioDecoderG711::initialize() { return 0; }

int AudioDecoderG711::decodeCodecConfig(uint8_t*, uint32_t, uint32_t) { return 0; }

int AudioDecoderG711::close() { return 0; }

int AudioDecoderG711::decodeFirstFrame(uint8_t* data, uint32_t, uint32_t length) {
  return guarded(decodeFirstFrameLabel.c_str(), [&] {
    // The description is read from the start of the block, whatever the offset.
    if (length < 9 || data == nullptr) return 0;
    const uint32_t rate = readBigEndian32(data + 1);
    const uint32_t count = readBigEndian32(data + 5);
    // The host sizes its buffers and encoders by these two numbers.
    if (!isAudioSampleRate(rate) || !isAudioChannelCount(count)) {
      std::ostringstream line;
      line << className << ".decodeFirstFrame[{context}]: description of " << rate << " Hz and " << count
           << " channels is outside 1 to " << kAudioMaxSampleRate << " Hz and 1 to " << kAudioMaxChannels
           << " channels";
      logError(line.str());
      return -1;
    }
    sampleRate = rate;
    channels = count;
    firstFrameDecoded = true;
    return 0;
  });
}

int AudioDecoderG711::decodeFrame(uint8_t* data, uint32_t offset, uint32_t length, uint64_t timecode,
                                  AudioSampleBuffer& buffer) {
  return guarded(decodeFrameLabel.c_str(), [&] {
    if (length == 0) return 0;
    if (sampleRate == 0) {
      // Without a rate no position exists: refuse rather than divide by zero.
      logError(std::string(className) + ".decodeFrame[{context}]: no sample rate known; send the description first");
      return -1;
    }
    if (data == nullptr || buffer.getBuffer() == nullptr) return -1;
    // A packet that does not fit is decoded up to the block's capacity.
    const uint32_t capacity = buffer.getBufferSize() / 2u;
    const uint32_t n = length < capacity ? length : capacity;
    if (n == 0) return 0;
    auto* out = reinterpret_cast<int16_t*>(buffer.getBuffer());
    const uint8_t* in = data + offset;
    for (uint32_t i = 0; i < n; ++i) out[i] = expansion[in[i]];
    accountFrame(n, timecode, buffer);
    return 0;
  });
}

}  // namespace cvx
