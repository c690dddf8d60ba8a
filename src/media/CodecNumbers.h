#pragma once

#include <cstdint>

namespace cvx {

// The numbers by which a host names codecs. They are the host's protocol:
// the Java constants in TranscoderSessionNative mirror them and must not drift.
enum VideoCodecNumber : uint32_t {
  kVideoCodecSorensonSpark = 2,
  kVideoCodecH264 = 7,
  kVideoCodecVP8 = 8,  // encoders only
  kVideoCodecH263 = 9,
  kVideoCodecMPEG4Part2 = 10,
  kVideoCodecMPEG2 = 11,
};

enum AudioCodecNumber : uint32_t {
  kAudioCodecMpegAudio = 2,  // the implementation chooses the layer
  kAudioCodecG711ALaw = 7,
  kAudioCodecG711MuLaw = 8,
  kAudioCodecVorbis = 9,  // encoders only
  kAudioCodecAAC = 10,
  kAudioCodecSpeex = 11,
};

// Implementation numbers. For H.264 only 1 and 2 are special, and 2 means
// different things to decoders and encoders; every other value is the
// default software codec.
enum VideoImplementationNumber : uint32_t {
  kVideoImplementationQuickSync = 1,
  kVideoDecoderImplementationQuickSyncSoftware = 2,
  kVideoEncoderImplementationCUDA = 2,
};

// MPEG audio: implementation 3 is layer III; any other is layers I/II.
constexpr uint32_t kAudioImplementationMP3 = 3;

}  // namespace cvx
