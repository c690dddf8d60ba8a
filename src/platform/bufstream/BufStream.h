#pragma once

#include <cstdint>
#include <memory>

namespace cvx {

// The stream record through which the codec libraries take input and give
// output. The same shape serves both directions: decoders are fed through
// copybytes and driven through auxinfo; encoders write into a sink through
// request/confirm or copybytes and announce frame boundaries through auxinfo.
// Every entry receives the record itself; `privateData` leads back to the
// object behind it. No entry throws: libraries call them from C.
struct bufstream_tt {
  uint32_t (*usableBytes)(bufstream_tt* bs);
  uint8_t* (*request)(bufstream_tt* bs, uint32_t numBytes);
  uint32_t (*confirm)(bufstream_tt* bs, uint32_t numBytes);
  uint32_t (*copybytes)(bufstream_tt* bs, uint8_t* data, uint32_t numBytes);
  uint32_t (*freeRoom)(bufstream_tt* bs);
  uint32_t (*auxinfo)(bufstream_tt* bs, uint32_t offset, uint32_t infoId, void* infoPtr, uint32_t infoSize);
  void* (*self)(bufstream_tt* bs);
  void (*done)(bufstream_tt* bs, int abort);
  void (*free)(bufstream_tt* bs);
  // Data words: all zero but the last but one, which is 1.
  uint32_t dataWords[4];
  void* privateData;
};

// The info codes an encoding library sends to the sink it writes into.
namespace bufstream_info {
constexpr uint32_t kFrameStart = 256;           // a picture's bytes follow
constexpr uint32_t kTimeStamp = 0xf000000;      // the picture's time_stamp_info
constexpr uint32_t kVideoFrameEnd = 0xf0001;    // the picture's bytes are complete
constexpr uint32_t kAudioFrameEnd = 0xf0002;    // an audio frame's bytes are complete
}  // namespace bufstream_info

// The named deleter of a record handed out by an open entry: ends its work
// (done, not aborted) and destroys it (free). A unique_ptr is null before
// the record's entries run, so a release never finds the record twice.
struct BufStreamCloser {
  void operator()(bufstream_tt* stream) const {
    stream->done(stream, 0);
    stream->free(stream);
  }
};
using BufStreamPtr = std::unique_ptr<bufstream_tt, BufStreamCloser>;

}  // namespace cvx
