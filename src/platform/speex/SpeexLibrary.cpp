#include "platform/speex/SpeexLibrary.h"

#include <climits>
#include <new>

#include <speex/speex.h>
#include <speex/speex_bits.h>

namespace cvx {

static_assert(kSpeexModeWideband == SPEEX_MODEID_WB && kSpeexSetEnhancer == SPEEX_SET_ENH &&
                  kSpeexGetFrameSize == SPEEX_GET_FRAME_SIZE && kSpeexGetSamplingRate == SPEEX_GET_SAMPLING_RATE,
              "our request numbers are the library's");

struct SpeexDecoderState {
  void* decoder = nullptr;
  // Never owns a buffer: it is pointed at each packet in turn.
  SpeexBits bits{};
};

void SpeexDecoderStateDeleter::operator()(SpeexDecoderState* state) const {
  if (state->decoder != nullptr) speex_decoder_destroy(state->decoder);
  delete state;
}

SpeexDecoderPtr speexDecoderOpen(int modeId) {
  if (modeId < 0 || modeId >= SPEEX_NB_MODES) return nullptr;
  const SpeexMode* mode = speex_lib_get_mode(modeId);
  if (mode == nullptr) return nullptr;
  SpeexDecoderPtr state(new (std::nothrow) SpeexDecoderState());
  if (state == nullptr) return nullptr;
  state->decoder = speex_decoder_init(mode);
  if (state->decoder == nullptr) return nullptr;
  return state;
}

int speexDecoderCtl(SpeexDecoderState& state, int request, void* value) {
  return speex_decoder_ctl(state.decoder, request, value);
}

void speexBitsReadFrom(SpeexDecoderState& state, const uint8_t* data, uint32_t length) {
  if (data == nullptr) length = 0;
  const int bytes = length > static_cast<uint32_t>(INT_MAX / 8) ? INT_MAX / 8 : static_cast<int>(length);
  // Reading the bytes in place spares a copy per packet, and the library's
  // notice on standard error for a packet larger than its own buffer.
  // Decoding only reads through the record.
  speex_bits_set_bit_buffer(&state.bits, const_cast<uint8_t*>(data), bytes);
}

int speexDecodeInt(SpeexDecoderState& state, int16_t* out) {
  if (out == nullptr) return -2;
  return speex_decode_int(state.decoder, &state.bits, out);
}

int speexBitsCharPtr(const SpeexDecoderState& state) { return state.bits.charPtr; }

int speexBitsOverflow(const SpeexDecoderState& state) { return state.bits.overflow; }

const char* speexStatusText(int result) {
  switch (result) {
    case 0: return "frame decoded";
    case -1: return "end of stream";
    case -2: return "corrupt stream";
    default: return "unknown library result";
  }
}

}  // namespace cvx
