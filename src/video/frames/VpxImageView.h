#pragma once

#include <cstdint>

namespace cvx {

// The VP8 encoder's picture description, in our own terms: the VP8 stand-in
// maps it onto the library's image record at its edge, so no code outside
// src/platform sees the library's header. Field names follow that record.
struct VpxImageView {
  uint32_t fmt;
  uint32_t w;
  uint32_t h;
  uint32_t d_w;
  uint32_t d_h;
  uint32_t x_chroma_shift;
  uint32_t y_chroma_shift;
  uint8_t* planes[4];  // Y, U, V, alpha
  int32_t stride[4];
  int32_t bps;
  void* user_priv;
};

// The library's value for planar 4:2:0 with U before V.
constexpr uint32_t kVpxImageFormatI420 = 258;

}  // namespace cvx
