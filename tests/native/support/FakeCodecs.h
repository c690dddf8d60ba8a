#pragma once

// Minimal codecs for session tests: each records its destruction into a
// shared journal, and may be told to throw from its destructor.
#include <deque>
#include <stdexcept>
#include <string>
#include <vector>

#include "audio/decoders/AudioDecoderBase.h"
#include "audio/encoders/AudioEncoderBase.h"
#include "video/decoders/VideoDecoderBase.h"
#include "video/encoders/VideoEncoderBase.h"

namespace cvx {
namespace testing {

struct DestructionJournal {
  std::vector<std::string> destroyed;
};

class FakeVideoEncoder : public VideoEncoderBase {
 public:
  FakeVideoEncoder(DestructionJournal* journal, std::string name, bool throwOnDelete = false)
      : journal_(journal), name_(std::move(name)), throwOnDelete_(throwOnDelete) {}
  ~FakeVideoEncoder() noexcept(false) override {
    if (journal_ != nullptr) journal_->destroyed.push_back(name_);
    if (throwOnDelete_) throw std::runtime_error("encoder " + name_ + " refused to go");
  }
  int setDefaults(uint32_t, uint32_t) override { return 0; }
  int setFrameSize(uint32_t, uint32_t) override { return 0; }
  int setFrameRate(double) override { return 0; }
  int setBitrate(uint32_t) override { return 0; }
  int setKeyFrameFollow(bool) override { return 0; }
  int checkSettings() override { return 0; }
  int initialize() override { return 0; }
  int setGPUID(int) override { return 0; }
  int addFrame(VideoFrameBuffer&, uint32_t) override { return 0; }
  using VideoEncoderBase::addFrame;
  uint32_t getEncodedFrameCount() override { return 0; }
  int getEncodedFrames(std::vector<VideoFrameEncoded>&) override { return 0; }

 private:
  DestructionJournal* journal_;
  std::string name_;
  bool throwOnDelete_;
};

class FakeAudioEncoder : public AudioEncoderBase {
 public:
  FakeAudioEncoder(DestructionJournal* journal, std::string name, bool throwOnDelete = false)
      : journal_(journal), name_(std::move(name)), throwOnDelete_(throwOnDelete) {}
  ~FakeAudioEncoder() noexcept(false) override {
    if (journal_ != nullptr) journal_->destroyed.push_back(name_);
    if (throwOnDelete_) throw std::runtime_error("encoder " + name_ + " refused to go");
  }
  int initialize() override { return 0; }
  int getHeaders(std::vector<AudioFrameEncoded>&) override { return 0; }
  int addSampleBuffer(AudioSampleBuffer&, std::vector<AudioFrameEncoded>&) override { return 0; }
  int close() override { return 0; }

 private:
  DestructionJournal* journal_;
  std::string name_;
  bool throwOnDelete_;
};

// An audio decoder with no codec behind it, exposing frame accounting.
class FakeAudioDecoder : public AudioDecoderBase {
 public:
  explicit FakeAudioDecoder(DestructionJournal* journal = nullptr, std::string name = "audio decoder")
      : journal_(journal), name_(std::move(name)) {}
  ~FakeAudioDecoder() noexcept(false) override {
    if (journal_ != nullptr) journal_->destroyed.push_back(name_);
  }
  int setDecodeParameters(int32_t, int32_t, int32_t) override { return 0; }
  int setDecodeParameters(int32_t third) override { return setDecodeParameters(-1, -1, third); }
  int initialize() override { return 0; }
  int decodeCodecConfig(uint8_t*, uint32_t, uint32_t) override { return 0; }
  int decodeFirstFrame(uint8_t*, uint32_t, uint32_t) override { return 0; }
  int decodeFrame(uint8_t*, uint32_t, uint32_t, uint64_t, AudioSampleBuffer&) override { return 0; }
  int close() override { return 0; }
  uint32_t getChannels() override { return channels; }
  uint32_t getSampleRate() override { return sampleRate; }
  uint32_t getMaxFrameSamples() override { return 2048; }

  void setRate(uint32_t rate, uint32_t channelCount) {
    sampleRate = rate;
    channels = channelCount;
  }
  bool account(uint32_t n, uint64_t t, AudioSampleBuffer& buffer) { return accountFrame(n, t, buffer); }

 private:
  DestructionJournal* journal_;
  std::string name_;
};

// A video decoder that keeps the spans it is given, as the real ones do, and
// reads one of them per decode call.
class FakeVideoDecoder : public VideoDecoderBase {
 public:
  int initialize() override { return 0; }
  int setGPUID(int) override { return 0; }
  int close() override { return 0; }
  int decodeCodecConfig(uint8_t*, uint32_t, uint32_t) override { return 0; }
  int getDecodedFrame(VideoFrameBuffer&) override { return 0; }
  int addFrame(uint8_t* data, uint32_t offset, uint32_t length, int64_t, uint32_t) override {
    spans.push_back({data + offset, length});
    return 0;
  }
  int decode(uint32_t& flags) override {
    if (!spans.empty()) {
      read.emplace_back(spans.front().first, spans.front().first + spans.front().second);
      spans.pop_front();
    }
    flags = spans.empty() ? 1u : 0u;
    return 0;
  }
  bool isInputEmpty() override { return spans.empty(); }

  std::deque<std::pair<const uint8_t*, uint32_t>> spans;
  std::vector<std::vector<uint8_t>> read;  // the bytes of each span, as read
};

}  // namespace testing
}  // namespace cvx
