#pragma once

#include <ogg/ogg.h>
#include <vorbis/codec.h>

#include <memory>

namespace cvx {

// Named deleters for libvorbis's and libogg's records. The records live in
// their owner's state; each deleter ends the library's use of one, so the
// owner holds a unique_ptr to its own record from the moment the library has
// set it up, and a release runs once.
struct VorbisInfoClear {
  void operator()(vorbis_info* info) const { vorbis_info_clear(info); }
};
struct VorbisCommentClear {
  void operator()(vorbis_comment* comment) const { vorbis_comment_clear(comment); }
};
struct VorbisDspClear {
  void operator()(vorbis_dsp_state* dsp) const { vorbis_dsp_clear(dsp); }
};
struct VorbisBlockClear {
  void operator()(vorbis_block* block) const { vorbis_block_clear(block); }
};
struct OggStreamClear {
  void operator()(ogg_stream_state* stream) const { ogg_stream_clear(stream); }
};
using VorbisInfoPtr = std::unique_ptr<vorbis_info, VorbisInfoClear>;
using VorbisCommentPtr = std::unique_ptr<vorbis_comment, VorbisCommentClear>;
using VorbisDspPtr = std::unique_ptr<vorbis_dsp_state, VorbisDspClear>;
using VorbisBlockPtr = std::unique_ptr<vorbis_block, VorbisBlockClear>;
using OggStreamPtr = std::unique_ptr<ogg_stream_state, OggStreamClear>;

}  // namespace cvx
