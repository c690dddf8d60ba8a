#include "platform/gpuencoder/AccessUnitFraming.h"

#include <cstring>

namespace cvx {

namespace {

constexpr uint8_t kNalDelimiter = 9;

// Position of the next three-byte start code prefix at or after `from`, or size.
size_t nextStartCode(const uint8_t* data, size_t size, size_t from) {
  for (size_t i = from; i + 2 < size; ++i) {
    if (data[i] == 0 && data[i + 1] == 0 && data[i + 2] == 1) return i;
  }
  return size;
}

// Appends one unit behind its start code or length; false when it does not fit.
bool put(const uint8_t* unit, size_t length, int framing, uint8_t* dst, size_t capacity, size_t& used) {
  if (length == 0) return true;
  if (length > 0xFFFFFFFFu || capacity - used < 4 || capacity - used - 4 < length) return false;
  uint8_t* at = dst + used;
  if (framing == 0) {
    at[0] = 0;
    at[1] = 0;
    at[2] = 0;
    at[3] = 1;
  } else {
    at[0] = static_cast<uint8_t>(length >> 24);
    at[1] = static_cast<uint8_t>(length >> 16);
    at[2] = static_cast<uint8_t>(length >> 8);
    at[3] = static_cast<uint8_t>(length);
  }
  std::memcpy(at + 4, unit, length);
  used += 4 + length;
  return true;
}

}  // namespace

size_t frameAccessUnit(const uint8_t* data, size_t size, int pictureType, int framing, uint8_t* dst,
                       size_t capacity) {
  size_t used = 0;
  // primary_pic_type in the top three bits, then the stop bit: the slice
  // types the picture may hold are I; I and P; I, P and B.
  const int primary = pictureType == kFramedI ? 0 : pictureType == kFramedP ? 1 : 2;
  const uint8_t delimiter[2] = {kNalDelimiter, static_cast<uint8_t>(primary << 5 | 0x10)};
  if (!put(delimiter, sizeof(delimiter), framing, dst, capacity, used)) return 0;
  if (data == nullptr) return used;
  size_t start = nextStartCode(data, size, 0);
  while (start < size) {
    const size_t unit = start + 3;
    const size_t next = nextStartCode(data, size, unit);
    size_t end = next;
    while (end > unit && data[end - 1] == 0) --end;
    const bool isDelimiter = end > unit && (data[unit] & 0x1F) == kNalDelimiter;
    if (!isDelimiter && !put(data + unit, end - unit, framing, dst, capacity, used)) break;
    start = next;
  }
  return used;
}

}  // namespace cvx
