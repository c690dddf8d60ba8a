#pragma once

#include <stdint.h>  // the library header needs it first
#include <x264.h>

#include <memory>

namespace cvx {

// Named deleters for x264's handles.
struct X264EncoderCloser {
  void operator()(x264_t* encoder) const { x264_encoder_close(encoder); }
};
using X264EncoderPtr = std::unique_ptr<x264_t, X264EncoderCloser>;

// A parameter record owns the strings that the presets and x264_param_parse
// allocate inside it; they go with the record, whether or not an encoder was
// ever opened from it (a refused record leaked them before).
class X264Params {
 public:
  X264Params() = default;
  ~X264Params() { x264_param_cleanup(&value); }
  X264Params(const X264Params&) = delete;
  X264Params& operator=(const X264Params&) = delete;

  x264_param_t& get() { return value; }
  // Releases what the record holds and zeroes it.
  void reset() {
    x264_param_cleanup(&value);
    value = x264_param_t{};
  }

 private:
  x264_param_t value{};
};

}  // namespace cvx
