#include "platform/speex/SpeexLibrary.h"

#include <climits>
#include <new>

#include <speex/speex.h>
#include <speex/speex_bits.h>

namespace cvx {
namespace {

static_assert(sizeof(SpeexBits) <= sizeof(SpeexBitsRecord::storage), "the record holds the library's bits");
static_assert(alignof(SpeexBits) <= alignof(SpeexBitsRecord), "the record is aligned for the library's bits");
static_assert(kSpeexModeWideband == SPEEX_MODEID_WB && kSpeexSetEnhancer == SPEEX_SET_ENH &&
                  kSpeexGetFrameSize == SPEEX_GET_FRAME_SIZE && kSpeexGetSamplingRate == SPEEX_GET_SAMPLING_RATE,
              "our request numbers are the library's");

SpeexBits* bitsOf(SpeexBitsRecord& bits) { return reinterpret_cast<SpeexBits*>(bits.storage); }
const SpeexBits* bitsOf(const SpeexBitsRecord& bits) { return reinterpret_cast<const SpeexBits*>(bits.storage); }

}  // namespace

void* speexDecoderInit(int modeId) {
  if (modeId < 0 || modeId >= SPEEX_NB_MODES) return nullptr;
  const SpeexMode* mode = speex_lib_get_mode(modeId);
  return mode == nullptr ? nullptr : speex_decoder_init(mode);
}

int speexDecoderCtl(void* state, int request, void* value) {
  return state == nullptr ? -1 : speex_decoder_ctl(state, request, value);
}

void speexDecoderDestroy(void* state) {
  if (state != nullptr) speex_decoder_destroy(state);
}

void speexBitsInit(SpeexBitsRecord& bits) {
  new (bits.storage) SpeexBits{};
  speex_bits_init(bitsOf(bits));
}

void speexBitsReadFrom(SpeexBitsRecord& bits, const uint8_t* data, uint32_t length) {
  if (data == nullptr) length = 0;
  const int bytes = length > static_cast<uint32_t>(INT_MAX) ? INT_MAX : static_cast<int>(length);
  speex_bits_read_from(bitsOf(bits), reinterpret_cast<const char*>(data), bytes);
}

void speexBitsDestroy(SpeexBitsRecord& bits) {
  // A record that was never initialised owns nothing.
  if (bitsOf(bits)->owner != 0) speex_bits_destroy(bitsOf(bits));
  new (bits.storage) SpeexBits{};
}

int speexDecodeInt(void* state, SpeexBitsRecord& bits, int16_t* out) {
  if (state == nullptr || out == nullptr) return -2;
  return speex_decode_int(state, bitsOf(bits), out);
}

int speexBitsCharPtr(const SpeexBitsRecord& bits) { return bitsOf(bits)->charPtr; }

int speexBitsOverflow(const SpeexBitsRecord& bits) { return bitsOf(bits)->overflow; }

const char* speexStatusText(int result) {
  switch (result) {
    case 0: return "frame decoded";
    case -1: return "end of stream";
    case -2: return "corrupt stream";
    default: return "unknown library result";
  }
}

}  // namespace cvx
