#pragma once

#include <cstdint>
#include <list>
#include <memory>
#include <vector>

#include "logging/IConcurrentLock.h"
#include "logging/LockedFrameList.h"
#include "platform/gpuencoder/NvCuvEnc.h"
#include "video/encoders/NVCUDAVideoEncoder.h"
#include "video/encoders/VideoEncoderBase.h"
#include "video/encoders/VideoEncoderSettingsNVidiaCUDA.h"

namespace cvx {

// H.264 on an NVIDIA GPU, codec number 7, made when the host asks for
// implementation 2 and the probe found a device. It keeps the parameter
// record (settings 30000..30040) and pairs each bitstream the library hands
// back, in submission order on the library's own thread, with the oldest
// frame still pending. The lock guards the pending list; the finished frames
// have the list's own lock.
class VideoEncoderH264NVidiaCUDA2 : public VideoEncoderBase {
 public:
  // More pending frames than this means the library stopped answering:
  // further frames are refused until it catches up.
  static constexpr std::size_t kMaxPendingFrames = 64;

  VideoEncoderH264NVidiaCUDA2();
  ~VideoEncoderH264NVidiaCUDA2() noexcept(false) override;

  int setDefaults(uint32_t profile, uint32_t second) override;
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
  // Waits until every frame submitted has come back from the GPU.
  int endOfStream() override;

  int setParameterDouble(uint32_t settingIndex, double value) override;
  int setParameterLongArray(uint32_t settingIndex, const int64_t* values, uint32_t count) override;
  int setParameterLong(uint32_t settingIndex, int64_t value) override;
  int getParameterType(uint32_t settingIndex, uint32_t* arrayLength) override;
  int getParameterDouble(uint32_t settingIndex, double* value) override;
  int getParameterLongArray(uint32_t settingIndex, int64_t* values, uint32_t* count) override;
  int getParameterLong(uint32_t settingIndex, int64_t* value) override;

  const NVCUDAEncoderParams& getParams() const { return settings.params; }
  uint64_t getFrameDuration() const { return frameDuration; }
  bool isKeyFrameFollow() const { return keyFrameFollow; }
  std::size_t getPendingFrameCount();

 private:
  static unsigned char* acquireBitstream(int* bufferSize, void* user);
  static void releaseBitstream(int bytes, unsigned char* data, void* user);
  static void onBeginFrame(const NVVE_BeginFrameInfo* info, void* user);
  static void onEndFrame(const NVVE_EndFrameInfo* info, void* user);
  void finishFrame(int bytes, const unsigned char* data);
  // False (and one level-3 line per run of refusals) for a frame the library
  // would read past or that is not the configured size.
  bool acceptsFrame(const VideoFrameBuffer& frame);

  // A frame submitted and not yet handed back: the time its packet takes.
  struct PendingFrame {
    int64_t timecode = 0;
  };

  // Declared first so that it goes last: the library's thread ends in the
  // encoder's destructor, before the lists it delivers into.
  std::unique_ptr<IConcurrentLock> lock;
  std::list<PendingFrame> pendingFrames;
  LockedFrameList<VideoFrameEncoded> encodedFrames;
  std::unique_ptr<NVCUDAVideoEncoder> encoder;
  bool keyFrameFollow = false;
  uint64_t frameDuration = 0;  // tenths of a millisecond; kept, not read
  uint32_t frameCount = 0;
  VideoEncoderSettingsNVidiaCUDA settings;
  NVVE_CallbackParams callbacks = {};
  int gpuId = -1;
  bool refusing = false;     // the last frame was refused
  bool encodeFailing = false;  // the library refused the last frame
};

}  // namespace cvx
