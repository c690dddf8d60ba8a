#pragma once

#include <cstdint>

#include "audio/decoders/AudioDecoderBase.h"
#include "audio/samples/AudioSampleBuffer.h"
#include "platform/audiocodecs/AudioDecoderOpen.h"

namespace cvx {

// The decoders that drive a library stream through copybytes and auxinfo:
// the stream, the output descriptor, and the feeding of one packet, a frame
// per call, which is the same for every codec behind such a stream.
class AudioDecoderStreamBase : public AudioDecoderBase {
 public:
  ~AudioDecoderStreamBase() noexcept(false) override = default;

 protected:
  AudioDecoderStreamBase() = default;

  // The library's auxinfo on our stream.
  uint32_t aux(uint32_t infoId, void* infoPtr, uint32_t infoSize) {
    return handle->auxinfo(handle.get(), 0, infoId, infoPtr, infoSize);
  }

  // Feeds the packet's `length` bytes at `data` to the stream, with
  // `buffer`'s block as the output of each frame. After every copybytes
  // `afterCall()` runs, then each frame that gave samples goes to
  // `onSamples(bytes)`. Stops at the end of the packet, at a frame the
  // stream refused, or at a call that took nothing. The state bits of the
  // last call.
  template <class AfterCall, class OnSamples>
  uint32_t feedPacket(uint8_t* data, uint32_t length, AudioSampleBuffer& buffer, AfterCall&& afterCall,
                      OnSamples&& onSamples) {
    output.outputBuffer = buffer.getBuffer();
    output.outputSize = buffer.getBufferSize();
    aux(audio_decoder_info::kSetOutput, &output, kOutputDescriptorBytes);
    uint32_t consumed = 0;
    uint32_t state = 0;
    while ((state & audio_decoder_state::kInputUsed) == 0 && consumed < length) {
      output.outputSize = buffer.getBufferSize();
      const uint32_t n = handle->copybytes(handle.get(), data + consumed, length - consumed);
      afterCall();
      consumed += n;
      state = aux(audio_decoder_info::kState, nullptr, 0);
      if ((state & audio_decoder_state::kNoFrame) != 0) break;
      if (output.outputSize != 0) onSamples(output.outputSize);
      // A stream that takes nothing would hold this loop for ever.
      if (n == 0) break;
    }
    return state;
  }

  AudioOutputDescriptor output{nullptr, 0};
  BufStreamPtr handle;
};

}  // namespace cvx
