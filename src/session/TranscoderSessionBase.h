#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "audio/samples/AudioSampleBufferSetItem.h"
#include "logging/LogCollector.h"
#include "session/AudioEncoderWrapper.h"
#include "session/ITranscoderSession.h"
#include "session/VideoEncoderWrapper.h"
#include "video/frames/PictureMemoryBudget.h"
#include "video/frames/VideoFrameBufferSet.h"
#include "video/frames/VideoOverlayFrames.h"

namespace cvx {

class IAudioDecoder;
class IVideoDecoder;

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
  IVideoDecoder* getVideoDecoder() { return videoDecoder; }
  IAudioDecoder* getAudioDecoder() { return audioDecoder; }

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

  // Takes ownership. A decoder already held is deleted first, so a host that
  // creates twice leaks nothing.
  void replaceVideoDecoder(IVideoDecoder* decoder);
  void replaceAudioDecoder(IAudioDecoder* decoder);

  // Take ownership and return the new encoder's index, its place in the list.
  // Encoders are only ever appended, so an index stays valid for the session.
  uint32_t appendVideoEncoder(IVideoEncoder* encoder);
  uint32_t appendAudioEncoder(IAudioEncoder* encoder);

 protected:
  IVideoDecoder* videoDecoder = nullptr;
  IAudioDecoder* audioDecoder = nullptr;
  // Counts the blocks of decoder frames and renditions; declared before
  // them, so it outlives them.
  PictureMemoryBudget pictureMemory;
  VideoFrameBufferSet decoderFrames{nullptr, &pictureMemory};
  VideoOverlayFrames decoderOverlays;
  std::vector<AudioSampleBufferSetItem> audioBuffers;
  // Held through pointers so that growing either list never moves a set or a
  // provider that a transfer or another thread's overlay call is using.
  std::vector<std::unique_ptr<VideoFrameBufferSet>> encoderSets;
  std::vector<std::unique_ptr<VideoOverlayFrames>> renditionOverlays;
  std::vector<VideoEncoderWrapper> videoEncoders;
  std::vector<AudioEncoderWrapper> audioEncoders;
  LogCollector logCollector;

 private:
  void deleteVideoDecoder();
  void deleteAudioDecoder();
};

}  // namespace cvx
