#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "mfxutils/MFXVideoDECODE.h"
#include "mfxutils/MfxHandles.h"
#include "mfxutils/SysMemFrameAllocator.h"
#include "platform/mfxruntime/MfxApi.h"
#include "video/decoders/ByteBlock.h"
#include "video/decoders/VideoDecoderBase.h"

namespace cvx {

// H.264 through the Media SDK, in hardware or in the SDK's software
// implementation; codec number 7. Toward the session it reads configurations
// and rewrites frames as VideoDecoderH264 does. Inside, a bitstream fills up
// from the frames added, decoded pictures land in a pool of system memory
// surfaces, and a status-driven loop runs the SDK's asynchronous decode.
// Timecodes travel in the SDK's time stamps (x 90), frame types in a map on
// the side. Without a runtime, initialize opens no session and the decoder
// stays inert.
//
// A frame's bytes are copied into the bitstream's spare room when it is added
// (behind the bytes the SDK has not read yet) and handed to the SDK when it
// asks for more data, so no span of the host's block is kept past the call.
class VideoDecoderH264IntelQuickSync : public VideoDecoderBase {
 public:
  static constexpr uint32_t kBitstreamBytes = 0x80000;
  // The bitstream grows for larger frames up to this, and drops frames beyond.
  static constexpr uint32_t kMaxBitstreamBytes = 0x2000000;
  // The most surfaces a stream gets, whatever the SDK suggests.
  static constexpr mfx::mfxU16 kMaxSurfaces = 64;
  // The largest picture, in each direction.
  static constexpr mfx::mfxU16 kMaxDimension = 16384;
  static constexpr mfx::mfxU32 kSyncWaitMs = 60000;
  // A decode call that gives the SDK this many rounds without settling (a
  // device busy for ten seconds, warnings that never end) stops decoding.
  static constexpr int kMaxRounds = 10000;
  // Frame types of pictures that never come out are forgotten past this many.
  static constexpr std::size_t kMaxFrameTypes = 256;
  static constexpr uint16_t kNoSurface = 0xFFFF;

  VideoDecoderH264IntelQuickSync();
  ~VideoDecoderH264IntelQuickSync() noexcept(false) override;

  // The implementation asked of the SDK at initialize: 0 automatic, 1 software.
  void setImplementation(uint32_t value) { implementation = static_cast<mfx::mfxIMPL>(value); }
  uint32_t getImplementation() const { return static_cast<uint32_t>(implementation); }

  int initialize() override;
  int setGPUID(int gpuId) override;
  int close() override;
  int decodeCodecConfig(uint8_t* data, uint32_t offset, uint32_t length) override;
  int getDecodedFrame(VideoFrameBuffer& frame) override;
  int addFrame(uint8_t* data, uint32_t offset, uint32_t length, int64_t timecode, uint32_t frameType) override;
  int decode(uint32_t& flags) override;
  // Whether the SDK has read all of the bitstream; frames added and not yet
  // handed over do not count. After endOfStream, pictures the SDK still
  // holds count until it has given out the last.
  bool isInputEmpty() override;
  int endOfStream() override;

  bool hasSession() const { return session != nullptr; }
  bool hasStopped() const { return stopped; }
  int32_t getLastStatus() const { return lastStatus; }
  std::size_t getSurfaceCount() const { return surfaces.size(); }
  const mfx::mfxBitstream& getBitstream() const { return bitstream; }

 private:
  void updateDecodeInfo();
  // Makes the bitstream's bytes start at 0 with the staged frames right
  // behind them, and room for `more` bytes after those; false when that would
  // pass kMaxBitstreamBytes.
  bool makeRoom(uint32_t more);
  // Hands the staged frames to the SDK: the time stamp and frame type of the
  // last one go with them.
  void fillBitstream();
  void setUpSurfaces(mfx::mfxU16 suggested);
  int findFreeSurface() const;
  // The rounds of one decode call; false when they ran out.
  bool runRounds(uint32_t& flags);
  // Decoding has ended for good: what the SDK was given and what waits for it
  // is let go, so that the host sees its input consumed and moves on.
  void stop(const std::string& why);
  // The surface the SDK handed out, when it is one of ours.
  int outputIndex() const;

  std::deque<byteBlock> bufferList;
  std::map<uint64_t, uint32_t> frameTypes;
  bool logDecodeInfo = true;
  bool firstConfig = true;
  MfxSessionPtr session;
  mfx::mfxIMPL implementation = mfx::MFX_IMPL_AUTO;
  std::unique_ptr<MFXVideoDECODE> decoder;
  mfx::mfxVideoParam videoParam{};
  mfx::mfxBitstream bitstream{};
  std::unique_ptr<uint8_t[]> bitstreamBlock;
  // Frames added and not yet handed to the SDK: bytes at stagedAt.
  uint32_t stagedAt = 0;
  uint32_t stagedLength = 0;
  int64_t stagedTimecode = 0;
  uint32_t stagedFrameType = 0;
  std::unique_ptr<SysMemFrameAllocator> allocator;
  std::vector<mfx::mfxFrameSurface1> surfaces;
  // Each surface's planes as its lock gave them: what a picture is read from.
  std::vector<mfx::mfxFrameData> lockedPlanes;
  uint64_t surfaceBytes = 0;
  mfx::mfxFrameAllocResponse allocResponse{};
  uint16_t currentSurface = 0;
  int32_t lastStatus = 0;
  bool stopped = false;
  bool draining = false;
  mfx::mfxFrameSurface1* outputSurface = nullptr;
};

}  // namespace cvx
