#pragma once

#include <stdint.h>  // the library header needs it first
#include <x264.h>

#include <memory>

namespace cvx {

// Named deleters for x264's handles: the encoder is its only one.
struct X264EncoderCloser {
  void operator()(x264_t* encoder) const { x264_encoder_close(encoder); }
};
using X264EncoderPtr = std::unique_ptr<x264_t, X264EncoderCloser>;

}  // namespace cvx
