#include "audio/decoders/AudioDecoderMpegAudio.h"

#include <exception>
#include <string>

#include "audio/samples/AudioSampleBuffer.h"
#include "logging/StdoutLine.h"

namespace cvx {

AudioDecoderMpegAudio::AudioDecoderMpegAudio(const char* name) : className(name) { codec = 2; }

// The library object never outlives its decoder.
AudioDecoderMpegAudio::~AudioDecoderMpegAudio() noexcept(false) { close(); }

int AudioDecoderMpegAudio::decodeFrame(uint8_t* data, uint32_t offset, uint32_t length, uint64_t timecode,
                                       AudioSampleBuffer& buffer) {
  try {
    if (handle == nullptr) return -1;
    if (data == nullptr) return -1;
    output.outputBuffer = buffer.getBuffer();
    output.outputSize = buffer.getBufferSize();
    handle->auxinfo(handle, 0, audio_decoder_info::kSetOutput, &output, kOutputDescriptorBytes);
    uint32_t consumed = 0;
    uint32_t state = 0;
    while ((state & audio_decoder_state::kInputUsed) == 0 && consumed < length) {
      output.outputSize = buffer.getBufferSize();
      const uint32_t n = handle->copybytes(handle, data + offset + consumed, length - consumed);
      consumed += n;
      state = handle->auxinfo(handle, 0, audio_decoder_info::kState, nullptr, 0);
      if ((state & audio_decoder_state::kNoFrame) != 0) return 0;
      // A stream whose channel count was never learnt yields no position.
      if (output.outputSize != 0 && channels != 0) accountFrame(output.outputSize / (channels * 2u), timecode, buffer);
      // A stream that takes nothing would hold this loop for ever.
      if (n == 0) break;
    }
    return 0;
  } catch (const std::exception& e) {
    writeStdoutLine((std::string(className) + "::decodeFrame: ").c_str(), e);
    return -1;
  }
}

int AudioDecoderMpegAudio::close() {
  try {
    closeAudioDecoderStream(handle);
    return 0;
  } catch (const std::exception& e) {
    writeStdoutLine((std::string(className) + "::close: ").c_str(), e);
    return -1;
  }
}

}  // namespace cvx
