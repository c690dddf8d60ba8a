#pragma once

#include <cstdint>
#include <vector>

#include "platform/vpx/VpxEncoder.h"
#include "video/encoders/VideoEncoderBase.h"

namespace cvx {

// VP8, codec number 8. The library answers synchronously, so each addFrame
// gathers what it released; frames go to the host as they come, without
// start codes or container, each with the timecode of the frame it was made
// from (by the presentation counter, through the library's lag). It has no numbered settings: everything a host
// can set is in the setters. Key frames come from the library (at least every
// 45 frames); neither hints nor the source's key frames reach it.
class VideoEncoderVPX : public VideoEncoderBase {
 public:
  static constexpr uint32_t kKeyFrameMaxDistance = 45;

  VideoEncoderVPX();
  ~VideoEncoderVPX() noexcept(false) override;

  int setDefaults(uint32_t first, uint32_t second) override;
  int setFrameSize(uint32_t width, uint32_t height) override;
  int setFrameRate(double framesPerSecond) override;
  int setBitrate(uint32_t bitsPerSecond) override;
  int setKeyFrameFollow(bool follow) override;
  int checkSettings() override;
  int initialize() override;
  int setGPUID(int gpuId) override;
  int addFrame(VideoFrameBuffer& frame, uint32_t frameTypeHint) override;
  using VideoEncoderBase::addFrame;
  uint32_t getEncodedFrameCount() override;
  int getEncodedFrames(std::vector<VideoFrameEncoded>& out) override;
  // Asks the library for the frames of its lag.
  int endOfStream() override;

  const VpxEncoder& getLibrary() const { return library; }
  int64_t getFrameCount() const { return frameCount; }

 private:
  // The library holds at most 25 frames back; a frame's timecode is found
  // again by its presentation counter.
  static constexpr int64_t kTimecodeRing = 64;

  // Gathers what the last encode or flush released.
  void takePackets();

  VpxEncoder library;
  double frameRate = 0.0;
  // The presentation counter given to the library.
  int64_t frameCount = 0;
  int64_t timecodes[kTimecodeRing] = {};
  std::vector<VideoFrameEncoded> encodedFrames;
};

}  // namespace cvx
