#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "platform/bufstream/BufStreamSource.h"
#include "platform/libav/LibavCodecs.h"
#include "platform/videodecoder/AccessUnitSplitter.h"
#include "platform/videodecoder/VideoDecoderOpen.h"

namespace cvx {

struct FrameRecord;

// A video decoder behind the stream record: compressed bytes go in through
// copybytes, and each run of the parser (auxinfo 0x10010) reports one thing,
// a sequence change or a picture, in display order. A picture carries the
// 16-byte record attached to the bytes of its frame, through the codec's
// reordering. The stream's own delay is one frame: a picture's bytes are
// known complete when the next picture starts or the stream ends (done(0)).
//
// While a report is waiting, copybytes takes nothing, so the feeder hands the
// rest back and runs the parser, which then reports: reports never pile up
// behind the input.
class VideoDecoderStream : public BufStreamSource {
 public:
  using UserDataBytes = std::array<uint8_t, 16>;
  using SequenceValues = std::array<int32_t, 11>;

  explicit VideoDecoderStream(BitstreamKind kind);
  ~VideoDecoderStream() override;
  VideoDecoderStream(const VideoDecoderStream&) = delete;
  VideoDecoderStream& operator=(const VideoDecoderStream&) = delete;

  // True when the library has a decoder for every syntax this stream may meet.
  bool usable() const { return usable_; }
  static VideoDecoderStream* from(bufstream_tt* stream);

  uint32_t copyBytes(const uint8_t* data, uint32_t size) override;
  uint32_t auxInfo(uint32_t offset, uint32_t infoId, void* infoPtr, uint32_t infoSize) override;
  void done(int abort) override;

 private:
  enum class EventKind { Sequence, Picture };
  struct Event {
    EventKind kind = EventKind::Sequence;
    SequenceValues sequence{};
    AvFramePtr frame;
    bool hasUserData = false;
    UserDataBytes userData{};
  };
  struct Mark {
    uint64_t offset = 0;
    UserDataBytes userData{};
  };
  // What travels beside a packet through the codec, found again by the pts.
  struct Slot {
    int64_t id = -1;
    bool hasUserData = false;
    UserDataBytes userData{};
    StreamHeaderInfo headers;
  };

  uint32_t attachUserData(const void* record, uint32_t size);
  void reopenCodec();
  uint32_t runParser();
  uint32_t report();
  void reset();
  void dropInput();
  bool openCodec();
  bool preparePacket(const AccessUnitSplitter::Unit& unit);
  void sendPending();
  void receiveFrames();
  void acceptFrame(AVFrame& frame);
  void queueHeaderSequence();
  void queueSequence(const SequenceValues& values);
  SequenceValues sequenceOf(int32_t width, int32_t height, AVRational pixelAspect,
                            const StreamHeaderInfo& headers) const;
  uint32_t writeCurrentPicture(const FrameRecord* record);
  Event& pushEvent();
  void clearEvents();

  static constexpr size_t kEventCapacity = 8;
  static constexpr size_t kMarkCapacity = 64;
  static constexpr size_t kSlotCapacity = 128;

  bool usable_ = false;
  AccessUnitSplitter splitter_;
  AvStatus status_;
  AvCodecContextPtr context_;
  BitstreamKind contextKind_ = BitstreamKind::H264;  // the syntax context_ decodes
  AvPacketPtr packet_;
  AvFramePtr received_;
  AvFramePtr current_;
  AvBufferPtr packetBuffer_;
  bool packetPending_ = false;

  std::array<Event, kEventCapacity> events_;
  size_t eventHead_ = 0;
  size_t eventCount_ = 0;
  std::array<Mark, kMarkCapacity> marks_;
  size_t markHead_ = 0;
  size_t markCount_ = 0;
  std::array<Slot, kSlotCapacity> slots_;
  int64_t packetCounter_ = 0;

  SequenceValues latestSequence_{};  // the last one queued
  bool sequenceQueued_ = false;
  SequenceValues sequenceParameters_{};  // the last one reported, handed out by pointer
  bool sequenceReported_ = false;
  UserDataBytes currentUserData_{};
  bool currentHasUserData_ = false;
  bool currentPicture_ = false;

  const FrameRecord* outputFrame_ = nullptr;
  uint32_t parseOptions_ = 0;
  int threadCount_ = 1;
  uint32_t maxPixels_ = kMaxPicturePixels;
  bool ended_ = false;
  bool draining_ = false;
  bool needKeyFrame_ = true;
  bool picturePacketSent_ = false;
};

}  // namespace cvx
