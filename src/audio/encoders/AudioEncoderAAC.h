#pragma once

#include <cstdint>
#include <list>
#include <memory>
#include <vector>

#include "audio/encoders/AudioEncoderBase.h"
#include "audio/encoders/AudioEncoderBufferStream.h"
#include "audio/samples/AudioSampleBuffer.h"
#include "platform/audiocodecs/AacOutAudio.h"

namespace cvx {

// AAC-LC from 16-bit samples, codec number 10. The library takes exactly 1024
// samples a call, so samples are gathered across buffers and cut into frames
// of 1024, each stamped with the position of its first sample. Packets are
// raw access units; the host describes them with an AudioSpecificConfig of
// object type 2 and the rate and channel count it set.
class AudioEncoderAAC : public AudioEncoderBase {
 public:
  AudioEncoderAAC();
  ~AudioEncoderAAC() noexcept(false) override;
  AudioEncoderAAC(const AudioEncoderAAC&) = delete;
  AudioEncoderAAC& operator=(const AudioEncoderAAC&) = delete;

  int initialize() override;
  int getHeaders(std::vector<AudioFrameEncoded>& out) override;
  int addSampleBuffer(AudioSampleBuffer& buffer, std::vector<AudioFrameEncoded>& out) override;
  // The samples short of a whole frame become a last, shorter frame; the
  // library's one frame of delay follows, 1024 positions after it.
  int endOfStream(std::vector<AudioFrameEncoded>& out) override;
  int close() override;

  // The table index for a rate in bits per second: the largest entry not above it.
  static uint32_t bitrateIndex(uint32_t bitsPerSecond);
  uint32_t getBitrateIndex() const { return aacSettings.bitrateIndex; }
  uint32_t getQueuedSamples() const { return queuedSamples; }
  // Bytes of the copies waiting in the queue.
  uint64_t getQueuedBytes() const;

  // The message functions the library may ask for by name; null for a name
  // not known. They print to the standard output.
  using MessageFunction = AacGenericFunction;
  static MessageFunction resolveMessageCallback(const char* name);

 private:
  // The bytes of one sample frame for the library.
  uint32_t frameBytes() const;
  void encodeQueuedFrames();
  // Moves up to `wanted` queued samples into the frame buffer; how many, and
  // the position of the first.
  uint32_t takeQueuedSamples(uint32_t wanted, uint64_t& position);
  // Drops the frame buffer and the queued samples, which are laid out for
  // the encoder that is going.
  void releaseSamples();

  bool firstBuffer = true;
  std::list<AudioSampleBuffer> sampleQueue;
  uint32_t queuedSamples = 0;
  AacEncoderSettings aacSettings{};
  AudioEncoderBufferStream outputStream;
  // Declared after the stream it writes into, so it goes first.
  std::unique_ptr<AacOutAudio, AacOutAudioDeleter> handle;
  std::unique_ptr<uint8_t[]> pcmBuffer;
};

}  // namespace cvx
