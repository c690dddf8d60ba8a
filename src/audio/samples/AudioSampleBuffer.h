#pragma once

#include <cstdint>
#include <memory>

namespace cvx {

// One block of decoded PCM: signed 16-bit little-endian, channels interleaved.
// Counts are sample frames (one value per channel). `bufferSize` is the
// capacity in bytes and does not follow the amount of audio in the block.
// `timecode` is the sample position of the first sample at the decoder's rate.
// Copies are deep: a copy owns a block of its own.
class AudioSampleBuffer {
 public:
  AudioSampleBuffer() = default;
  ~AudioSampleBuffer();
  AudioSampleBuffer(const AudioSampleBuffer& other);
  AudioSampleBuffer& operator=(const AudioSampleBuffer& other);

  // Replaces the block with an uninitialised one of channels x 2 x sampleCount bytes.
  int allocBuffer(uint32_t sampleCount, uint32_t channels, uint32_t sampleRate);

  uint8_t* getBuffer() const { return buffer.get(); }
  uint32_t getBufferSize() const { return bufferSize; }
  uint32_t getSampleCount() const { return sampleCount; }
  uint32_t getSamplesRead() const { return samplesRead; }
  uint32_t getChannels() const { return channels; }
  uint32_t getSampleRate() const { return sampleRate; }
  uint64_t getTimecode() const { return timecode; }

  void setSampleCount(uint32_t value) { sampleCount = value; }
  void setTimecode(uint64_t value) { timecode = value; }
  void addSamplesRead(uint32_t value) { samplesRead += value; }

  // Makes this a copy of `source` whose block holds only the first `bytes`
  // of the source's block (at most its whole size): for readers that keep
  // samples beyond a call and need no more than they will read. False, and
  // no block, when the allocation fails.
  bool copyLeading(const AudioSampleBuffer& source, uint32_t bytes);

  // Sample frames the block can hold for its channel count; 0 without a block.
  uint32_t getCapacitySamples() const;

 private:
  static std::unique_ptr<uint8_t[]> allocate(uint32_t size);
  void copyFrom(const AudioSampleBuffer& other);
  void release();

  std::unique_ptr<uint8_t[]> buffer;
  uint32_t bufferSize = 0;
  uint32_t sampleCount = 1024;
  uint32_t samplesRead = 0;
  uint32_t channels = 2;
  uint32_t sampleRate = 0;
  uint64_t timecode = 0;
};

}  // namespace cvx
