#pragma once

#include <cstdint>
#include <memory>

namespace cvx {

// The Speex decoding calls, one for each library function the decoder class
// uses, so that the class keeps the library's order of work while only our
// types cross this header.

// One decoder of the library together with the bit-stream record it reads
// from; they are made and released together.
struct SpeexDecoderState;
struct SpeexDecoderStateDeleter {
  void operator()(SpeexDecoderState* state) const;
};
using SpeexDecoderPtr = std::unique_ptr<SpeexDecoderState, SpeexDecoderStateDeleter>;

constexpr int kSpeexModeWideband = 1;
constexpr int kSpeexSetEnhancer = 0;
constexpr int kSpeexGetFrameSize = 3;
constexpr int kSpeexGetSamplingRate = 25;

// A decoder for the mode with this number, or null.
SpeexDecoderPtr speexDecoderOpen(int modeId);
int speexDecoderCtl(SpeexDecoderState& state, int request, void* value);
// Points the bit-stream record at a packet. The bytes are read where they
// are, not copied: they stay the caller's and must outlive the decodes of
// this packet.
void speexBitsReadFrom(SpeexDecoderState& state, const uint8_t* data, uint32_t length);
// Decodes one frame of the state's frame size into `out`: 0, -1 at the end of
// the stream, -2 for a corrupt frame.
int speexDecodeInt(SpeexDecoderState& state, int16_t* out);
// The record's byte cursor and overflow flag.
int speexBitsCharPtr(const SpeexDecoderState& state);
int speexBitsOverflow(const SpeexDecoderState& state);
// What a library result means, for the log.
const char* speexStatusText(int result);

}  // namespace cvx
