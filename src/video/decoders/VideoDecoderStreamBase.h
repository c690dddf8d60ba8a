#pragma once

#include <cstdint>
#include <deque>
#include <string>

#include "platform/bufstream/BufStream.h"
#include "video/decoders/ByteBlock.h"
#include "video/decoders/VideoDecoderBase.h"

namespace cvx {

// The decoders that drive a library stream through copybytes and auxinfo:
// queued spans in, one state report at a time out, pictures matched to their
// timecodes by the user data the library carries through its reordering.
// The classes differ in how they queue a frame, read a configuration and
// work out the display size.
class VideoDecoderStreamBase : public VideoDecoderBase {
 public:
  // Opens the library's stream; the three arguments are unused by ours.
  using StreamOpener = bufstream_tt* (*)(void*, void*, void*);

  // Settings of every stream decoder. 0: parser options (1 by default, any
  // 32-bit value); 1: decoding threads (1 to 16, 1 by default: a server runs
  // many sessions side by side, and frame threads add delay), read at
  // initialize. A value out of range is ignored with a level-3 line.
  static constexpr uint32_t kSettingParseOptions = 0;
  static constexpr uint32_t kSettingThreads = 1;
  static constexpr int64_t kMaxThreads = 16;

  ~VideoDecoderStreamBase() noexcept(false) override;

  int initialize() override;
  int setGPUID(int gpuId) override;
  int close() override;
  int getDecodedFrame(VideoFrameBuffer& frame) override;
  int decode(uint32_t& flags) override;
  // Pictures still held after the end of the stream count as input.
  bool isInputEmpty() override { return bufferList.empty() && !draining; }
  int endOfStream() override;

  int setParameterLong(uint32_t settingIndex, int64_t value) override;
  int getParameterType(uint32_t settingIndex, uint32_t* arrayLength) override;
  int getParameterLong(uint32_t settingIndex, int64_t* value) override;

  bool isInitialized() const { return handle != nullptr; }

 protected:
  // The methods whose failures are written on stdout under "<Class>::<method>: ".
  enum LabelledMethod { kInitialize, kClose, kDecode, kGetDecodedFrame, kUpdateDecodeInfo, kAddFrame,
                        kDecodeCodecConfig, kEndOfStream, kLabelledMethodCount };

  // `name` is the class name used in labels and log lines.
  VideoDecoderStreamBase(const char* name, StreamOpener opener);

  // The fixed label of `method` for this class.
  const char* label(LabelledMethod method) const { return labels[method].c_str(); }

  // The library's auxinfo on our stream.
  uint32_t aux(uint32_t offset, uint32_t infoId, void* infoPtr, uint32_t infoSize);
  // Hands bytes of a configuration to the parser and runs it; the parser's state bits.
  uint32_t parse(uint8_t* data, uint32_t length);
  // Resets the parser and passes the parser options, before the first configuration.
  void setUpParser();
  // Ends the first configuration with the parser's state: a sequence header
  // read gives 0 and announces the sequence and the output frame; anything
  // else gives -2. Later configurations never reach the parser.
  int finishFirstConfiguration(uint32_t state);
  // Reads the sequence parameters, stores sizes and rate, logs when they change.
  void updateDecodeInfo();
  // From the sequence values (seq_par_set positions): the display size, and
  // the aspect words of the log line (everything between "aspect:" and " frame:").
  virtual std::string displaySize(const int32_t* seq, uint32_t& displayW, uint32_t& displayH) = 0;

  const char* className;
  StreamOpener opener;
  BufStreamPtr handle;
  std::deque<byteBlock> bufferList;
  bool logDecodeInfo = true;
  bool firstConfig = true;
  uint32_t threads = 1;
  // After endOfStream, until the library has given out its last picture.
  bool draining = false;

 private:
  // The record attached to a frame's first byte and returned with its picture.
  struct UserData {
    uint32_t frameType;
    uint32_t reserved;
    int64_t timecode;
  };
  static_assert(sizeof(UserData) == 16, "the library keeps 16 bytes per frame");

  // Feeds queued spans until the parser reports; its state bits, 0 when the
  // queue ran empty first.
  uint32_t feedUntilReport();
  // Once every queued byte has gone in: tells the library the stream has
  // ended and runs it for one more report, 0 when it holds nothing more.
  uint32_t drainReport();
  // Turns one report into decode flags; a picture's label becomes the
  // decoder's frame type and timecode.
  uint32_t flagsOfReport(uint32_t state);

  UserData userData{};
  bool libraryEnded = false;
  std::string labels[kLabelledMethodCount];
};

}  // namespace cvx
