#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "platform/h264encoder/H264OutVideo.h"
#include "video/encoders/VideoEncoderBase.h"
#include "video/encoders/VideoEncoderBufferStream.h"
#include "video/encoders/VideoEncoderSettingsH264.h"

namespace cvx {

// H.264 in software, codec number 7, and the fallback whenever hardware was
// asked for and is absent. It owns the library's settings record, open to the
// host as settings 10000..10140, feeds frames with their time stamps, and
// takes length-prefixed access units out of its buffer stream.
class VideoEncoderH264 : public VideoEncoderBase {
 public:
  VideoEncoderH264();
  ~VideoEncoderH264() noexcept(false) override;

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
  // The library writes out its lookahead and reordered pictures.
  int endOfStream() override;

  int setParameterDouble(uint32_t settingIndex, double value) override;
  int setParameterLongArray(uint32_t settingIndex, const int64_t* values, uint32_t count) override;
  int setParameterLong(uint32_t settingIndex, int64_t value) override;
  int getParameterType(uint32_t settingIndex, uint32_t* arrayLength) override;
  int getParameterDouble(uint32_t settingIndex, double* value) override;
  int getParameterLongArray(uint32_t settingIndex, int64_t* values, uint32_t* count) override;
  int getParameterLong(uint32_t settingIndex, int64_t* value) override;

  const VideoEncoderSettingsH264& getSettings() const { return settings; }
  uint64_t getFrameDuration() const { return frameDuration; }
  bool isKeyFrameFollow() const { return keyFrameFollow; }

 private:
  VideoEncoderSettingsH264 settings;
  std::unique_ptr<H264OutVideo, H264OutVideoDeleter> encoder;
  uint32_t frameCount = 0;
  // Read by the library through a pointer: the number of the picture that
  // must be a key frame, then 0; the last two words are not read.
  int32_t keyFrameRequest[4] = {-1, 0, -1, 0};
  bool keyFrameFollow = false;
  // Tenths of a millisecond a frame lasts at the set rate.
  uint64_t frameDuration = 0;
  VideoEncoderBufferStream stream;
};

}  // namespace cvx
