#include "platform/audiocodecs/AudioFrameSplitter.h"

#include <algorithm>
#include <cstring>

namespace cvx {
namespace {

constexpr uint32_t kAdtsHeaderBytes = 7;
constexpr uint32_t kMpegHeaderBytes = 4;
constexpr uint32_t kAdtsRateIndexCount = 13;

// Bit rates in kbit/s by [MPEG-1 ? 0 : 1][layer - 1][index]; index 0 is free format.
constexpr uint16_t kMpegBitRates[2][3][15] = {
    {{0, 32, 64, 96, 128, 160, 192, 224, 256, 288, 320, 352, 384, 416, 448},
     {0, 32, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 384},
     {0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320}},
    {{0, 32, 48, 56, 64, 80, 96, 112, 128, 144, 160, 176, 192, 224, 256},
     {0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160},
     {0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160}},
};
// Sample rates by the header's version bits (0 MPEG-2.5, 2 MPEG-2, 3 MPEG-1) and rate index.
constexpr uint32_t kMpegSampleRates[4][3] = {
    {11025, 12000, 8000}, {0, 0, 0}, {22050, 24000, 16000}, {44100, 48000, 32000}};

}  // namespace

bool parseAdtsHeader(const uint8_t* p, size_t available, AudioFrameHeader& out) {
  if (p == nullptr || available < kAdtsHeaderBytes) return false;
  // Twelve sync bits, then the layer bits, which are always 0.
  if (p[0] != 0xFF || (p[1] & 0xF6) != 0xF0) return false;
  if (((p[2] >> 2) & 0xF) >= kAdtsRateIndexCount) return false;
  const uint32_t headerBytes = (p[1] & 1) != 0 ? 7u : 9u;
  const uint32_t length = ((p[3] & 3u) << 11) | (uint32_t{p[4]} << 3) | (p[5] >> 5);
  if (length < headerBytes) return false;
  out.frameBytes = length;
  out.samplesPerFrame = 1024u * ((p[6] & 3u) + 1u);
  out.layer = 0;
  out.objectType = (p[2] >> 6) + 1u;
  return true;
}

bool parseMpegAudioHeader(const uint8_t* p, size_t available, AudioFrameHeader& out) {
  if (p == nullptr || available < kMpegHeaderBytes) return false;
  if (p[0] != 0xFF || (p[1] & 0xE0) != 0xE0) return false;
  const uint32_t version = (p[1] >> 3) & 3u;
  const uint32_t layerBits = (p[1] >> 1) & 3u;
  const uint32_t rateIndex = (p[2] >> 2) & 3u;
  const uint32_t bitRateIndex = p[2] >> 4;
  if (version == 1 || layerBits == 0 || rateIndex == 3 || bitRateIndex == 0 || bitRateIndex == 15) return false;
  const uint32_t layer = 4 - layerBits;
  const bool mpeg1 = version == 3;
  const uint32_t bitRate = kMpegBitRates[mpeg1 ? 0 : 1][layer - 1][bitRateIndex] * 1000u;
  const uint32_t sampleRate = kMpegSampleRates[version][rateIndex];
  const uint32_t padding = (p[2] >> 1) & 1u;
  if (layer == 1) {
    out.frameBytes = (12u * bitRate / sampleRate + padding) * 4u;
    out.samplesPerFrame = 384;
  } else if (layer == 2 || mpeg1) {
    out.frameBytes = 144u * bitRate / sampleRate + padding;
    out.samplesPerFrame = 1152;
  } else {
    out.frameBytes = 72u * bitRate / sampleRate + padding;
    out.samplesPerFrame = 576;
  }
  out.layer = layer;
  out.objectType = 0;
  return out.frameBytes >= kMpegHeaderBytes && out.frameBytes <= AudioFrameSplitter::kMaxFrameBytes;
}

AudioFrameSplitter::AudioFrameSplitter(AudioFraming framing)
    : framing_(framing), headerBytes_(framing == AudioFraming::Adts ? kAdtsHeaderBytes : kMpegHeaderBytes) {}

bool AudioFrameSplitter::parse(const uint8_t* p, AudioFrameHeader& out) const {
  return framing_ == AudioFraming::Adts ? parseAdtsHeader(p, headerBytes_, out) : parseMpegAudioHeader(p, headerBytes_, out);
}

AudioFrameSplitter::Result AudioFrameSplitter::take(const uint8_t* data, uint32_t size) {
  Result result;
  if (data == nullptr) return result;
  while (result.taken < size) {
    if (needed_ == 0) {
      if (filled_ == 0 && data[result.taken] != 0xFF) {
        // Every header starts with 0xFF: jump over anything else at once.
        const void* sync = std::memchr(data + result.taken, 0xFF, size - result.taken);
        const uint32_t next = sync == nullptr ? size : static_cast<uint32_t>(static_cast<const uint8_t*>(sync) - data);
        result.skipped = true;
        result.taken = next;
        continue;
      }
      while (filled_ < headerBytes_ && result.taken < size) buffer_[filled_++] = data[result.taken++];
      if (filled_ < headerBytes_) break;
      if (!parse(buffer_.data(), header_)) {
        // Not a header after all: slide on by one byte.
        --filled_;
        std::memmove(buffer_.data(), buffer_.data() + 1, filled_);
        result.skipped = true;
        continue;
      }
      needed_ = header_.frameBytes;
    }
    const uint32_t n = std::min(needed_ - filled_, size - result.taken);
    std::memcpy(buffer_.data() + filled_, data + result.taken, n);
    filled_ += n;
    result.taken += n;
    if (filled_ == needed_) {
      std::memset(buffer_.data() + filled_, 0, kPaddingBytes);
      result.frameReady = true;
      break;
    }
  }
  return result;
}

void AudioFrameSplitter::nextFrame() {
  filled_ = 0;
  needed_ = 0;
}

void AudioFrameSplitter::reset() { nextFrame(); }

}  // namespace cvx
