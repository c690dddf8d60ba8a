#include "platform/videodecoder/AccessUnitSplitter.h"

#include <algorithm>

#include "platform/videodecoder/BitReader.h"

namespace cvx {
namespace {

bool isMpeg4HeaderOrPlane(uint8_t id) {
  return id <= 0x2F || id == 0xB0 || id == 0xB3 || id == 0xB5 || id == 0xB6;
}

// A parameter set's bytes without the zeros that stuff the space after it.
size_t withoutStuffing(const uint8_t* unit, size_t size) {
  while (size > 1 && unit[size - 1] == 0) {
    --size;
  }
  return size;
}

}  // namespace

BitstreamKind detectMpeg4Family(const uint8_t* data, size_t size) {
  if (size < 4) {
    return BitstreamKind::Mpeg4Family;
  }
  if (data[0] == 0 && data[1] == 0 && data[2] == 1) {
    return BitstreamKind::Mpeg4;  // whatever the code, only MPEG-4 has this prefix here
  }
  if (data[0] == 0 && data[1] == 0 && (data[2] & 0xFC) == 0x84) {
    return BitstreamKind::Spark;
  }
  if (data[0] == 0 && data[1] == 0 && (data[2] & 0xFC) == 0x80) {
    if (size < 5) {
      return BitstreamKind::Mpeg4Family;
    }
    BitReader reader(data, size);
    reader.skip(22 + 8);
    uint32_t marker = reader.bit();
    uint32_t zero = reader.bit();
    reader.skip(3);
    uint32_t format = reader.bits(3);
    bool ptype = marker == 1 && zero == 0 && ((format >= 1 && format <= 5) || format == 7);
    return ptype ? BitstreamKind::H263 : BitstreamKind::Spark;
  }
  return BitstreamKind::Mpeg4;
}

BitstreamKind recogniseMpeg4FamilyStart(const uint8_t* data, size_t size, BitstreamKind current) {
  if (size < 4 || data[0] != 0 || data[1] != 0) {
    return BitstreamKind::Mpeg4Family;
  }
  if (data[2] == 1) {
    return isMpeg4HeaderOrPlane(data[3]) ? BitstreamKind::Mpeg4 : BitstreamKind::Mpeg4Family;
  }
  if ((data[2] & 0xFC) == 0x84) {
    return BitstreamKind::Spark;
  }
  if ((data[2] & 0xFC) == 0x80) {
    if (current == BitstreamKind::H263 || current == BitstreamKind::Spark) {
      return current;
    }
    return detectMpeg4Family(data, size);
  }
  return BitstreamKind::Mpeg4Family;
}

AccessUnitSplitter::AccessUnitSplitter(BitstreamKind kind)
    : kind_(kind), provisional_(kind == BitstreamKind::Mpeg4Family) {}

void AccessUnitSplitter::reset() {
  dropBuffered();
  base_ = 0;
  forgetParameterSets();
}

void AccessUnitSplitter::dropBuffered() {
  buffer_.clear();
  emitted_ = 0;
  scan_ = 0;
  unitBegin_ = 0;
  unitOpen_ = false;
  unitPrefix_ = 0;
  auHasPicture_ = false;
  auHasIdr_ = false;
  auLastCode_ = kNoCode;
  skipCount_ = 0;
  deferredCount_ = 0;
  headers_ = StreamHeaderInfo{};
}

void AccessUnitSplitter::switchKind(BitstreamKind kind) {
  // What came before was read with the wrong syntax; positions run on, so
  // that marks attached to the coming bytes still find them.
  base_ += buffer_.size();
  dropBuffered();
  kind_ = kind;
}

void AccessUnitSplitter::forgetParameterSets() {
  for (std::vector<uint8_t>& held : heldSps_) held.clear();
  for (std::vector<uint8_t>& held : heldPps_) held.clear();
}

std::vector<uint8_t>* AccessUnitSplitter::heldParameterSet(const uint8_t* unit, size_t size) {
  if (size > kMaxHeldParameterSet) {
    return nullptr;
  }
  const int id = h264ParameterSetId(unit, size);
  if (id < 0) {
    return nullptr;
  }
  return (unit[0] & 31) == 7 ? &heldSps_[static_cast<size_t>(id)] : &heldPps_[static_cast<size_t>(id)];
}

void AccessUnitSplitter::applyParameterSet(std::vector<uint8_t>& held, const uint8_t* unit, size_t size) {
  held.assign(unit, unit + size);
  if ((unit[0] & 31) == 7) {
    parseH264SequenceParameterSet(unit, size, headers_);
    // A changed sequence makes the library drop the picture parameter sets
    // that referred to it, so the next one must reach it even if it repeats.
    for (std::vector<uint8_t>& pps : heldPps_) pps.clear();
  }
}

void AccessUnitSplitter::closeH264ParameterSet(size_t begin, size_t end, size_t payload) {
  // Once one set waits for the end of its access unit, those after it wait
  // too: a changed sequence set makes the picture sets after it new again.
  const ParameterSetUnit set{begin, end, payload};
  if (deferredCount_ == 0 && decideParameterSet(set, false)) {
    return;
  }
  if (deferredCount_ < deferred_.size()) {
    deferred_[deferredCount_++] = set;
  } else {
    decideParameterSet(set, true);
  }
}

bool AccessUnitSplitter::decideParameterSet(const ParameterSetUnit& set, bool unitKnown) {
  const uint8_t* unit = buffer_.data() + set.payload;
  const size_t size = withoutStuffing(unit, set.end - set.payload);
  std::vector<uint8_t>* held = heldParameterSet(unit, size);
  if (held == nullptr) {
    return true;  // the codec judges what we cannot read
  }
  if (held->size() == size && std::equal(held->begin(), held->end(), unit)) {
    addSkip(set.begin, set.end);
    return true;
  }
  if (held->empty()) {
    applyParameterSet(*held, unit, size);
    return true;
  }
  if (!unitKnown) {
    return false;
  }
  // A new sequence may begin only with an IDR picture; elsewhere the set is
  // left out, as long as there is room to.
  if (auHasIdr_ || !addSkip(set.begin, set.end)) {
    applyParameterSet(*held, unit, size);
  }
  return true;
}

void AccessUnitSplitter::settleParameterSets() {
  for (size_t i = 0; i < deferredCount_; ++i) {
    decideParameterSet(deferred_[i], true);
  }
  deferredCount_ = 0;
}

bool AccessUnitSplitter::addSkip(size_t begin, size_t end) {
  if (skipCount_ == skip_.size()) {
    return false;
  }
  size_t at = skipCount_++;
  for (; at > 0 && skip_[at - 1].first > begin; --at) {
    skip_[at] = skip_[at - 1];
  }
  skip_[at] = {begin, end};
  return true;
}

void AccessUnitSplitter::emit(size_t end, bool hasPicture, size_t lastCode, Unit& unit) {
  settleParameterSets();
  unit = Unit{};
  unit.data = buffer_.data();
  unit.size = end;
  unit.streamOffset = base_;
  unit.hasPicture = hasPicture;
  unit.lastCodeOffset = base_ + lastCode;
  unit.skip = skip_;
  unit.skipCount = skipCount_;
  skipCount_ = 0;
  emitted_ = end;
}

void AccessUnitSplitter::append(const uint8_t* data, size_t size) {
  compact();
  if (provisional_ && kind_ != BitstreamKind::Mpeg4Family) {
    const BitstreamKind seen = recogniseMpeg4FamilyStart(data, size, kind_);
    if (seen != BitstreamKind::Mpeg4Family && seen != kind_) {
      switchKind(seen);
    }
  }
  buffer_.insert(buffer_.end(), data, data + size);
}

void AccessUnitSplitter::compact() {
  if (emitted_ == 0) {
    return;
  }
  buffer_.erase(buffer_.begin(), buffer_.begin() + static_cast<std::ptrdiff_t>(emitted_));
  base_ += emitted_;
  scan_ -= std::min(scan_, emitted_);
  unitBegin_ -= std::min(unitBegin_, emitted_);
  if (auLastCode_ != kNoCode) {
    auLastCode_ -= std::min(auLastCode_, emitted_);
  }
  emitted_ = 0;
}

bool AccessUnitSplitter::findStartCode(size_t from, StartCode& code) const {
  const size_t size = buffer_.size();
  // The zero in front of a three-byte code may lie before `from`, but never
  // inside the payload of the unit still open.
  const size_t floor = unitOpen_ ? unitBegin_ + unitPrefix_ : 0;
  for (size_t i = from; i + 2 < size; ++i) {
    if (buffer_[i] != 0 || buffer_[i + 1] != 0) {
      continue;
    }
    const uint8_t third = buffer_[i + 2];
    switch (kind_) {
      case BitstreamKind::H263:
        if ((third & 0xFC) != 0x80) continue;
        code = {i, 3};
        return true;
      case BitstreamKind::Spark:
        if ((third & 0xF8) != 0x80) continue;
        code = {i, 3};
        return true;
      case BitstreamKind::H264:
        if (third != 1) continue;
        // A four-byte code's leading zero goes with the unit it opens.
        code = (i > floor && buffer_[i - 1] == 0) ? StartCode{i - 1, 4} : StartCode{i, 3};
        return true;
      default:
        if (third != 1) continue;
        code = {i, 3};
        return true;
    }
  }
  return false;
}

size_t AccessUnitSplitter::bytesToClassify() const {
  switch (kind_) {
    case BitstreamKind::H264:
      return 2;  // NAL header and the first bit of first_mb_in_slice
    case BitstreamKind::H263:
    case BitstreamKind::Spark:
      return 0;
    default:
      return 1;
  }
}

bool AccessUnitSplitter::beginsAccessUnit(size_t position, size_t prefix) const {
  // Only the bytes bytesToClassify() asks for are there to read: for H.263 and
  // Spark the code may be the last bytes taken in.
  const size_t id = position + prefix;
  switch (kind_) {
    case BitstreamKind::H264: {
      const int type = buffer_[id] & 31;
      if (type == 9 || type == 7 || type == 8 || type == 6 || (type >= 14 && type <= 18)) {
        return true;
      }
      // A slice opens a new picture when it starts at macroblock 0 (ue code "1").
      return (type == 1 || type == 5) && (buffer_[id + 1] & 0x80) != 0;
    }
    case BitstreamKind::Mpeg2:
      return buffer_[id] == 0x00 || buffer_[id] == 0xB3 || buffer_[id] == 0xB8;
    case BitstreamKind::Mpeg4:
      return isMpeg4HeaderOrPlane(buffer_[id]);
    default:
      return true;  // every H.263 and Spark code opens a picture
  }
}

bool AccessUnitSplitter::isPicture(size_t position, size_t prefix) const {
  switch (kind_) {
    case BitstreamKind::H264: {
      const int type = buffer_[position + prefix] & 31;
      return type == 1 || type == 5;
    }
    case BitstreamKind::Mpeg2:
      return buffer_[position + prefix] == 0x00;
    case BitstreamKind::Mpeg4:
      return buffer_[position + prefix] == 0xB6;
    default:
      return true;
  }
}

void AccessUnitSplitter::closeUnit(size_t begin, size_t end) {
  const size_t payload = begin + unitPrefix_;
  if (payload >= end) {
    return;
  }
  const uint8_t* unit = buffer_.data() + payload;
  const size_t size = end - payload;
  switch (kind_) {
    case BitstreamKind::H264:
      if ((unit[0] & 31) == 7 || (unit[0] & 31) == 8) {
        closeH264ParameterSet(begin, end, payload);
      }
      break;
    case BitstreamKind::Mpeg2:
      if (unit[0] == 0xB3) {
        parseMpeg2SequenceHeader(unit, size, headers_);
      } else if (unit[0] == 0xB5) {
        parseMpeg2Extension(unit, size, headers_);
      }
      break;
    case BitstreamKind::Mpeg4:
      if (unit[0] >= 0x20 && unit[0] <= 0x2F) {
        parseMpeg4VideoObjectLayer(unit, size, headers_);
      }
      break;
    default:
      break;  // H.263 and Spark carry no sequence header: sizes come from pictures
  }
}

bool AccessUnitSplitter::next(bool endOfStream, Unit& unit) {
  compact();
  if (kind_ == BitstreamKind::Mpeg4Family) {
    kind_ = detectMpeg4Family(buffer_.data(), buffer_.size());
    if (kind_ == BitstreamKind::Mpeg4Family) {
      if (!endOfStream) {
        return false;
      }
      kind_ = BitstreamKind::Mpeg4;
    }
  }
  StartCode code;
  bool waiting = false;
  while (findStartCode(scan_, code)) {
    if (unitOpen_ && code.position > unitBegin_) {
      closeUnit(unitBegin_, code.position);
      unitOpen_ = false;
    }
    if (code.position + code.prefix + bytesToClassify() > buffer_.size()) {
      scan_ = code.position;
      waiting = true;
      break;
    }
    const bool begins = beginsAccessUnit(code.position, code.prefix);
    const bool picture = isPicture(code.position, code.prefix);
    const bool idr = kind_ == BitstreamKind::H264 && (buffer_[code.position + code.prefix] & 31) == 5;
    unitBegin_ = code.position;
    unitPrefix_ = code.prefix;
    unitOpen_ = true;
    scan_ = code.position + code.prefix;
    if (begins && auHasPicture_ && code.position > 0) {
      emit(code.position, true, auLastCode_, unit);
      auHasPicture_ = picture;
      auHasIdr_ = idr;
      auLastCode_ = code.position;
      return true;
    }
    auHasPicture_ = auHasPicture_ || picture;
    auHasIdr_ = auHasIdr_ || idr;
    auLastCode_ = code.position;
  }
  if (!waiting && buffer_.size() >= 2) {
    scan_ = std::max(scan_, buffer_.size() - 2);
  }
  if (!endOfStream || buffer_.empty()) {
    return false;
  }
  if (unitOpen_) {
    closeUnit(unitBegin_, buffer_.size());
    unitOpen_ = false;
  }
  const size_t lastCode = auLastCode_ != kNoCode ? auLastCode_ : buffer_.size() - 1;
  emit(buffer_.size(), auHasPicture_, lastCode, unit);
  auLastCode_ = kNoCode;
  auHasPicture_ = false;
  auHasIdr_ = false;
  return true;
}

}  // namespace cvx
