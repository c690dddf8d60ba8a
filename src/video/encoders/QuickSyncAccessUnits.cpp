#include "video/encoders/QuickSyncAccessUnits.h"

#include <cstring>
#include <utility>

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

// A leading delimiter is thrown away when an SEI or SPS follows it: the
// scan then starts at that unit.
Scanner withoutLeadingDelimiter(const Scanner& sc) {
  if (sc.n <= 12) return sc;
  int64_t first = 0;
  while (first < sc.n - 6 && !sc.s4(first)) ++first;
  if (first >= sc.n - 6 || sc.nalType(first, 4) != kNalDelimiter) return sc;
  for (int64_t j = first + 1; j < sc.n - 6; ++j) {
    const int type = sc.s4(j) ? sc.nalType(j, 4) : -1;
    if (type == kNalSei || type == kNalSps) return Scanner(sc.d + j, sc.n - j);
  }
  return sc;
}

// One pass over the SDK's output, gathering where the units of the frame at
// hand start and appending each frame as soon as its end is known.
class Rebuild {
 public:
  Rebuild(const Scanner& scanner, int64_t frameTimecode, std::vector<VideoFrameEncoded>& frames)
      : sc(scanner), limit(scanner.n - 6), timecode(frameTimecode), out(frames) {}

  uint32_t run() {
    int64_t i = 0;
    while (i < limit) {
      if (!sc.s4(i)) {
        ++i;
        continue;
      }
      switch (sc.nalType(i, 4)) {
        case kNalSei: i = afterSei(i); break;
        case kNalSps: spsStart = i++; break;
        case kNalPps: i = afterPps(i); break;
        default: ++i; break;
      }
    }
    // The last frame ends with the output.
    if (seiStart >= 0 && sliceStart >= 0) {
      emitPredicted(sc.n);
    } else if (spsStart >= 0 && ppsStart >= 0 && keySeiStart >= 0 && keySliceStart >= 0) {
      emitKey(sc.n);
    }
    return count;
  }

 private:
  // An SEI at i and the slice (S3) behind it: a predicted frame when the next
  // four-byte start code ends it. Returns that start code's position.
  int64_t afterSei(int64_t i) {
    seiStart = i;
    int64_t j = i + 2;
    for (; j < limit && !sc.s4(j); ++j) {
      if (sliceStart < 0 && sc.s3(j)) sliceStart = j;
    }
    if (j < limit && sliceStart >= 0) {
      emitPredicted(j);
      seiStart = sliceStart = -1;
    }
    return j;
  }

  // A PPS at i, then the SEI and the slice of a key frame, which the next
  // four-byte start code that opens no SEI ends. Returns that position.
  int64_t afterPps(int64_t i) {
    ppsStart = i;
    int64_t j = i + 2;
    while (j < limit) {
      if (sc.s4(j)) {
        if (sc.next(j, 4) != kNalSei) break;
        // An SEI behind a four-byte start code; its start code is passed over.
        keySeiStart = j;
        j += 4;
        continue;
      }
      if (sc.s3(j)) {
        if (sc.nalType(j, 3) == kNalSei) {
          keySeiStart = j;
        } else if (keySliceStart < 0) {
          keySliceStart = j;
        }
      }
      ++j;
    }
    if (j < limit && spsStart >= 0 && keySeiStart >= 0 && keySliceStart >= 0) {
      emitKey(j);
      spsStart = ppsStart = keySeiStart = keySliceStart = -1;
    }
    return j;
  }

  // SEI from a, slice (S3) from b, up to e: the slice's start code grows by a byte.
  void emitPredicted(int64_t e) {
    const int64_t a = seiStart, b = sliceStart;
    if (a < 0 || b < a + 4 || e < b + 3) return;
    EncodedBlock block = EncodedBlock::allocate(static_cast<uint32_t>(e - a + 1));
    if (!block) return;
    uint8_t* at = block.data();
    std::memcpy(at, sc.d + a, static_cast<std::size_t>(b - a));
    at[b - a] = 0;
    std::memcpy(at + (b - a) + 1, sc.d + b, static_cast<std::size_t>(e - b));
    writeBigEndian(at, b - a - 4);
    writeBigEndian(at + (b - a), e - b - 3);
    append(std::move(block), kPredictedFrame);
  }

  // SPS from p, PPS from q, SEI from r and slice from s, up to e: the SEI's
  // and the slice's start codes grow by a byte each.
  void emitKey(int64_t e) {
    const int64_t p = spsStart, q = ppsStart, r = keySeiStart, s = keySliceStart;
    if (p < 0 || q < p + 4 || r < q + 4 || s < r + 3 || e < s + 3) return;
    EncodedBlock block = EncodedBlock::allocate(static_cast<uint32_t>(e - p + 2));
    if (!block) return;
    uint8_t* at = block.data();
    std::memcpy(at, sc.d + p, static_cast<std::size_t>(r - p));
    at += r - p;
    *at++ = 0;
    std::memcpy(at, sc.d + r, static_cast<std::size_t>(s - r));
    at += s - r;
    *at++ = 0;
    std::memcpy(at, sc.d + s, static_cast<std::size_t>(e - s));
    writeBigEndian(block.data(), q - p - 4);
    writeBigEndian(block.data() + (q - p), r - q - 4);
    writeBigEndian(block.data() + (r - p), s - r - 3);
    writeBigEndian(block.data() + (s - p + 1), e - s - 3);
    append(std::move(block), kKeyFrame);
  }

  void append(EncodedBlock block, uint32_t type) {
    out.push_back(VideoFrameEncoded{std::move(block), timecode, type});
    ++count;
  }

  const Scanner sc;
  const int64_t limit;
  const int64_t timecode;
  std::vector<VideoFrameEncoded>& out;
  uint32_t count = 0;
  int64_t seiStart = -1, sliceStart = -1;
  int64_t spsStart = -1, ppsStart = -1, keySeiStart = -1, keySliceStart = -1;
};

}  // namespace

uint32_t QuickSyncAccessUnits::rebuild(const uint8_t* data, uint32_t length, int64_t timecode,
                                       std::vector<VideoFrameEncoded>& out) {
  if (data == nullptr) return 0;
  return Rebuild(withoutLeadingDelimiter(Scanner(data, length)), timecode, out).run();
}

}  // namespace cvx
