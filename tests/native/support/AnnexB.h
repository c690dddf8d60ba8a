#pragma once

// Annex B helpers shared by the decoder tests and the decoder benchmark.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

namespace cvx::test {

struct Nal {
  const uint8_t* data;
  uint32_t size;
};

// NAL units of an Annex B span, start codes and trailing zeros removed.
inline std::vector<Nal> splitNals(const uint8_t* data, size_t size) {
  std::vector<Nal> nals;
  size_t begin = SIZE_MAX;
  for (size_t i = 0; i + 3 <= size; ++i) {
    if (data[i] == 0 && data[i + 1] == 0 && data[i + 2] == 1) {
      if (begin != SIZE_MAX) {
        size_t end = i;
        while (end > begin && data[end - 1] == 0) --end;
        nals.push_back({data + begin, static_cast<uint32_t>(end - begin)});
      }
      begin = i + 3;
      i += 2;
    }
  }
  if (begin != SIZE_MAX && begin < size) {
    nals.push_back({data + begin, static_cast<uint32_t>(size - begin)});
  }
  return nals;
}

// A parameter set as the H.264 class holds it: a four-byte start code in front.
inline std::vector<uint8_t> withStartCode(const Nal& nal) {
  std::vector<uint8_t> block(nal.size + 4, 0);
  block[3] = 1;
  std::memcpy(block.data() + 4, nal.data, nal.size);
  return block;
}

// NAL unit types of a length-prefixed access unit; none unless the prefixes walk it exactly.
inline std::vector<int> prefixedNalTypes(const uint8_t* data, size_t size) {
  std::vector<int> types;
  size_t at = 0;
  while (at + 4 <= size) {
    const size_t n = size_t{data[at]} << 24 | size_t{data[at + 1]} << 16 | size_t{data[at + 2]} << 8 | data[at + 3];
    if (n == 0 || n > size - at - 4) return {};
    types.push_back(data[at + 4] & 31);
    at += 4 + n;
  }
  return at == size ? types : std::vector<int>{};
}

}  // namespace cvx::test
