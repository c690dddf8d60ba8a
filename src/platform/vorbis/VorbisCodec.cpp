#include "platform/vorbis/VorbisCodec.h"

#include <ogg/ogg.h>
#include <vorbis/codec.h>
#include <vorbis/vorbisenc.h>

#include "platform/vorbis/VorbisHandles.h"

namespace cvx {

struct VorbisCodec::State {
  ogg_stream_state stream;
  ogg_page page;
  ogg_packet packet;
  vorbis_info info;
  vorbis_comment comment;
  vorbis_dsp_state dsp;
  vorbis_block block;
  // Each set once the library has set its record up. Declared after the
  // records, in the reverse of the order they are released in.
  VorbisInfoPtr infoSet;
  VorbisCommentPtr commentSet;
  VorbisDspPtr dspSet;
  VorbisBlockPtr blockSet;
  OggStreamPtr streamSet;
};

// Value-initialisation zeroes the library records before first use.
VorbisCodec::VorbisCodec() : state(std::make_unique<State>()) {}

VorbisCodec::~VorbisCodec() { clear(); }

const char* VorbisCodec::errorText(int code) {
  switch (code) {
    case 0: return "no error";
    case OV_FALSE: return "not true, or no data available";
    case OV_HOLE: return "interruption in the data";
    case OV_EREAD: return "read error";
    case OV_EFAULT: return "internal logic fault";
    case OV_EIMPL: return "feature not implemented (unsupported rate, channels or bit rate)";
    case OV_EINVAL: return "invalid argument";
    case OV_ENOTVORBIS: return "not Vorbis data";
    case OV_EBADHEADER: return "invalid Vorbis header";
    case OV_EVERSION: return "Vorbis version mismatch";
    case OV_EBADPACKET: return "invalid packet";
    case OV_EBADLINK: return "invalid stream section";
    case OV_ENOSEEK: return "stream not seekable";
    default: return "unknown library error";
  }
}

int VorbisCodec::init(uint32_t channels, uint32_t sampleRate, long maxBitrate, long nominalBitrate, long minBitrate) {
  // A second set-up starts from nothing.
  clear();
  vorbis_info_init(&state->info);
  state->infoSet.reset(&state->info);
  const int result = vorbis_encode_init(&state->info, static_cast<long>(channels), static_cast<long>(sampleRate),
                                        maxBitrate, nominalBitrate, minBitrate);
  ready = result == 0;
  return result;
}

void VorbisCodec::addComment(const char* tag, const char* value) {
  if (!state->commentSet) {
    vorbis_comment_init(&state->comment);
    state->commentSet.reset(&state->comment);
  }
  vorbis_comment_add_tag(&state->comment, tag, value);
}

int VorbisCodec::startAnalysis() {
  // Analysis on an info the encoder set-up refused would read garbage.
  if (!ready) return OV_EINVAL;
  int result = vorbis_analysis_init(&state->dsp, &state->info);
  if (result != 0) return result;
  state->dspSet.reset(&state->dsp);
  result = vorbis_block_init(&state->dsp, &state->block);
  // The block is set up even when the call says otherwise: clearing it is always safe.
  state->blockSet.reset(&state->block);
  return result;
}

int VorbisCodec::startStream(int serialNumber) {
  const int result = ogg_stream_init(&state->stream, serialNumber);
  if (result == 0) state->streamSet.reset(&state->stream);
  return result;
}

long VorbisCodec::putHeaders() {
  if (!state->dspSet || !state->streamSet) return OV_EINVAL;
  ogg_packet header, headerComment, headerCode;
  const int result = vorbis_analysis_headerout(&state->dsp, &state->comment, &header, &headerComment, &headerCode);
  if (result != 0) return result;
  ogg_stream_packetin(&state->stream, &header);
  ogg_stream_packetin(&state->stream, &headerComment);
  ogg_stream_packetin(&state->stream, &headerCode);
  return headerComment.bytes;
}

bool VorbisCodec::flushPage(const uint8_t*& body, uint32_t& bodyLength, bool& endOfStream) {
  if (!state->streamSet || ogg_stream_flush(&state->stream, &state->page) == 0) return false;
  body = state->page.body;
  bodyLength = static_cast<uint32_t>(state->page.body_len);
  endOfStream = ogg_page_eos(&state->page) != 0;
  return true;
}

float** VorbisCodec::analysisBuffer(int samples) {
  if (!state->dspSet) return nullptr;
  return vorbis_analysis_buffer(&state->dsp, samples);
}

int VorbisCodec::wrote(int samples) {
  if (!state->dspSet) return OV_EINVAL;
  return vorbis_analysis_wrote(&state->dsp, samples);
}

bool VorbisCodec::blockOut() {
  return state->dspSet && vorbis_analysis_blockout(&state->dsp, &state->block) == 1;
}

int VorbisCodec::analyzeBlock() {
  const int result = vorbis_analysis(&state->block, nullptr);
  if (result != 0) return result;
  return vorbis_bitrate_addblock(&state->block);
}

bool VorbisCodec::nextPacket(int64_t& granulePosition) {
  if (!state->dspSet || vorbis_bitrate_flushpacket(&state->dsp, &state->packet) != 1) return false;
  if (state->streamSet) ogg_stream_packetin(&state->stream, &state->packet);
  granulePosition = state->packet.granulepos;
  return true;
}

void VorbisCodec::clear() {
  if (state == nullptr) return;
  state->streamSet.reset();
  state->blockSet.reset();
  state->dspSet.reset();
  state->commentSet.reset();
  state->infoSet.reset();
  // Zeroed again for the next set-up; the guards are all empty by now.
  *state = State{};
  ready = false;
}

}  // namespace cvx
