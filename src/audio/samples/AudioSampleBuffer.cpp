#include "audio/samples/AudioSampleBuffer.h"

#include <cstring>
#include <new>

#include "logging/Guarded.h"
#include "media/ByteBlocks.h"

namespace cvx {

AudioSampleBuffer::~AudioSampleBuffer() = default;

AudioSampleBuffer::AudioSampleBuffer(const AudioSampleBuffer& other) { copyFrom(other); }

AudioSampleBuffer& AudioSampleBuffer::operator=(const AudioSampleBuffer& other) {
  if (this != &other) {
    release();
    copyFrom(other);
  }
  return *this;
}

void AudioSampleBuffer::release() { buffer.reset(); }

// A block of `size` bytes; one of zero bytes is still a block.
std::unique_ptr<uint8_t[]> AudioSampleBuffer::allocate(uint32_t size) { return tryAllocateBytes(size > 0 ? size : 1); }

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
  buffer = allocate(bufferSize);
  if (buffer == nullptr) return false;
  std::memcpy(buffer.get(), source.buffer.get(), bufferSize);
  return true;
}

int AudioSampleBuffer::allocBuffer(uint32_t newSampleCount, uint32_t newChannels, uint32_t newSampleRate) {
  return guarded("AudioSampleBuffer::allocBuffer: ", [&] {
    release();
    sampleCount = newSampleCount;
    channels = newChannels;
    sampleRate = newSampleRate;
    const uint64_t size = static_cast<uint64_t>(newChannels) * 2u * newSampleCount;
    if (size > UINT32_MAX) throw std::bad_alloc();
    bufferSize = static_cast<uint32_t>(size);
    buffer = allocate(bufferSize);
    if (buffer == nullptr) throw std::bad_alloc();
    return 0;
  });
}

uint32_t AudioSampleBuffer::getCapacitySamples() const {
  if (buffer == nullptr || channels == 0) return 0;
  return bufferSize / (channels * 2u);
}

}  // namespace cvx
