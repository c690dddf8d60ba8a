#pragma once

#include <vpx/vpx_encoder.h>

#include <memory>

namespace cvx {

// Named deleters for libvpx's handles. The codec context lives in its
// owner's record; the library only has to be told it is done with it, so the
// owner holds a unique_ptr to its own record, set once the context is
// initialised.
struct VpxCodecDestroyer {
  void operator()(vpx_codec_ctx_t* codec) const { vpx_codec_destroy(codec); }
};
using VpxCodecPtr = std::unique_ptr<vpx_codec_ctx_t, VpxCodecDestroyer>;

}  // namespace cvx
