#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "mfxutils/MFXVideoENCODE.h"
#include "mfxutils/MfxHandles.h"
#include "platform/mfxruntime/MfxApi.h"
#include "video/encoders/VideoEncoderBase.h"
#include "video/frames/VideoFrameBuffer.h"

namespace cvx {

// H.264 through the Media SDK, codec number 7; made when the host asks for
// Quick Sync and the probe found it. One SDK session of its own, frames in
// encoded order from one staging surface in system memory, every frame's
// type decided here, and the output rebuilt into length-prefixed access
// units. Each addFrame waits for its frame; a packet carries the time stamp
// the SDK gives back with it. The host reaches the SDK's parameters through
// settings 20000 to 20019, all longs.
class VideoEncoderH264IntelQuickSync2 : public VideoEncoderBase {
 public:
  static constexpr uint32_t kFirstSetting = 20000;
  static constexpr uint32_t kLastSetting = 20019;
  static constexpr mfx::mfxU32 kSyncWaitMs = 190000;
  // The largest picture, in each direction.
  static constexpr uint32_t kMaxDimension = 16384;
  // Frame rates outside (0, kMaxFrameRate] are refused.
  static constexpr double kMaxFrameRate = 1000.0;
  // A frame is given up after this many answers without output: a device busy
  // for about a second, or warnings that never settle.
  static constexpr int kMaxRetries = 1000;

  VideoEncoderH264IntelQuickSync2();
  ~VideoEncoderH264IntelQuickSync2() noexcept(false) override;

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
  // Asks the SDK for the frames it still holds, one call each, until it asks
  // for more data.
  int endOfStream() override;

  int setParameterLong(uint32_t settingIndex, int64_t value) override;
  int getParameterType(uint32_t settingIndex, uint32_t* arrayLength) override;
  int getParameterLong(uint32_t settingIndex, int64_t* value) override;

  bool hasSession() const { return session != nullptr; }
  const mfx::mfxVideoParam& getEncodeParams() const { return encodeParams; }
  const mfx::mfxBitstream& getBitstream() const { return bitstream; }
  uint64_t getFrameDuration() const { return frameDuration; }
  bool isKeyFrameFollow() const { return keyFrameFollow; }
  uint32_t getFrameCountEncoded() const { return frameCountEncoded; }

 private:
  // Sizes the output buffer to what the SDK says a frame may take, plus 20
  // KiB. True when the buffer grew.
  bool reallocBuffer();
  // One encode call, repeated while the device is busy or the buffer grew;
  // a null surface asks for a held frame. The SDK's answer.
  mfx::mfxStatus encodeWithRetries(mfx::mfxEncodeCtrl* control, mfx::mfxFrameSurface1* input);
  // Waits for the call's output and rebuilds it into packets; the bitstream
  // is empty again after it.
  void takeOutput();

  uint32_t frameCountEncoded = 0;
  bool keyFrameFollow = false;
  // Milliseconds a frame lasts at the set rate.
  uint64_t frameDuration = 0;
  MfxSessionPtr session;
  mfx::mfxVideoParam encodeParams{};
  std::unique_ptr<MFXVideoENCODE> encoder;
  mfx::mfxBitstream bitstream{};
  std::unique_ptr<uint8_t[]> bitstreamBlock;
  mfx::mfxSyncPoint syncPoint = nullptr;
  std::vector<VideoFrameEncoded> encodedFrames;
  uint32_t frameOrder = 0;
  // The staging frame: allocated as YV12, holding NV12 as the surface says.
  VideoFrameBuffer work;
  mfx::mfxFrameSurface1 surface{};
  mfx::mfxEncodeCtrl encodeCtrl{};
};

}  // namespace cvx
