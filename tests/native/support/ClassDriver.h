#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <vector>

#include "platform/bufstream/BufStream.h"
#include "platform/bufstream/FrameRecord.h"

namespace cvx::test {

constexpr uint32_t kFourccYV12 = 0x32315659;
constexpr uint32_t kFourccI420 = 0x30323449;

struct DecodedPicture {
  uint64_t timecode = 0;
  uint32_t frameType = 0;
  bool hadUserData = false;
  std::vector<uint8_t> yuv;  // I420 whatever the record's code, for comparison
};

// Drives a decoder stream the way the decoder classes do: a queue of spans,
// userData in front of each frame's first span, copybytes, the parser run
// until it reports, and the session's reaction to the flags (a new buffer at
// a sequence change, the picture written into it).
class ClassDriver {
 public:
  ClassDriver(bufstream_tt* stream, uint32_t fourcc);
  ~ClassDriver();
  ClassDriver(const ClassDriver&) = delete;
  ClassDriver& operator=(const ClassDriver&) = delete;

  // The configuration steps: reset, options, then the blocks one by one with a
  // parser run after each. Returns the last state.
  uint32_t configure(const std::vector<std::vector<uint8_t>>& blocks);

  void addSpan(const uint8_t* data, uint32_t length, uint64_t timecode, uint32_t frameType);
  // Length-prefixed H.264 rewritten as the H.264 class does: delimiter, stored
  // parameter sets, then a start code before each unit.
  void addH264Frame(const std::vector<std::pair<const uint8_t*, uint32_t>>& nals, uint64_t timecode,
                    uint32_t frameType);

  uint32_t decode();  // one decode call; returns the flags
  void decodeAll();   // as the host does: decode until the queue is empty
  void finish();      // end of stream: done(0), then report what is left

  bufstream_tt* stream() { return stream_; }
  std::vector<uint8_t> sps;  // with start codes, as the class holds them
  std::vector<uint8_t> pps;
  std::vector<DecodedPicture> pictures;
  std::vector<std::array<int32_t, 11>> sequences;
  int width = 0;
  int height = 0;
  int writeFailures = 0;

 private:
  struct Span {
    const uint8_t* data;
    uint32_t length;
    uint64_t timecode;
    uint32_t frameType;
  };
  uint32_t actOnState(uint32_t state);
  void allocate();

  bufstream_tt* stream_;
  uint32_t fourcc_;
  std::deque<Span> queue_;
  std::vector<uint8_t> block_;
  FrameRecord record_{};
  uint64_t timecode_ = 0;
  uint32_t frameType_ = 0;
};

}  // namespace cvx::test
