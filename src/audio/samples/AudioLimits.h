#pragma once

#include <cmath>
#include <cstdint>

namespace cvx {

// What a host may ask of the audio path. Every bound is generous for real
// streams (the largest frame any decoder gives is 2048 sample frames, a
// G.711 packet of a second is 8000 bytes) and keeps any accepted value from
// exhausting the process: the whole sample buffer set of a session stays
// below kAudioMaxBufferSetBytes however the counts are combined.

// Channels of a sample buffer, an encoder or a G.711 description: 1 to 8
// (the most any codec here carries).
constexpr uint32_t kAudioMaxChannels = 8;
// Sample rates in hertz: 1 to 384000.
constexpr uint32_t kAudioMaxSampleRate = 384000;
// Sample frames in one buffer: 2^20, about 22 seconds at 48 kHz.
constexpr uint32_t kAudioMaxBufferSamples = 1u << 20;
// Buffers in a session's set.
constexpr uint32_t kAudioMaxBufferCount = 1024;
// The blocks of the whole set together.
constexpr uint64_t kAudioMaxBufferSetBytes = uint64_t{64} << 20;
// Audio encoders in one session.
constexpr uint32_t kAudioMaxEncoders = 64;
// Encoder bit rates in bits per second: 0 to 10 Mbit/s.
constexpr uint32_t kAudioMaxBitrate = 10000000;
// Bytes of one compressed packet or configuration record from the host.
constexpr uint32_t kAudioMaxPacketBytes = 1u << 20;

inline bool isAudioChannelCount(uint32_t channels) { return channels >= 1 && channels <= kAudioMaxChannels; }
inline bool isAudioSampleRate(uint32_t hertz) { return hertz >= 1 && hertz <= kAudioMaxSampleRate; }
// Quality is kept, not used, by both encoders; only a number is one.
inline bool isAudioQuality(double quality) { return std::isfinite(quality); }

}  // namespace cvx
