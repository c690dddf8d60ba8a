#pragma once

#include <cstdint>

namespace cvx {

// The Speex decoding calls, one for each library function the decoder class
// uses, so that the class keeps the library's order of work while only our
// types cross this header.

// Room for the library's bit-stream record; it stays opaque above this layer.
struct SpeexBitsRecord {
  alignas(void*) unsigned char storage[64];
};

constexpr int kSpeexModeWideband = 1;
constexpr int kSpeexSetEnhancer = 0;
constexpr int kSpeexGetFrameSize = 3;
constexpr int kSpeexGetSamplingRate = 25;

// Decoder state for the mode with this number, or null.
void* speexDecoderInit(int modeId);
int speexDecoderCtl(void* state, int request, void* value);
void speexDecoderDestroy(void* state);
void speexBitsInit(SpeexBitsRecord& bits);
void speexBitsReadFrom(SpeexBitsRecord& bits, const uint8_t* data, uint32_t length);
void speexBitsDestroy(SpeexBitsRecord& bits);
// Decodes one frame of the state's frame size into `out`: 0, -1 at the end of
// the stream, -2 for a corrupt frame.
int speexDecodeInt(void* state, SpeexBitsRecord& bits, int16_t* out);
// The record's byte cursor and overflow flag.
int speexBitsCharPtr(const SpeexBitsRecord& bits);
int speexBitsOverflow(const SpeexBitsRecord& bits);
// What a library result means, for the log.
const char* speexStatusText(int result);

}  // namespace cvx
