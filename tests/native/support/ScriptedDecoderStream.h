#pragma once

#include <cstring>
#include <vector>

#include "platform/audiocodecs/AudioDecoderOpen.h"

namespace cvx::test {

// A decoder library stand-in answering from a script; owned by the test, free() only counts.
class ScriptedDecoderStream {
 public:
  struct Answer {
    uint32_t outputBytes = 0;  // written to the descriptor's size word
    uint32_t state = 0;        // kState result
    uint32_t sampleRate = 44100;
    uint32_t channels = 2;
  };

  ScriptedDecoderStream() {
    stream.copybytes = [](bufstream_tt* bs, uint8_t* data, uint32_t size) { return self(bs)->copy(data, size); };
    stream.auxinfo = [](bufstream_tt* bs, uint32_t, uint32_t id, void* ptr, uint32_t size) {
      return self(bs)->aux(id, ptr, size);
    };
    stream.done = [](bufstream_tt* bs, int) { ++self(bs)->doneCalls; };
    stream.free = [](bufstream_tt* bs) { ++self(bs)->freeCalls; };
    stream.privateData = this;
  }

  bufstream_tt stream{};
  std::vector<Answer> answers;  // one per copy; the last repeats
  std::vector<std::vector<uint8_t>> fed;
  std::vector<uint32_t> infoCalls;
  uint32_t consumeLimit = UINT32_MAX;  // bytes a copy takes at most
  uint32_t initializeResult = 0;
  int doneCalls = 0;
  int freeCalls = 0;

 private:
  static ScriptedDecoderStream* self(bufstream_tt* bs) { return static_cast<ScriptedDecoderStream*>(bs->privateData); }
  const Answer& current() const {
    static const Answer none{};
    if (answers.empty()) return none;
    return answers[fed.size() - 1 < answers.size() ? fed.size() - 1 : answers.size() - 1];
  }
  uint32_t copy(const uint8_t* data, uint32_t size) {
    const uint32_t n = size < consumeLimit ? size : consumeLimit;
    fed.emplace_back(data, data + n);
    if (output != nullptr) output->outputSize = current().outputBytes;
    return n;
  }
  uint32_t aux(uint32_t id, void* ptr, uint32_t size) {
    infoCalls.push_back(id);
    switch (id) {
      case audio_decoder_info::kSetOutput:
        output = size >= kOutputDescriptorBytes ? static_cast<AudioOutputDescriptor*>(ptr) : nullptr;
        return 0;
      case audio_decoder_info::kState:
        return fed.empty() ? 0 : current().state;
      case audio_decoder_info::kFrameInfo: {
        if (fed.empty()) return kAudioInfoFailed;
        AacFrameInfo info{};
        info.sampleRate = current().sampleRate;
        info.channels = current().channels;
        std::memcpy(ptr, &info, sizeof info);
        return 0;
      }
      case audio_decoder_info::kInitialize:
        return initializeResult;
      default:
        return 0;
    }
  }
  AudioOutputDescriptor* output = nullptr;
};

}  // namespace cvx::test
