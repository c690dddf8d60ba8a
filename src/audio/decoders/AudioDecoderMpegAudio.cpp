#include "audio/decoders/AudioDecoderMpegAudio.h"

#include <string>

#include "audio/samples/AudioSampleBuffer.h"
#include "logging/Guarded.h"
#include "media/CodecNumbers.h"

namespace cvx {

AudioDecoderMpegAudio::AudioDecoderMpegAudio(const char* name)
    : className(name),
      // Made once: decodeFrame runs per packet.
      decodeFrameLabel(std::string(name) + "::decodeFrame: "),
      closeLabel(std::string(name) + "::close: ") {
  codec = kAudioCodecMpegAudio;
}

// The library object never outlives its decoder.
AudioDecoderMpegAudio::~AudioDecoderMpegAudio() noexcept(false) { close(); }

int AudioDecoderMpegAudio::decodeFrame(uint8_t* data, uint32_t offset, uint32_t length, uint64_t timecode,
                                       AudioSampleBuffer& buffer) {
  return guarded(decodeFrameLabel.c_str(), [&] {
    if (handle == nullptr) return -1;
    if (data == nullptr) return -1;
    // Every block the packet yields takes the call's time; a stream whose
    // channel count was never learnt yields no position.
    feedPacket(data + offset, length, buffer, [] {}, [&](uint32_t bytes) {
      if (channels != 0) accountFrame(bytes / (channels * 2u), timecode, buffer);
    });
    return 0;
  });
}

int AudioDecoderMpegAudio::close() {
  return guarded(closeLabel.c_str(), [&] {
    handle.reset();
    return 0;
  });
}

}  // namespace cvx
