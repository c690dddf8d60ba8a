#pragma once

#include <cstdint>

namespace cvx {

// AAC sampling frequencies by the four-bit index of the AudioSpecificConfig
// and the ADTS header; indices 13 and up name no rate here.
constexpr uint32_t kAacSampleRateCount = 13;
constexpr uint32_t kAacSampleRates[kAacSampleRateCount] = {96000, 88200, 64000, 48000, 44100, 32000, 24000,
                                                           22050, 16000, 12000, 11025, 8000,  7350};

}  // namespace cvx
