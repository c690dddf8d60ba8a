#pragma once

#include <cstdint>

namespace cvx {

// A picture as the VP8 encoder reads it: our own mirror of the fields the
// library's image descriptor needs, so that picture buffers can carry one
// without seeing the library's headers. Planes are Y, U, V.
struct VpxImageView {
  uint32_t fmt = 0;
  uint32_t w = 0;
  uint32_t h = 0;
  uint32_t d_w = 0;
  uint32_t d_h = 0;
  uint32_t x_chroma_shift = 0;
  uint32_t y_chroma_shift = 0;
  uint8_t* planes[4] = {nullptr, nullptr, nullptr, nullptr};
  int32_t stride[4] = {0, 0, 0, 0};
  int32_t bps = 0;
  void* user_priv = nullptr;
};

// The planar 4:2:0 format code of the view.
constexpr uint32_t kVpxImageFormatI420 = 258;

}  // namespace cvx
