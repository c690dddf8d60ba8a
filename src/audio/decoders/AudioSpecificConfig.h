#pragma once

#include <cstdint>

namespace cvx {

// The three fields of the first two bytes of an AudioSpecificConfig; the
// 24-bit rate behind the escape index 15 and anything after two bytes are not
// read.
struct AudioSpecificConfig {
  uint32_t objectType = 0;
  uint32_t sampleRateIndex = 0;
  uint32_t channelConfig = 0;

  static AudioSpecificConfig fromBytes(uint8_t b0, uint8_t b1) {
    AudioSpecificConfig config;
    config.objectType = b0 >> 3;
    config.sampleRateIndex = (b0 & 7u) * 2u + (b1 > 127 ? 1u : 0u);
    config.channelConfig = (b1 & 127u) >> 3;
    return config;
  }
};

}  // namespace cvx
