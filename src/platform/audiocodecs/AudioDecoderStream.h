#pragma once

#include <cstdint>

#include "platform/audiocodecs/AudioDecoderOpen.h"
#include "platform/audiocodecs/AudioFrameSplitter.h"
#include "platform/bufstream/BufStreamSource.h"
#include "platform/libav/LibavCodecs.h"

namespace cvx {

enum class AudioStreamKind { Aac, MpegAudio, Mp3 };

// An audio decoder behind the stream record. Input is cut into whole frames
// by their headers, so a call can say exactly which bytes it used; each frame
// goes to the codec as one packet and its samples come out in the same call.
// The MPEG audio streams pick the codec by the layer of each frame.
class AudioDecoderStream : public BufStreamSource {
 public:
  explicit AudioDecoderStream(AudioStreamKind kind);
  ~AudioDecoderStream() override = default;
  AudioDecoderStream(const AudioDecoderStream&) = delete;
  AudioDecoderStream& operator=(const AudioDecoderStream&) = delete;

  bool usable() const { return usable_; }
  static AudioDecoderStream* from(bufstream_tt* stream);

  uint32_t copyBytes(const uint8_t* data, uint32_t size) override;
  uint32_t auxInfo(uint32_t offset, uint32_t infoId, void* infoPtr, uint32_t infoSize) override;
  void done(int abort) override;

 private:
  LibavCodec codecFor(const AudioFrameHeader& header) const;
  bool openCodec(LibavCodec codec);
  // Decodes the splitter's frame; writes its samples behind `written` bytes
  // of the output when `target` is set. False when the codec refused it.
  bool decodeFrame(uint8_t* target, uint32_t capacity, uint32_t& written);
  void learn(const AVFrame& frame);
  void reset();

  AudioStreamKind kind_;
  bool usable_ = false;
  AudioFrameSplitter splitter_;
  AvStatus status_;
  AvCodecContextPtr context_;
  LibavCodec codec_ = LibavCodec::Aac;  // what context_ decodes, when it is set
  AvPacketPtr packet_;
  AvFramePtr frame_;
  AvBufferPtr packetBuffer_;

  AudioOutputDescriptor* output_ = nullptr;
  uint32_t state_ = 0;
  bool synced_ = false;
  AacFrameInfo frameInfo_{};
  MpegAudioStreamRecord streamRecord_{};
};

}  // namespace cvx
