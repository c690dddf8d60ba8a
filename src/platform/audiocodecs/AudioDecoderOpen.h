#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/bufstream/BufStream.h"

namespace cvx {

// Open entry points of the audio decoder streams (libavcodec underneath). Each
// returns a stream fed through copybytes and driven through auxinfo, or null
// when the library lacks the decoder; arguments are taken for the shape of the
// entry and ignored. done(0) ends decoding, free() destroys the stream.
//
// copybytes takes at most one frame per call when an output descriptor is set
// and writes that frame's samples, signed 16-bit interleaved, into it; without
// one (after a reset) it decodes everything it is given and keeps only what it
// learns about the stream. It returns the bytes it took.
bufstream_tt* openAacDecoderStream();  // ADTS frames
bufstream_tt* openMpegAudioDecoderStream(void* callbacks, void* settings, void* reserved);  // layers I and II
bufstream_tt* openMp3DecoderStream(void* callbacks, void* settings, void* reserved);        // layer III

// Info codes understood by auxinfo.
namespace audio_decoder_info {
constexpr uint32_t kSettings = 0x10000;      // MP3 settings record, kMp3SettingsBytes; kept, no effect here
constexpr uint32_t kSetOutput = 0x10001;     // AudioOutputDescriptor, kOutputDescriptorBytes
constexpr uint32_t kState = 0x10003;         // returns the state bits of the last copybytes
constexpr uint32_t kFrameInfo = 0x10006;     // AAC: AacFrameInfo, 64; MPEG audio: address of a record pointer
constexpr uint32_t kInitialize = 0x10202;    // (re)starts the decoder; AAC may pass its 128-byte settings
constexpr uint32_t kReset = 0x10fff;         // drops held input, the stream's knowledge and the descriptor
constexpr uint32_t kFetchLastError = 0x1F003;  // writes a const char* to the library's last error text
}  // namespace audio_decoder_info

// State bits returned by kState for the last copybytes.
namespace audio_decoder_state {
// All bytes of the call were taken and the stream has decoded a frame since
// its reset: feeding the rest of a packet has nothing left to do.
constexpr uint32_t kInputUsed = 0x1;
// The call produced no samples from bytes it could not use (no frame header
// found, or the codec refused the frame).
constexpr uint32_t kNoFrame = 0x2;
}  // namespace audio_decoder_state

constexpr uint32_t kAudioInfoOk = 0;
constexpr uint32_t kAudioInfoFailed = 0xFFFFFFFFu;

// Where a frame's samples go: the caller sets both words before each call; the
// stream overwrites outputSize with the bytes it produced.
struct AudioOutputDescriptor {
  uint8_t* outputBuffer;
  uint32_t outputSize;
};
// The descriptor as the stream reads it: the pointer and the size word behind it.
constexpr uint32_t kOutputDescriptorBytes = offsetof(AudioOutputDescriptor, outputSize) + sizeof(uint32_t);

// Filled at kFrameInfo on the AAC stream; valid (result 0) once a frame decoded.
struct AacFrameInfo {
  uint32_t objectType;
  uint32_t sampleRate;
  uint32_t channels;
  uint32_t samplesPerFrame;
  uint32_t bitRate;
  uint32_t reserved[11];
};
static_assert(sizeof(AacFrameInfo) == 64, "the frame_info record is 64 bytes");

// The AAC decoder's settings record: 0xFF bytes but for three words.
constexpr uint32_t kAacDecoderSettingsBytes = 128;
constexpr uint32_t kAacDecoderSettingsFirst = 8;
constexpr uint32_t kAacDecoderSettingsSecond = 12;
constexpr uint32_t kAacDecoderSettingsThird = 68;

// What an MPEG audio stream tells at kFrameInfo, through a pointer it owns.
struct MpegAudioStreamRecord {
  uint32_t channels;
  uint32_t sampleRate;
  uint32_t layer;
  uint32_t bitRate;
  uint32_t samplesPerFrame;
};

// The MP3 settings record and the work area its pointer at byte 1024 leads to.
constexpr uint32_t kMp3SettingsBytes = 3076;
constexpr uint32_t kMp3SettingsLinkOffset = 1024;
constexpr uint32_t kMp3WorkAreaBytes = 3056;

}  // namespace cvx
