#include "platform/videodecoder/VideoDecoderStream.h"

#include <algorithm>
#include <cstring>

extern "C" {
#include <libavutil/rational.h>
}

#include "platform/bufstream/FrameRecord.h"
#include "platform/videodecoder/PictureWriter.h"
#include "platform/videodecoder/VideoDecoderOpen.h"

namespace cvx {
namespace {

// The codec that decodes each syntax; the family's stand-in syntax is
// decoded as MPEG-4 part 2 until the first bytes tell otherwise.
LibavCodec codecFor(BitstreamKind kind) {
  switch (kind) {
    case BitstreamKind::H264: return LibavCodec::H264;
    case BitstreamKind::Mpeg2: return LibavCodec::Mpeg2Video;
    case BitstreamKind::H263: return LibavCodec::H263;
    case BitstreamKind::Spark: return LibavCodec::SorensonSpark;
    case BitstreamKind::Mpeg4:
    case BitstreamKind::Mpeg4Family: break;
  }
  return LibavCodec::Mpeg4Part2;
}

// Input with no picture boundary in it for this long is not video we can use:
// the splitter holds at most the picture it gathers and the frame after it,
// each at most 32 MiB (the session's bound), and their headers.
constexpr size_t kMaxBufferedBytes = 72u << 20;
constexpr int kMaxThreads = 16;
constexpr int kMaxErrorsInARow = 8;
// One run decodes what is complete until something is to be reported; the
// bound only guards against a codec that neither takes input nor gives output.
constexpr int kMaxRoundsPerRun = 4096;
constexpr int kDisplayAspectLimit = 65535;
constexpr char kLogLabel[] = "VideoDecoderStream.decode[{context}]: ";
constexpr int kLogContextVideoDecoder = 1;

static_assert(sizeof(FrameRecord) == 88, "the record size told through auxinfo");


}  // namespace

VideoDecoderStream::VideoDecoderStream(BitstreamKind kind) : splitter_(kind) {
  if (kind == BitstreamKind::Mpeg4Family) {
    usable_ = findLibavDecoder(LibavCodec::Mpeg4Part2) != nullptr && findLibavDecoder(LibavCodec::H263) != nullptr &&
              findLibavDecoder(LibavCodec::SorensonSpark) != nullptr;
  } else {
    usable_ = findLibavDecoder(codecFor(kind)) != nullptr;
  }
  packet_.reset(av_packet_alloc());
  received_.reset(av_frame_alloc());
  current_.reset(av_frame_alloc());
  bool frames = packet_ && received_ && current_;
  for (Event& event : events_) {
    event.frame.reset(av_frame_alloc());
    frames = frames && event.frame;
  }
  usable_ = usable_ && frames;
}

VideoDecoderStream::~VideoDecoderStream() = default;

VideoDecoderStream* VideoDecoderStream::from(bufstream_tt* stream) {
  return static_cast<VideoDecoderStream*>(owner(stream));
}

uint32_t VideoDecoderStream::copyBytes(const uint8_t* data, uint32_t size) {
  if (data == nullptr || size == 0 || eventCount_ > 0) {
    return 0;
  }
  if (splitter_.bufferedBytes() + size > kMaxBufferedBytes) {
    status_.fail("copybytes", "no picture boundary in 72 MiB of input; the input was dropped");
    dropInput();
  }
  splitter_.append(data, size);
  return size;
}

void VideoDecoderStream::done(int abort) {
  if (abort != 0) {
    reset();
    return;
  }
  ended_ = true;
}

uint32_t VideoDecoderStream::auxInfo(uint32_t offset, uint32_t infoId, void* infoPtr, uint32_t infoSize) {
  using namespace decoder_info;
  switch (infoId) {
    case kRunParser:
      return runParser();
    case kAttachUserData:
      return attachUserData(infoPtr, infoSize);
    case kFetchUserData:
      if (infoPtr == nullptr || infoSize < sizeof(void*)) {
        return kDecoderInfoFailed;
      }
      *static_cast<void**>(infoPtr) = currentHasUserData_ ? currentUserData_.data() : nullptr;
      return kDecoderInfoOk;
    case kWritePicture:
      if (infoPtr != nullptr && infoSize < sizeof(FrameRecord)) {
        return kDecoderInfoFailed;
      }
      return writeCurrentPicture(infoPtr != nullptr ? static_cast<const FrameRecord*>(infoPtr) : outputFrame_);
    case kFetchSequence:
      if (infoPtr == nullptr) {
        return kDecoderInfoFailed;
      }
      *static_cast<void**>(infoPtr) = sequenceReported_ ? sequenceParameters_.data() : nullptr;
      return sequenceReported_ ? kDecoderInfoOk : kDecoderInfoFailed;
    case kResetParser:
      reset();
      return kDecoderInfoOk;
    case kResetParserSecond:
    case kSequenceAnnounced:
      return kDecoderInfoOk;
    case kSetParseOptions:
      parseOptions_ = offset;
      return kDecoderInfoOk;
    case kSetOutputFrame:
      if (infoPtr != nullptr && infoSize < sizeof(FrameRecord)) {
        return kDecoderInfoFailed;
      }
      outputFrame_ = static_cast<const FrameRecord*>(infoPtr);
      return kDecoderInfoOk;
    case kSetThreadCount:
      threadCount_ = std::clamp(static_cast<int>(std::min<uint32_t>(offset, kMaxThreads)), 1, kMaxThreads);
      reopenCodec();
      return kDecoderInfoOk;
    case kSetMaxPixels:
      maxPixels_ = std::clamp(offset, 1u, kMaxPicturePixels);
      reopenCodec();
      return kDecoderInfoOk;
    case kSetLogger:
      status_.setLogger(static_cast<ILogger*>(infoPtr), kLogContextVideoDecoder, static_cast<int>(offset), kLogLabel);
      return kDecoderInfoOk;
    case kFetchLastError:
      if (infoPtr == nullptr) {
        return kDecoderInfoFailed;
      }
      *static_cast<const char**>(infoPtr) = status_.lastErrorText();
      return kDecoderInfoOk;
    default:
      return kDecoderInfoFailed;
  }
}

uint32_t VideoDecoderStream::attachUserData(const void* record, uint32_t size) {
  if (record == nullptr || size < sizeof(UserDataBytes)) {
    return kDecoderInfoFailed;
  }
  if (markCount_ == kMarkCapacity) {
    markHead_ = (markHead_ + 1) % kMarkCapacity;  // bytes that never formed a picture
    --markCount_;
  }
  Mark& mark = marks_[(markHead_ + markCount_) % kMarkCapacity];
  mark.offset = splitter_.streamPosition();
  std::memcpy(mark.userData.data(), record, mark.userData.size());
  ++markCount_;
  return kDecoderInfoOk;
}

void VideoDecoderStream::reopenCodec() {
  // Threads and the picture limit are the codec's at opening: it reopens
  // with the next picture, which then has to be a key frame.
  if (context_) {
    context_.reset();
    splitter_.forgetParameterSets();
    packetPending_ = false;
    needKeyFrame_ = true;
  }
}

uint32_t VideoDecoderStream::runParser() {
  if (!usable_) {
    return 0;
  }
  for (int round = 0; eventCount_ == 0 && round < kMaxRoundsPerRun; ++round) {
    receiveFrames();
    if (eventCount_ > 0) {
      break;
    }
    if (packetPending_) {
      sendPending();
      if (packetPending_) {
        break;  // the codec holds output that could not be queued; report first
      }
      continue;
    }
    AccessUnitSplitter::Unit unit;
    if (splitter_.next(ended_, unit)) {
      queueHeaderSequence();
      if (preparePacket(unit)) {
        sendPending();
      }
      continue;
    }
    if (ended_ && context_ && !draining_) {
      draining_ = true;
      status_.check(avcodec_send_packet(context_.get(), nullptr), "avcodec_send_packet");
      continue;
    }
    if (ended_) {
      // Drained: the codec takes a new stream after a flush.
      if (context_) {
        avcodec_flush_buffers(context_.get());
        splitter_.forgetParameterSets();
        needKeyFrame_ = true;
      }
      draining_ = false;
      ended_ = false;
    }
    break;
  }
  queueHeaderSequence();
  return eventCount_ > 0 ? report() : 0;
}

void VideoDecoderStream::receiveFrames() {
  if (!context_) {
    return;
  }
  // A damaged packet may surface here as an error; the codec goes on after it,
  // but a run of them means it has nothing more for now.
  int errors = 0;
  while (eventCount_ == 0 && errors < kMaxErrorsInARow) {
    const AvOutcome outcome =
        status_.check(avcodec_receive_frame(context_.get(), received_.get()), "avcodec_receive_frame");
    if (outcome == AvOutcome::Ok) {
      acceptFrame(*received_);
      av_frame_unref(received_.get());
      errors = 0;
    } else if (outcome == AvOutcome::InvalidData || outcome == AvOutcome::Failed) {
      needKeyFrame_ = true;
      ++errors;
    } else {
      return;
    }
  }
}

bool VideoDecoderStream::openCodec() {
  context_ = openLibavDecoder(codecFor(splitter_.kind()), status_, [this](AVCodecContext& context) {
    context.thread_count = threadCount_;
    context.max_pixels = maxPixels_;
    context.thread_type = threadCount_ > 1 ? (FF_THREAD_FRAME | FF_THREAD_SLICE) : 0;
    // Damaged pictures are held back here until the next key frame.
    context.flags &= ~AV_CODEC_FLAG_OUTPUT_CORRUPT;
  });
  contextKind_ = splitter_.kind();
  return context_ != nullptr;
}

bool VideoDecoderStream::preparePacket(const AccessUnitSplitter::Unit& unit) {
  // The marks up to the unit's last start code belong to it; the latest wins.
  Slot& slot = slots_[static_cast<size_t>(packetCounter_) % kSlotCapacity];
  slot.id = packetCounter_;
  slot.hasUserData = false;
  slot.headers = splitter_.headers();
  while (markCount_ > 0 && marks_[markHead_].offset <= unit.lastCodeOffset) {
    slot.hasUserData = true;
    slot.userData = marks_[markHead_].userData;
    markHead_ = (markHead_ + 1) % kMarkCapacity;
    --markCount_;
  }
  if (context_ && contextKind_ != splitter_.kind()) {
    // The MPEG-4 family's syntax was detected again: a codec for the new one.
    context_.reset();
    needKeyFrame_ = true;
  }
  if (!context_ && !openCodec()) {
    return false;
  }
  if (!reusablePacketBuffer(packetBuffer_, unit.size + AV_INPUT_BUFFER_PADDING_SIZE, status_)) {
    return false;
  }
  size_t size = 0;
  size_t from = 0;
  for (size_t i = 0; i <= unit.skipCount; ++i) {
    const size_t to = i < unit.skipCount ? unit.skip[i].first : unit.size;
    std::memcpy(packetBuffer_->data + size, unit.data + from, to - from);
    size += to - from;
    from = i < unit.skipCount ? unit.skip[i].second : unit.size;
  }
  std::memset(packetBuffer_->data + size, 0, AV_INPUT_BUFFER_PADDING_SIZE);
  if (!pointPacketAt(*packet_, packetBuffer_, size, status_)) {
    return false;
  }
  packet_->pts = packetCounter_;
  packet_->dts = AV_NOPTS_VALUE;
  ++packetCounter_;
  picturePacketSent_ = picturePacketSent_ || unit.hasPicture;
  packetPending_ = true;
  return true;
}

void VideoDecoderStream::sendPending() {
  const AvOutcome outcome = status_.check(avcodec_send_packet(context_.get(), packet_.get()), "avcodec_send_packet");
  if (outcome == AvOutcome::Again) {
    return;  // output first; the packet stays pending
  }
  if (outcome == AvOutcome::InvalidData || outcome == AvOutcome::Failed) {
    needKeyFrame_ = true;
  }
  av_packet_unref(packet_.get());
  packetPending_ = false;
}

void VideoDecoderStream::acceptFrame(AVFrame& frame) {
  if (frame.decode_error_flags != 0 || (frame.flags & AV_FRAME_FLAG_CORRUPT) != 0) {
    status_.fail("avcodec_receive_frame", "damaged picture dropped; waiting for a key frame");
    needKeyFrame_ = true;
    return;
  }
  if (needKeyFrame_) {
    if (frame.key_frame == 0) {
      return;
    }
    needKeyFrame_ = false;
  }
  splitter_.confirmKind();
  const Slot* slot = nullptr;
  if (frame.pts != AV_NOPTS_VALUE && frame.pts >= 0) {
    const Slot& candidate = slots_[static_cast<size_t>(frame.pts) % kSlotCapacity];
    slot = candidate.id == frame.pts ? &candidate : nullptr;
  }
  const StreamHeaderInfo& headers = slot != nullptr ? slot->headers : splitter_.headers();
  const SequenceValues values = sequenceOf(frame.width, frame.height, frame.sample_aspect_ratio, headers);
  if (!sequenceQueued_ || values != latestSequence_) {
    queueSequence(values);
  }
  Event& event = pushEvent();
  event.kind = EventKind::Picture;
  av_frame_move_ref(event.frame.get(), &frame);
  event.hasUserData = slot != nullptr && slot->hasUserData;
  if (event.hasUserData) {
    event.userData = slot->userData;
  }
}

void VideoDecoderStream::queueHeaderSequence() {
  // Before the first picture the headers speak for the stream: the size is
  // wanted at configuration. Later, pictures carry their own sequence, so a
  // change is reported in display order, just before its first picture.
  const StreamHeaderInfo& headers = splitter_.headers();
  const int64_t pixels = int64_t{headers.width} * headers.height;
  if (picturePacketSent_ || !headers.valid || pixels > maxPixels_) {
    return;  // a picture size the codec refuses is no sequence of ours
  }
  const AVRational pixelAspect{headers.sarNum, headers.sarDen};
  const SequenceValues values = sequenceOf(headers.width, headers.height, pixelAspect, headers);
  if (!sequenceQueued_ || values != latestSequence_) {
    queueSequence(values);
  }
}

void VideoDecoderStream::queueSequence(const SequenceValues& values) {
  Event& event = pushEvent();
  event.kind = EventKind::Sequence;
  event.sequence = values;
  latestSequence_ = values;
  sequenceQueued_ = true;
}

VideoDecoderStream::SequenceValues VideoDecoderStream::sequenceOf(int32_t width, int32_t height,
                                                                  AVRational pixelAspect,
                                                                  const StreamHeaderInfo& headers) const {
  SequenceValues values{};
  values[seq_par_set::kWidth] = width;
  values[seq_par_set::kHeight] = height;
  const bool hasAspect = pixelAspect.num > 0 && pixelAspect.den > 0;
  switch (splitter_.kind()) {
    case BitstreamKind::H264:
      if (hasAspect && width > 0 && height > 0) {
        int num = 0;
        int den = 0;
        av_reduce(&num, &den, static_cast<int64_t>(width) * pixelAspect.num,
                  static_cast<int64_t>(height) * pixelAspect.den, kDisplayAspectLimit);
        values[seq_par_set::kAspectNum] = num;
        values[seq_par_set::kAspectDen] = den;
      }
      break;
    case BitstreamKind::Mpeg2:
      values[seq_par_set::kAspectCode] = headers.aspectCode;
      break;
    default:
      if (hasAspect) {
        values[seq_par_set::kAspectNum] = pixelAspect.num;
        values[seq_par_set::kAspectDen] = pixelAspect.den;
      }
      break;
  }
  if (headers.valid) {
    values[seq_par_set::kRateNum] = headers.rateNum;
    values[seq_par_set::kRateDen] = headers.rateDen;
  }
  return values;
}

uint32_t VideoDecoderStream::report() {
  uint32_t state = decoder_state::kReport;
  Event* event = &events_[eventHead_];
  if (event->kind == EventKind::Sequence) {
    sequenceParameters_ = event->sequence;
    sequenceReported_ = true;
    state |= decoder_state::kSequence;
    eventHead_ = (eventHead_ + 1) % kEventCapacity;
    --eventCount_;
    if (eventCount_ == 0 || events_[eventHead_].kind != EventKind::Picture) {
      return state;
    }
    event = &events_[eventHead_];
  }
  av_frame_unref(current_.get());
  av_frame_move_ref(current_.get(), event->frame.get());
  currentPicture_ = true;
  currentHasUserData_ = event->hasUserData;
  currentUserData_ = event->userData;
  eventHead_ = (eventHead_ + 1) % kEventCapacity;
  --eventCount_;
  return state | decoder_state::kPictureDecoded | decoder_state::kPictureComplete | decoder_state::kPictureOutput;
}

VideoDecoderStream::Event& VideoDecoderStream::pushEvent() {
  // Decoding stops as soon as one report waits, so at most a sequence change
  // and a picture are queued; the ring is never close to full.
  Event& event = events_[(eventHead_ + eventCount_) % kEventCapacity];
  ++eventCount_;
  return event;
}

void VideoDecoderStream::clearEvents() {
  for (Event& event : events_) {
    av_frame_unref(event.frame.get());
  }
  eventHead_ = 0;
  eventCount_ = 0;
}

uint32_t VideoDecoderStream::writeCurrentPicture(const FrameRecord* record) {
  if (record == nullptr || !currentPicture_) {
    return kDecoderInfoFailed;
  }
  switch (writePicture(*current_, *record)) {
    case PictureWriteResult::Written:
      return kDecoderInfoOk;
    case PictureWriteResult::NoPicture:
      return kDecoderInfoFailed;
    case PictureWriteResult::SizeMismatch:
      status_.fail("write picture", "the frame record's size differs from the picture's; nothing written");
      return kDecoderInfoFailed;
    case PictureWriteResult::UnsupportedLayout:
      status_.fail("write picture", "the frame record is not a YV12 or I420 picture with room for it");
      return kDecoderInfoFailed;
    case PictureWriteResult::UnsupportedPixelFormat:
      status_.fail("write picture", "the decoder gave a pixel format other than 8-bit YUV");
      return kDecoderInfoFailed;
  }
  return kDecoderInfoFailed;
}

void VideoDecoderStream::dropInput() {
  splitter_.reset();
  markHead_ = 0;
  markCount_ = 0;
  needKeyFrame_ = true;
}

void VideoDecoderStream::reset() {
  dropInput();
  clearEvents();
  if (context_) {
    avcodec_flush_buffers(context_.get());
  }
  av_packet_unref(packet_.get());
  packetPending_ = false;
  av_frame_unref(current_.get());
  currentPicture_ = false;
  currentHasUserData_ = false;
  sequenceQueued_ = false;
  sequenceReported_ = false;
  picturePacketSent_ = false;
  ended_ = false;
  draining_ = false;
}

}  // namespace cvx
