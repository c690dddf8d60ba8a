#include "audio/samples/AudioSampleBuffer.h"

#include <cstdlib>
#include <cstring>
#include <exception>
#include <new>

#include "logging/StdoutLine.h"

namespace cvx {

AudioSampleBuffer::~AudioSampleBuffer() { release(); }

AudioSampleBuffer::AudioSampleBuffer(const AudioSampleBuffer& other) { copyFrom(other); }

AudioSampleBuffer& AudioSampleBuffer::operator=(const AudioSampleBuffer& other) {
  if (this != &other) {
    release();
    copyFrom(other);
  }
  return *this;
}

void AudioSampleBuffer::release() {
  std::free(buffer);
  buffer = nullptr;
}

void AudioSampleBuffer::copyFrom(const AudioSampleBuffer& other) {
  // The whole capacity is copied, whatever sampleCount says.
  if (!copyLeading(other, other.bufferSize)) throw std::bad_alloc();
}

bool AudioSampleBuffer::copyLeading(const AudioSampleBuffer& source, uint32_t bytes) {
  if (this == &source) return true;
  release();
  bufferSize = bytes < source.bufferSize ? bytes : source.bufferSize;
  sampleCount = source.sampleCount;
  samplesRead = source.samplesRead;
  channels = source.channels;
  sampleRate = source.sampleRate;
  timecode = source.timecode;
  if (source.buffer == nullptr) return true;
  buffer = static_cast<uint8_t*>(std::malloc(bufferSize > 0 ? bufferSize : 1));
  if (buffer == nullptr) return false;
  std::memcpy(buffer, source.buffer, bufferSize);
  return true;
}

int AudioSampleBuffer::allocBuffer(uint32_t newSampleCount, uint32_t newChannels, uint32_t newSampleRate) {
  try {
    release();
    sampleCount = newSampleCount;
    channels = newChannels;
    sampleRate = newSampleRate;
    const uint64_t size = static_cast<uint64_t>(newChannels) * 2u * newSampleCount;
    if (size > UINT32_MAX) throw std::bad_alloc();
    bufferSize = static_cast<uint32_t>(size);
    // malloc(0) may give null; a zero-capacity buffer still holds a block.
    buffer = static_cast<uint8_t*>(std::malloc(bufferSize > 0 ? bufferSize : 1));
    if (buffer == nullptr) throw std::bad_alloc();
    return 0;
  } catch (const std::exception& e) {
    writeStdoutLine("AudioSampleBuffer::allocBuffer: ", e);
    return -1;
  }
}

uint32_t AudioSampleBuffer::getCapacitySamples() const {
  if (buffer == nullptr || channels == 0) return 0;
  return bufferSize / (channels * 2u);
}

}  // namespace cvx
