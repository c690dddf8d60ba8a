#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/bufstream/BufStream.h"

namespace cvx {

// AAC-LC encoding (libavcodec's own encoder underneath) in seven operations.
// Samples go in as signed 16-bit interleaved bytes; every 1024 sample frames
// make one raw access unit (no ADTS header), written to the bound stream with
// copybytes and closed with auxinfo bufstream_info::kAudioFrameEnd.

// Kilobits per second by bit rate index; index 0 asks for no rate and gets the
// encoder's constant-quality mode.
constexpr uint32_t kAacBitrateTableKbps[29] = {0,   6,   7,   8,   10,  12,  14,  16,  20,  24,
                                               28,  32,  40,  48,  56,  64,  80,  96,  112, 128,
                                               160, 192, 224, 256, 320, 384, 448, 512, 1024};
constexpr uint32_t kAacBitrateIndexCount = 29;

// The settings record. Only the words named here mean anything.
struct AacEncoderSettings {
  uint32_t channels;       // byte 0: 1 to 8, but 7
  uint32_t objectType;     // byte 4: 2, AAC-LC, the only one
  uint32_t reserved0;
  uint32_t bitrateIndex;   // byte 12: into kAacBitrateTableKbps
  uint32_t reserved1[4];
  uint32_t bitsPerSample;  // byte 32: 16, the only one
  uint8_t reserved2[220];
};
static_assert(sizeof(AacEncoderSettings) == 256, "the settings record is 256 bytes");
static_assert(offsetof(AacEncoderSettings, bitrateIndex) == 12 && offsetof(AacEncoderSettings, bitsPerSample) == 32,
              "the words the encoder class writes");

constexpr uint32_t kAacFrameSamples = 1024;

// Message functions the encoder looks up by name through a resolver:
// "err_printf" (format, arguments). Without a resolver nothing is printed.
using AacGenericFunction = void (*)();
using AacCallbackResolver = AacGenericFunction (*)(const char* name);

// Status codes; 0 is success.
enum AacEncoderStatus : int {
  kAacOk = 0,
  kAacInvalidArgument = 1,  // null record or handle, wrong state
  kAacInvalidChannels = 2,
  kAacInvalidSampleRate = 3,  // not one of the thirteen AAC rates
  kAacInvalidFormat = 4,      // bits per sample, object type or bit rate index
  kAacLibraryFailure = 5,     // the library refused; see aacOutAudioLastError
};

class AacOutAudio;

// 1: fills `settings` with the defaults (stereo, 128 kbit/s, 16 bits).
void aacOutAudioDefaults(AacEncoderSettings* settings, uint32_t reserved);
// 2: checks the settings for `sampleRate`.
int aacOutAudioChkSettings(AacCallbackResolver resolver, const AacEncoderSettings* settings, uint32_t reserved1,
                           uint32_t sampleRate, uint32_t reserved2, void* reserved3);
// 3: makes an encoder, or null when the settings or the library fail.
AacOutAudio* aacOutAudioNew(AacCallbackResolver resolver, const AacEncoderSettings* settings, uint32_t reserved1,
                            uint32_t reserved2, uint32_t sampleRate);
// 4: binds the stream the access units go to; it must outlive the encoder.
int aacOutAudioInit(AacOutAudio* encoder, bufstream_tt* output);
// 5: takes `size` bytes of samples; whole frames are encoded at once, a
// remainder waits for the next call.
int aacOutAudioPutBytes(AacOutAudio* encoder, const uint8_t* data, uint32_t size);
// 6: with abort 0, encodes what waits and drains the encoder into the stream.
void aacOutAudioDone(AacOutAudio* encoder, int abort);
// 7: destroys the encoder; null is allowed.
void aacOutAudioFree(AacOutAudio* encoder);
// The library's text of the last failure, "" when none.
const char* aacOutAudioLastError(const AacOutAudio* encoder);

// Named deleter for owners that hold the encoder in a std::unique_ptr.
struct AacOutAudioDeleter {
  void operator()(AacOutAudio* encoder) const { aacOutAudioFree(encoder); }
};

}  // namespace cvx
