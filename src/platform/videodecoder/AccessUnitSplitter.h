#pragma once

#include <cstddef>
#include <array>
#include <cstdint>
#include <utility>
#include <vector>

#include "platform/videodecoder/StreamHeaders.h"

namespace cvx {

// The bit stream syntaxes the splitter knows. Mpeg4Family is resolved to one of
// the three that follow it from the first bytes (see detectMpeg4Family).
enum class BitstreamKind { H264, Mpeg2, Mpeg4Family, Mpeg4, H263, Spark };

// Tells MPEG-4 part 2, H.263 and Sorenson Spark apart from the first bytes of a
// stream. Returns Mpeg4Family while too few bytes are there to tell.
//  - 00 00 01 followed by a visual object sequence, object, layer, group or
//    plane code: MPEG-4 part 2.
//  - 17 bits 0000 0000 0000 0000 1 then version 00001: Spark version 1.
//  - the 22-bit code of H.263 (version 00000 for Spark): H.263 when the bits
//    after the temporal reference read as a PTYPE (1, 0, then a source format
//    of 1..5 or 7 three bits later), otherwise Spark version 0.
//  - anything else: MPEG-4 part 2, whose decoder searches for start codes.
BitstreamKind detectMpeg4Family(const uint8_t* data, size_t size);

// The family member whose picture or header code opens `data`, or Mpeg4Family
// when the bytes show none (the fallback of detectMpeg4Family is no evidence).
// H.263 and a Spark version 0 picture look alike: when `current` is one of the
// two, it stands.
BitstreamKind recogniseMpeg4FamilyStart(const uint8_t* data, size_t size, BitstreamKind current);

// Cuts a compressed byte stream into access units (one coded picture with the
// headers in front of it). A unit is known to be complete only when the start
// of the next one is seen, or at the end of the stream. Header units met on the
// way update `headers()`.
//
// H.264 parameter sets are passed on only where the codec needs them: a set
// repeated unchanged is left out, and a set that differs from the one the
// codec holds under its id takes effect only in an access unit with an IDR
// slice, where a new sequence may begin. Elsewhere it is left out too: the
// feeder puts the configuration's sets in front of every frame, and after an
// in-band change of size those would otherwise undo it.
//
// A splitter made for the MPEG-4 family detects the syntax from the first
// bytes, provisionally: until confirmKind(), a block that opens with another
// member's picture code switches to that member and drops what was buffered.
class AccessUnitSplitter {
 public:
  static constexpr size_t kMaxSkips = 8;
  struct Unit {
    const uint8_t* data = nullptr;
    size_t size = 0;
    uint64_t streamOffset = 0;  // position of data[0] among all bytes appended
    bool hasPicture = false;
    // Position of the last start code inside the unit. Bytes attached to a
    // position after it (stuffing before the next code) belong to the next unit.
    uint64_t lastCodeOffset = 0;
    // Byte ranges of the unit to leave out, in order: H.264 parameter sets
    // the codec must not see again (see above).
    std::array<std::pair<size_t, size_t>, kMaxSkips> skip{};
    size_t skipCount = 0;
  };

  explicit AccessUnitSplitter(BitstreamKind kind);

  void reset();
  // Takes a block of input; for the MPEG-4 family while the syntax is not
  // confirmed, a block may switch it (see above).
  void append(const uint8_t* data, size_t size);

  // Gives the next complete unit; at `endOfStream` the rest counts as one.
  // The unit's bytes stay valid until the next call of any member.
  bool next(bool endOfStream, Unit& unit);

  // The codec was reopened or flushed: parameter sets have to reach it again.
  void forgetParameterSets();
  // A picture decoded with the syntax detected: it no longer changes.
  void confirmKind() { provisional_ = false; }

  BitstreamKind kind() const { return kind_; }
  const StreamHeaderInfo& headers() const { return headers_; }
  // Bytes taken in so far; the position the next appended byte will have.
  uint64_t streamPosition() const { return base_ + buffer_.size(); }
  size_t bufferedBytes() const { return buffer_.size(); }

 private:
  struct StartCode {
    size_t position = 0;  // first byte of the code
    size_t prefix = 0;    // bytes that make up the code itself
  };
  // An H.264 parameter set unit within the buffer.
  struct ParameterSetUnit {
    size_t begin = 0;  // the unit's start code
    size_t end = 0;
    size_t payload = 0;  // the NAL header byte
  };
  // The largest parameter set kept for comparison; longer ones always reach
  // the codec, which takes no longer ones either.
  static constexpr size_t kMaxHeldParameterSet = 4096;

  bool findStartCode(size_t from, StartCode& code) const;
  size_t bytesToClassify() const;
  bool beginsAccessUnit(size_t position, size_t prefix) const;
  bool isPicture(size_t position, size_t prefix) const;
  void closeUnit(size_t begin, size_t end);
  void closeH264ParameterSet(size_t begin, size_t end, size_t payload);
  // Leaves the set out, or applies it; false when that needs the whole access
  // unit and `unitKnown` is not yet true.
  bool decideParameterSet(const ParameterSetUnit& set, bool unitKnown);
  std::vector<uint8_t>* heldParameterSet(const uint8_t* unit, size_t size);
  void applyParameterSet(std::vector<uint8_t>& held, const uint8_t* unit, size_t size);
  void settleParameterSets();
  // Leaves a range out of the unit being gathered; false when no room is left.
  bool addSkip(size_t begin, size_t end);
  void emit(size_t end, bool hasPicture, size_t lastCode, Unit& unit);
  void compact();
  void dropBuffered();
  void switchKind(BitstreamKind kind);

  BitstreamKind kind_;
  bool provisional_ = false;
  std::vector<uint8_t> buffer_;
  uint64_t base_ = 0;       // stream position of buffer_[0]
  size_t emitted_ = 0;      // leading bytes handed out as a unit, dropped on the next call
  size_t scan_ = 0;         // where the search for the next start code resumes
  size_t unitBegin_ = 0;    // the open header or picture unit
  bool unitOpen_ = false;
  size_t unitPrefix_ = 0;
  bool auHasPicture_ = false;
  bool auHasIdr_ = false;
  static constexpr size_t kNoCode = static_cast<size_t>(-1);
  size_t auLastCode_ = kNoCode;  // last start code of the unit being gathered
  std::array<std::pair<size_t, size_t>, kMaxSkips> skip_{};
  size_t skipCount_ = 0;
  std::array<ParameterSetUnit, kMaxSkips> deferred_{};  // decided with the access unit
  size_t deferredCount_ = 0;
  // What the codec holds under each sequence and picture parameter set id.
  std::array<std::vector<uint8_t>, 32> heldSps_;
  std::array<std::vector<uint8_t>, 256> heldPps_;
  StreamHeaderInfo headers_;
};

}  // namespace cvx
