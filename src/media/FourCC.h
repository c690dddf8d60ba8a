#pragma once

#include <cstdint>

namespace cvx {

// Four-character codes, first character in the lowest byte.
constexpr uint32_t makeFourCC(char a, char b, char c, char d) {
  return static_cast<uint32_t>(static_cast<uint8_t>(a)) |
         static_cast<uint32_t>(static_cast<uint8_t>(b)) << 8 |
         static_cast<uint32_t>(static_cast<uint8_t>(c)) << 16 |
         static_cast<uint32_t>(static_cast<uint8_t>(d)) << 24;
}
constexpr uint32_t kFourCCYV12 = makeFourCC('Y', 'V', '1', '2');
constexpr uint32_t kFourCCI420 = makeFourCC('I', '4', '2', '0');
constexpr uint32_t kFourCCYV16 = makeFourCC('Y', 'V', '1', '6');
constexpr uint32_t kFourCCYUY2 = makeFourCC('Y', 'U', 'Y', '2');
constexpr uint32_t kFourCCYUYV = makeFourCC('Y', 'U', 'Y', 'V');
constexpr uint32_t kFourCCUYVY = makeFourCC('U', 'Y', 'V', 'Y');
constexpr uint32_t kFourCCv210 = makeFourCC('v', '2', '1', '0');
constexpr uint32_t kFourCCBGR3 = makeFourCC('B', 'G', 'R', '3');
constexpr uint32_t kFourCCBGRA = makeFourCC('B', 'G', 'R', 'A');
constexpr uint32_t kFourCCBGR4 = makeFourCC('B', 'G', 'R', '4');
constexpr uint32_t kFourCCH264 = makeFourCC('H', '2', '6', '4');
constexpr uint32_t kFourCCXYZ12 = makeFourCC('X', 'Y', 'Z', '\x0C');
constexpr uint32_t kFourCCVUYA = makeFourCC('V', 'U', 'Y', 'A');
constexpr uint32_t kFourCCNV12 = makeFourCC('N', 'V', '1', '2');
static_assert(kFourCCBGRA == 0x41524742u, "first character in the lowest byte");

}  // namespace cvx
