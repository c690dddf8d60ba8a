#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "audio/decoders/IAudioDecoder.h"
#include "audio/samples/AudioSampleBuffer.h"
#include "logging/LogCollector.h"
#include "session/EncoderWrapper.h"
#include "session/GuardedDelete.h"
#include "session/ITranscoderSession.h"
#include "video/decoders/IVideoDecoder.h"
#include "video/frames/PictureMemoryBudget.h"
#include "video/frames/VideoFrameBufferSet.h"
#include "video/frames/VideoOverlayFrames.h"

namespace cvx {

inline constexpr char kVideoDecoderDestructor[] = "TranscoderSessionBase::destructor[videoDecoder]: ";
inline constexpr char kAudioDecoderDestructor[] = "TranscoderSessionBase::destructor[audioDecoder]: ";

// The owned objects of a session. Destruction deletes every codec, each under
// its own handler so one failing codec does not stop the rest, before the
// members: codecs may still refer to buffers and log to the collector.
class TranscoderSessionBase : public ITranscoderSession {
 public:
  TranscoderSessionBase() = default;
  ~TranscoderSessionBase() override;
  TranscoderSessionBase(const TranscoderSessionBase&) = delete;
  TranscoderSessionBase& operator=(const TranscoderSessionBase&) = delete;

  ILogger* getLogger() { return &logCollector; }
  LogCollector& getLogCollector() { return logCollector; }
  IVideoDecoder* getVideoDecoder() { return videoDecoder.get(); }
  IAudioDecoder* getAudioDecoder() { return audioDecoder.get(); }

  // Bound-checked lookups: null for an index that is not below the size.
  IVideoEncoder* getVideoEncoder(uint32_t index);
  IAudioEncoder* getAudioEncoder(uint32_t index);
  AudioSampleBuffer* getAudioBuffer(uint32_t index);
  VideoFrameBuffer* getDecoderFrame(uint32_t index);
  VideoFrameBufferSet* getEncoderBufferSet(uint32_t index);
  VideoFrameBuffer* getEncoderFrame(uint32_t setIndex, uint32_t itemIndex);
  VideoOverlayFrames* getRenditionOverlays(uint32_t index);

  uint32_t getVideoEncoderCount() const { return static_cast<uint32_t>(videoEncoders.size()); }
  uint32_t getAudioEncoderCount() const { return static_cast<uint32_t>(audioEncoders.size()); }
  uint32_t getAudioBufferCount() const { return static_cast<uint32_t>(audioBuffers.size()); }

  // A decoder already held is deleted, so a host that creates twice leaks
  // nothing.
  void replaceVideoDecoder(std::unique_ptr<IVideoDecoder> decoder);
  void replaceAudioDecoder(std::unique_ptr<IAudioDecoder> decoder);

  // Return the new encoder's index, its place in the list. Encoders are only
  // ever appended, so an index stays valid for the session.
  uint32_t appendVideoEncoder(std::unique_ptr<IVideoEncoder> encoder);
  uint32_t appendAudioEncoder(std::unique_ptr<IAudioEncoder> encoder);

 protected:
  GuardedOwner<IVideoDecoder, kVideoDecoderDestructor> videoDecoder;
  GuardedOwner<IAudioDecoder, kAudioDecoderDestructor> audioDecoder;
  // Counts the blocks of decoder frames and renditions; declared before
  // them, so it outlives them.
  PictureMemoryBudget pictureMemory;
  VideoFrameBufferSet decoderFrames{nullptr, &pictureMemory};
  VideoOverlayFrames decoderOverlays;
  std::vector<std::unique_ptr<AudioSampleBuffer>> audioBuffers;
  // Held through pointers so that growing either list never moves a set or a
  // provider that a transfer or another thread's overlay call is using.
  std::vector<std::unique_ptr<VideoFrameBufferSet>> encoderSets;
  std::vector<std::unique_ptr<VideoOverlayFrames>> renditionOverlays;
  std::vector<VideoEncoderWrapper> videoEncoders;
  std::vector<AudioEncoderWrapper> audioEncoders;
  LogCollector logCollector;
};

}  // namespace cvx
