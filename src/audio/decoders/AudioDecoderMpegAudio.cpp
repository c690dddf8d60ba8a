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
    output.outputBuffer = buffer.getBuffer();
    output.outputSize = buffer.getBufferSize();
    handle->auxinfo(handle.get(), 0, audio_decoder_info::kSetOutput, &output, kOutputDescriptorBytes);
    uint32_t consumed = 0;
    uint32_t state = 0;
    while ((state & audio_decoder_state::kInputUsed) == 0 && consumed < length) {
      output.outputSize = buffer.getBufferSize();
      const uint32_t n = handle->copybytes(handle.get(), data + offset + consumed, length - consumed);
      consumed += n;
      state = handle->auxinfo(handle.get(), 0, audio_decoder_info::kState, nullptr, 0);
      if ((state & audio_decoder_state::kNoFrame) != 0) return 0;
      // A stream whose channel count was never learnt yields no position.
      if (output.outputSize != 0 && channels != 0) accountFrame(output.outputSize / (channels * 2u), timecode, buffer);
      // A stream that takes nothing would hold this loop for ever.
      if (n == 0) break;
    }
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
