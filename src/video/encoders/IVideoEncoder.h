#pragma once

#include <cstdint>
#include <vector>

#include "parameters/IParameterTarget.h"
#include "video/encoders/VideoFrameEncoded.h"

namespace cvx {

class ILogger;
class VideoFrameBuffer;

// A video encoder of the session, one per rendition. setDefaults comes first
// (it overwrites the others), then the setters in any order, then initialize,
// then any number of addFrame and getEncodedFrames calls, and at the end of
// the host's input endOfStream and a last getEncodedFrames. getEncodedFrames
// may run on another host thread than addFrame. Frames appended to `out` pass
// to the caller with the blocks they own.
class IVideoEncoder : public IParameterTarget {
 public:
  ~IVideoEncoder() noexcept(false) override = default;
  virtual uint32_t getCodec() = 0;
  virtual int setDefaults(uint32_t first, uint32_t second) = 0;
  virtual int setFrameSize(uint32_t width, uint32_t height) = 0;
  virtual int setFrameRate(double framesPerSecond) = 0;
  virtual int setBitrate(uint32_t bitsPerSecond) = 0;
  virtual int setKeyFrameFollow(bool follow) = 0;
  virtual int checkSettings() = 0;
  virtual int initialize() = 0;
  virtual int setGPUID(int gpuId) = 0;
  // The frame is borrowed for the call; hint 1 asks for a key frame, 0 takes
  // the frame's own type.
  virtual int addFrame(VideoFrameBuffer& frame, uint32_t frameTypeHint) = 0;
  virtual int addFrame(VideoFrameBuffer& frame) = 0;
  virtual uint32_t getEncodedFrameCount() = 0;
  virtual int getEncodedFrames(std::vector<VideoFrameEncoded>& out) = 0;
  // The host's input has ended: every frame the encoder still holds (its
  // lookahead, its reordering, frames on their way back from hardware) is
  // finished before this returns, and its packet waits for getEncodedFrames
  // with its own timecode and type. Frames after it are refused (-1 and a
  // level-3 line). A second call does nothing.
  virtual int endOfStream() = 0;
  // The logger is borrowed and outlives the encoder.
  virtual void setLogger(ILogger* logger) = 0;
  virtual uint32_t getContextId() = 0;
  virtual void setContextId(uint32_t contextId) = 0;
};

}  // namespace cvx
