#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace cvx {

enum class AudioFraming { Adts, MpegAudio };

// What a frame header tells about the frame it opens.
struct AudioFrameHeader {
  uint32_t frameBytes = 0;       // the whole frame, header included
  uint32_t samplesPerFrame = 0;
  uint32_t layer = 0;            // MPEG audio layer 1..3; 0 for ADTS
  uint32_t objectType = 0;       // ADTS profile + 1
};

// Header readers; false when the bytes are no valid header. ADTS needs 7
// bytes, MPEG audio 4. Free-format MPEG audio (bit rate index 0) has no length
// in its header and is refused.
bool parseAdtsHeader(const uint8_t* p, size_t available, AudioFrameHeader& out);
bool parseMpegAudioHeader(const uint8_t* p, size_t available, AudioFrameHeader& out);

// Gathers one whole frame at a time from input that may split frames anywhere
// and may hold bytes that are no frame. The frame is kept in a fixed block with
// zeroed padding behind it, as the decoders may read a little past the end.
class AudioFrameSplitter {
 public:
  static constexpr uint32_t kMaxFrameBytes = 8192;  // ADTS lengths have 13 bits
  static constexpr uint32_t kPaddingBytes = 64;

  struct Result {
    uint32_t taken = 0;        // bytes of the input used
    bool frameReady = false;   // frame() holds a whole frame
    bool skipped = false;      // bytes were dropped while looking for a header
  };

  explicit AudioFrameSplitter(AudioFraming framing);

  // Takes input until one frame is whole or the input ends.
  Result take(const uint8_t* data, uint32_t size);
  const uint8_t* frame() const { return buffer_.data(); }
  uint32_t frameSize() const { return filled_; }
  const AudioFrameHeader& header() const { return header_; }
  // Called once the ready frame has been used.
  void nextFrame();
  // Drops a partly gathered frame.
  void reset();

 private:
  bool parse(const uint8_t* p, AudioFrameHeader& out) const;

  AudioFraming framing_;
  uint32_t headerBytes_;
  std::array<uint8_t, kMaxFrameBytes + kPaddingBytes> buffer_{};
  uint32_t filled_ = 0;
  uint32_t needed_ = 0;  // 0 while the header is not yet known
  AudioFrameHeader header_;
};

}  // namespace cvx
