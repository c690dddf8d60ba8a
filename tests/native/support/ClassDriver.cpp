#include "support/ClassDriver.h"

#include <cstring>

#include "platform/videodecoder/VideoDecoderOpen.h"

namespace cvx::test {
namespace {

const uint8_t kStartCode[4] = {0, 0, 0, 1};
const uint8_t kAudKey[6] = {0, 0, 0, 1, 9, 0x10};
const uint8_t kAudDisposable[6] = {0, 0, 0, 1, 9, 0x50};
const uint8_t kAudInter[6] = {0, 0, 0, 1, 9, 0x30};

struct UserData {
  uint32_t frameType;
  uint64_t timecode;
};
static_assert(sizeof(UserData) == 16, "the record the decoder carries");

}  // namespace

ClassDriver::ClassDriver(bufstream_tt* stream, uint32_t fourcc) : stream_(stream), fourcc_(fourcc) {}

ClassDriver::~ClassDriver() {
  if (stream_ != nullptr) {
    stream_->done(stream_, 0);
    stream_->free(stream_);
  }
}

uint32_t ClassDriver::configure(const std::vector<std::vector<uint8_t>>& blocks) {
  stream_->auxinfo(stream_, 0, decoder_info::kResetParser, nullptr, 0);
  stream_->auxinfo(stream_, 0, decoder_info::kResetParserSecond, nullptr, 0);
  stream_->auxinfo(stream_, 256 | 16, decoder_info::kSetParseOptions, nullptr, 0);
  uint32_t state = 0;
  for (const std::vector<uint8_t>& block : blocks) {
    stream_->copybytes(stream_, const_cast<uint8_t*>(block.data()), static_cast<uint32_t>(block.size()));
    state = stream_->auxinfo(stream_, 0, decoder_info::kRunParser, nullptr, 0);
  }
  if ((state & 0x101) == 0x101) {
    actOnState(state & 0x101);
    stream_->auxinfo(stream_, 0, decoder_info::kSequenceAnnounced, nullptr, 0);
    stream_->auxinfo(stream_, 0, decoder_info::kSetOutputFrame, nullptr, 0);
  }
  return state;
}

void ClassDriver::addSpan(const uint8_t* data, uint32_t length, uint64_t timecode, uint32_t frameType) {
  queue_.push_back({data, length, timecode, frameType});
}

void ClassDriver::addH264Frame(const std::vector<std::pair<const uint8_t*, uint32_t>>& nals, uint64_t timecode,
                               uint32_t frameType) {
  const size_t first = queue_.size();
  const uint8_t* aud = frameType == 1 ? kAudKey : frameType == 3 ? kAudDisposable : kAudInter;
  addSpan(aud, 6, timecode, 0);
  if (!sps.empty()) addSpan(sps.data(), static_cast<uint32_t>(sps.size()), timecode, 0);
  if (!pps.empty()) addSpan(pps.data(), static_cast<uint32_t>(pps.size()), timecode, 0);
  for (const auto& nal : nals) {
    addSpan(kStartCode, 4, timecode, 0);
    addSpan(nal.first, nal.second, timecode, 0);
  }
  queue_[first].frameType = frameType;
}

uint32_t ClassDriver::decode() {
  uint32_t state = 0;
  bool stopped = false;
  while (!queue_.empty()) {
    Span span = queue_.front();
    queue_.pop_front();
    if (span.frameType > 0) {
      UserData user{span.frameType, span.timecode};
      stream_->auxinfo(stream_, 0, decoder_info::kAttachUserData, &user, sizeof(user));
      span.frameType = 0;
    }
    const uint32_t consumed = stream_->copybytes(stream_, const_cast<uint8_t*>(span.data), span.length);
    if (consumed < span.length) {
      queue_.push_front({span.data + consumed, span.length - consumed, span.timecode, 0});
    }
    state = stream_->auxinfo(stream_, 0, decoder_info::kRunParser, nullptr, 0);
    if ((state & 1) != 0) {
      stopped = true;
      break;
    }
  }
  uint32_t flags = stopped ? actOnState(state) : 0;
  if (queue_.empty()) {
    flags |= 1;
  }
  return flags;
}

uint32_t ClassDriver::actOnState(uint32_t state) {
  uint32_t flags = 0;
  if ((state & 0x100) != 0) {
    flags |= 32;
    void* values = nullptr;
    if (stream_->auxinfo(stream_, 0, decoder_info::kFetchSequence, &values, 44) == 0 && values != nullptr) {
      std::array<int32_t, 11> sequence{};
      std::memcpy(sequence.data(), values, sizeof(int32_t) * sequence.size());
      sequences.push_back(sequence);
      width = sequence[0];
      height = sequence[1];
    }
    allocate();  // the session reallocates before it fetches a picture
  }
  if ((state & 0x100000) != 0 && (state & 0x400000) != 0) {
    flags |= 4;
    if ((state & 0x1000000) != 0) flags |= 16;
    if ((state & 0x200000) == 0) flags |= 8;
    void* user = nullptr;
    stream_->auxinfo(stream_, 0, decoder_info::kFetchUserData, &user, 8);
    DecodedPicture picture;
    if (user != nullptr) {
      UserData data;
      std::memcpy(&data, user, sizeof(data));
      frameType_ = data.frameType;
      timecode_ = data.timecode;
      picture.hadUserData = true;
    }
    picture.timecode = timecode_;
    picture.frameType = frameType_;
    if ((flags & 8) == 0) {
      if (stream_->auxinfo(stream_, 0, decoder_info::kWritePicture, &record_, sizeof(record_)) != 0) {
        ++writeFailures;
      } else {
        // Back to I420 for comparison: plane 1 of a YV12 record holds V.
        const size_t luma = static_cast<size_t>(width) * height;
        const size_t chroma = luma / 4;
        picture.yuv.assign(block_.begin(), block_.end());
        if (fourcc_ == kFourccYV12) {
          std::memcpy(picture.yuv.data() + luma, block_.data() + luma + chroma, chroma);
          std::memcpy(picture.yuv.data() + luma + chroma, block_.data() + luma, chroma);
        }
      }
      pictures.push_back(std::move(picture));
    }
  }
  return flags | 2;
}

void ClassDriver::allocate() {
  const size_t luma = static_cast<size_t>(width) * height;
  block_.assign(luma * 3 / 2, 0);
  record_ = FrameRecord{};
  record_.width = static_cast<uint32_t>(width);
  record_.height = static_cast<uint32_t>(height);
  record_.fourcc = fourcc_;
  record_.plane[0] = block_.data();
  record_.plane[1] = block_.data() + luma;
  record_.plane[2] = block_.data() + luma + luma / 4;
  record_.planeStride[0] = width;
  record_.planeStride[1] = width / 2;
  record_.planeStride[2] = width / 2;
}

void ClassDriver::decodeAll() {
  while ((decode() & 1) == 0) {
  }
}

void ClassDriver::finish() {
  stream_->done(stream_, 0);
  for (;;) {
    const uint32_t state = stream_->auxinfo(stream_, 0, decoder_info::kRunParser, nullptr, 0);
    if ((state & 1) == 0) {
      break;
    }
    actOnState(state);
  }
}

}  // namespace cvx::test
