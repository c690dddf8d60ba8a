#include "session/TranscoderSession.h"

#include <cstdlib>
#include <exception>
#include <memory>

#include "audio/samples/AudioSampleBuffer.h"
#include "hardware/HardwareProbe.h"
#include "logging/StdoutLine.h"

namespace cvx {

TranscoderSession::TranscoderSession() {
  const HardwareAvailability found = probeHardware(logCollector);
  isCUDAAvailable = found.cuda ? 1 : 0;
  isQuickSyncAvailable = found.quickSync ? 1 : 0;
}

TranscoderSession::~TranscoderSession() {
  try {
    std::free(currVideoDecodeBuffer);
  } catch (const std::exception& e) {
    writeStdoutLine("TranscoderSession::destructor[currVideoDecodeBuffer]: ", e);
  }
  currVideoDecodeBuffer = nullptr;
}

uint8_t* TranscoderSession::swapCurrVideoDecodeBuffer(uint8_t* buffer) {
  uint8_t* previous = currVideoDecodeBuffer;
  currVideoDecodeBuffer = buffer;
  return previous;
}

uint32_t TranscoderSession::audioDecoderBuffersCreate(uint32_t count) {
  try {
    audioBuffers.reserve(audioBuffers.size() + count);
    for (uint32_t i = 0; i < count; ++i) {
      auto buffer = std::make_unique<AudioSampleBuffer>();
      audioBuffers.push_back(AudioSampleBufferSetItem{buffer.get()});
      buffer.release();
    }
    return 0;
  } catch (const std::exception& e) {
    writeStdoutLine("TranscoderSession::audioDecoderBuffersCreate: ", e);
    return static_cast<uint32_t>(-1);
  }
}

uint32_t TranscoderSession::audioDecoderBuffersAllocate(uint32_t sampleCount, uint32_t channels,
                                                        uint32_t sampleRate) {
  try {
    for (AudioSampleBufferSetItem& item : audioBuffers) {
      item.buffer->allocBuffer(sampleCount, channels, sampleRate);
    }
    return 0;
  } catch (const std::exception& e) {
    writeStdoutLine("TranscoderSession::audioDecoderBuffersAllocate: ", e);
    return static_cast<uint32_t>(-1);
  }
}

}  // namespace cvx
