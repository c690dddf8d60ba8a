#pragma once

#include <cstdint>
#include <deque>
#include <string>
#include <vector>

#include "video/decoders/ByteBlock.h"
#include "video/decoders/IVideoDecoder.h"
#include "parameters/ParameterTargetDefaults.h"

namespace cvx {

// Fields and plain accessors shared by every video decoder, and the H.264
// pieces (start code, access unit delimiters, parameter sets) that the
// length-prefixed stream needs put back in front of each frame.
class VideoDecoderBase : public ParameterTargetDefaults<IVideoDecoder> {
 public:
  // 00 00 00 01, and delimiters with primary picture types I, B and P.
  static constexpr uint8_t kStartCode[4] = {0, 0, 0, 1};
  static constexpr uint8_t kAudKey[6] = {0, 0, 0, 1, 9, 0x10};
  static constexpr uint8_t kAudDisposable[6] = {0, 0, 0, 1, 9, 0x50};
  static constexpr uint8_t kAudInter[6] = {0, 0, 0, 1, 9, 0x30};

  VideoDecoderBase() = default;
  ~VideoDecoderBase() noexcept(false) override = default;

  uint32_t getWidth() override { return width; }
  void setWidth(uint32_t value) override { width = value; }
  uint32_t getHeight() override { return height; }
  void setHeight(uint32_t value) override { height = value; }
  uint32_t getDisplayWidth() override { return displayWidth; }
  void setDisplayWidth(uint32_t value) override { displayWidth = value; }
  uint32_t getDisplayHeight() override { return displayHeight; }
  void setDisplayHeight(uint32_t value) override { displayHeight = value; }
  double getFrameRate() override { return frameRate; }
  void setFrameRate(double value) override { frameRate = value; }
  FrameRecord* getOutputFrame() override { return outputFrame; }
  void setOutputFrame(FrameRecord* frame) override { outputFrame = frame; }
  uint32_t getFrameType() override { return frameType; }
  int64_t getTimecode() override { return timecode; }
  void setLogger(ILogger* value) override { logger = value; }
  // A decoder that holds no pictures has nothing to give out.
  int endOfStream() override {
    inputEnded = true;
    return 0;
  }

  uint32_t getCodec() const { return codec; }
  void setCodec(uint32_t value) { codec = value; }

 protected:
  void logInfo(const std::string& statement);
  void logError(const std::string& statement);
  // True, with one level-3 line, for input after endOfStream; `owner` and
  // `method` name the refused call.
  bool refusedAfterEnd(const char* owner, const char* method);

  // NAL units taken from one frame; real pictures have a few hundred slices
  // at most, and each unit costs two queued spans.
  static constexpr uint32_t kMaxNalUnitsPerFrame = 16384;

  // Reads an H.264 decoder configuration record at data + offset and keeps
  // its first SPS and first PPS, each behind a start code. False, keeping
  // what was held, for a record that does not hold both. Sets that `queue`
  // still has spans of are kept alive until it has run empty.
  bool readConfigurationRecord(const std::deque<byteBlock>& queue, const uint8_t* data, uint32_t offset,
                               uint32_t length);
  // Queues one frame of length-prefixed NAL units as start-code spans onto
  // `queue`, with an access unit delimiter, the SPS and the PPS in front where
  // the frame brings none of its own; the block at the queue's front takes
  // the frame type. The payload stays the caller's. Returns 0, or -1 when a
  // length runs past the frame or it holds more than kMaxNalUnitsPerFrame
  // units (what came before is queued).
  // `owner` names the class in the log line.
  int queueLengthPrefixedFrame(const char* owner, std::deque<byteBlock>& queue, const uint8_t* data, uint32_t offset,
                               uint32_t length, int64_t timecode, uint32_t frameType);

  uint32_t codec = 0xFFFFFFFFu;
  uint32_t width = 0;
  uint32_t height = 0;
  uint32_t displayWidth = 0;
  uint32_t displayHeight = 0;
  double frameRate = 0.0;
  uint32_t frameType = 0;
  int64_t timecode = 0;
  FrameRecord* outputFrame = nullptr;
  // The parameter sets of the last configuration, each behind a start code.
  std::vector<uint8_t> sps;
  std::vector<uint8_t> pps;
  // Parameter sets that a later configuration replaced while spans of them
  // were still queued: they live until the queue has run empty.
  std::vector<std::vector<uint8_t>> retiredParameterSets;
  bool parameterSetsQueued = false;
  // The NAL units of the frame being queued, reused from frame to frame.
  std::vector<byteBlock> localBufferList;
  ILogger* logger = nullptr;
  uint32_t parseOptions = 1;
  bool inputEnded = false;
};

}  // namespace cvx
