#include "video/encoders/QuickSyncAccessUnits.h"

#include <cstdlib>
#include <cstring>

namespace cvx {

namespace {

constexpr uint32_t kKeyFrame = 1;
constexpr uint32_t kPredictedFrame = 2;
constexpr int kNalSei = 6;
constexpr int kNalSps = 7;
constexpr int kNalPps = 8;
constexpr int kNalDelimiter = 9;

// Positions are signed 64-bit: a mark that is not set is -1, and no
// arithmetic on positions of a 32-bit length can overflow.
class Scanner {
 public:
  Scanner(const uint8_t* data, int64_t length) : d(data), n(length) {}

  bool s4(int64_t i) const { return i + 3 < n && d[i] == 0 && d[i + 1] == 0 && d[i + 2] == 0 && d[i + 3] == 1; }
  bool s3(int64_t i) const { return i + 2 < n && d[i] == 0 && d[i + 1] == 0 && d[i + 2] == 1; }
  // The byte after a start code of `size` bytes at i, or -1 past the end.
  int next(int64_t i, int size) const { return i + size < n ? d[i + size] : -1; }
  int nalType(int64_t i, int size) const { return next(i, size) < 0 ? -1 : next(i, size) & 31; }

  const uint8_t* d;
  int64_t n;
};

void writeBigEndian(uint8_t* at, int64_t value) {
  const auto v = static_cast<uint32_t>(value);
  at[0] = static_cast<uint8_t>(v >> 24);
  at[1] = static_cast<uint8_t>(v >> 16);
  at[2] = static_cast<uint8_t>(v >> 8);
  at[3] = static_cast<uint8_t>(v);
}

// A block for a frame of `size` bytes, with room for the record already made
// in `out`, so that nothing can fail between the block and its record.
uint8_t* allocateFrame(std::vector<VideoFrameEncoded>& out, int64_t size) {
  out.reserve(out.size() + 1);
  return static_cast<uint8_t*>(std::malloc(static_cast<std::size_t>(size)));
}

void append(std::vector<VideoFrameEncoded>& out, uint8_t* block, int64_t size, int64_t timecode, uint32_t type,
            uint32_t& count) {
  out.push_back(VideoFrameEncoded{block, static_cast<uint32_t>(size), timecode, type});
  ++count;
}

// SEI from a, slice (S3) from b, up to e: the slice's start code grows by a byte.
void emitPredicted(const Scanner& s, int64_t a, int64_t b, int64_t e, int64_t timecode,
                   std::vector<VideoFrameEncoded>& out, uint32_t& count) {
  if (a < 0 || b < a + 4 || e < b + 3) return;
  const int64_t size = e - a + 1;
  uint8_t* block = allocateFrame(out, size);
  if (block == nullptr) return;
  std::memcpy(block, s.d + a, static_cast<std::size_t>(b - a));
  block[b - a] = 0;
  std::memcpy(block + (b - a) + 1, s.d + b, static_cast<std::size_t>(e - b));
  writeBigEndian(block, b - a - 4);
  writeBigEndian(block + (b - a), e - b - 3);
  append(out, block, size, timecode, kPredictedFrame, count);
}

// SPS from p, PPS from q, SEI from r and slice from s, up to e: the SEI's and
// the slice's start codes grow by a byte each.
void emitKey(const Scanner& sc, int64_t p, int64_t q, int64_t r, int64_t s, int64_t e, int64_t timecode,
             std::vector<VideoFrameEncoded>& out, uint32_t& count) {
  if (p < 0 || q < p + 4 || r < q + 4 || s < r + 3 || e < s + 3) return;
  const int64_t size = e - p + 2;
  uint8_t* block = allocateFrame(out, size);
  if (block == nullptr) return;
  uint8_t* at = block;
  std::memcpy(at, sc.d + p, static_cast<std::size_t>(r - p));
  at += r - p;
  *at++ = 0;
  std::memcpy(at, sc.d + r, static_cast<std::size_t>(s - r));
  at += s - r;
  *at++ = 0;
  std::memcpy(at, sc.d + s, static_cast<std::size_t>(e - s));
  writeBigEndian(block, q - p - 4);
  writeBigEndian(block + (q - p), r - q - 4);
  writeBigEndian(block + (r - p), s - r - 3);
  writeBigEndian(block + (s - p + 1), e - s - 3);
  append(out, block, size, timecode, kKeyFrame, count);
}

}  // namespace

uint32_t QuickSyncAccessUnits::rebuild(const uint8_t* data, uint32_t length, int64_t timecode,
                                       std::vector<VideoFrameEncoded>& out) {
  if (data == nullptr) return 0;
  Scanner sc(data, length);
  uint32_t count = 0;

  // A leading delimiter is thrown away when an SEI or SPS follows it.
  if (sc.n > 12) {
    int64_t first = 0;
    while (first < sc.n - 6 && !sc.s4(first)) ++first;
    if (first < sc.n - 6 && sc.nalType(first, 4) == kNalDelimiter) {
      for (int64_t j = first + 1; j < sc.n - 6; ++j) {
        const int type = sc.s4(j) ? sc.nalType(j, 4) : -1;
        if (type == kNalSei || type == kNalSps) {
          sc = Scanner(data + j, sc.n - j);
          break;
        }
      }
    }
  }

  const int64_t limit = sc.n - 6;
  int64_t seiStart = -1, sliceStart = -1;
  int64_t spsStart = -1, ppsStart = -1, seiStart2 = -1, sliceStart2 = -1;
  int64_t i = 0;
  while (i < limit) {
    if (!sc.s4(i)) {
      ++i;
      continue;
    }
    const int type = sc.nalType(i, 4);
    if (type == kNalSei) {
      seiStart = i;
      int64_t j = i + 2;
      for (; j < limit && !sc.s4(j); ++j) {
        if (sliceStart < 0 && sc.s3(j)) sliceStart = j;
      }
      if (j < limit && sliceStart >= 0) {
        emitPredicted(sc, seiStart, sliceStart, j, timecode, out, count);
        seiStart = -1;
        sliceStart = -1;
      }
      i = j;  // on at the start code that ended the unit
    } else if (type == kNalSps) {
      spsStart = i;
      ++i;
    } else if (type == kNalPps) {
      ppsStart = i;
      int64_t j = i + 2;
      while (j < limit) {
        if (sc.s4(j)) {
          if (sc.next(j, 4) != kNalSei) break;
          // An SEI behind a four-byte start code; its start code is passed over.
          seiStart2 = j;
          j += 4;
          continue;
        }
        if (sc.s3(j)) {
          if (sc.nalType(j, 3) == kNalSei) {
            seiStart2 = j;
          } else if (sliceStart2 < 0) {
            sliceStart2 = j;
          }
        }
        ++j;
      }
      if (j < limit && spsStart >= 0 && seiStart2 >= 0 && sliceStart2 >= 0) {
        emitKey(sc, spsStart, ppsStart, seiStart2, sliceStart2, j, timecode, out, count);
        spsStart = ppsStart = seiStart2 = sliceStart2 = -1;
      }
      i = j;
    } else {
      ++i;
    }
  }

  if (seiStart >= 0 && sliceStart >= 0) {
    emitPredicted(sc, seiStart, sliceStart, sc.n, timecode, out, count);
  } else if (spsStart >= 0 && ppsStart >= 0 && seiStart2 >= 0 && sliceStart2 >= 0) {
    emitKey(sc, spsStart, ppsStart, seiStart2, sliceStart2, sc.n, timecode, out, count);
  }
  return count;
}

}  // namespace cvx
