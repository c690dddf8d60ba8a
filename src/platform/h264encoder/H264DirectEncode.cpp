#include "platform/h264encoder/H264DirectEncode.h"

#include <memory>

#include "platform/h264encoder/H264OutVideo.h"
#include "platform/h264encoder/X264ParamMapping.h"

namespace cvx {

namespace {

struct X264Closer {
  void operator()(x264_t* encoder) const { x264_encoder_close(encoder); }
};

}  // namespace

int64_t h264DirectEncode(const H264EncoderSettings& settings, const uint8_t* const* pictures, size_t count,
                         uint32_t fourcc) {
  const H264Messages silent;
  x264_param_t param;
  const int status = buildX264Params(settings, silent, param);
  if (status != kH264Ok || pictures == nullptr) {
    return -(status != kH264Ok ? status : kH264InvalidArgument);
  }
  std::unique_ptr<x264_t, X264Closer> encoder(x264_encoder_open(&param));
  if (!encoder) {
    return -kH264LibraryRejected;
  }
  const size_t luma = static_cast<size_t>(param.i_width) * param.i_height;
  x264_picture_t in;
  x264_picture_t out;
  x264_nal_t* nals = nullptr;
  int nalCount = 0;
  int64_t bytes = 0;
  for (size_t i = 0; i < count; ++i) {
    x264_picture_init(&in);
    in.i_pts = static_cast<int64_t>(i);
    in.img.i_csp = fourcc == kFourCcYV12 ? X264_CSP_YV12 : X264_CSP_I420;
    in.img.i_plane = 3;
    auto* plane0 = const_cast<uint8_t*>(pictures[i]);
    in.img.plane[0] = plane0;
    in.img.plane[1] = plane0 + luma;
    in.img.plane[2] = plane0 + luma + luma / 4;
    in.img.i_stride[0] = param.i_width;
    in.img.i_stride[1] = param.i_width / 2;
    in.img.i_stride[2] = param.i_width / 2;
    const int size = x264_encoder_encode(encoder.get(), &nals, &nalCount, &in, &out);
    if (size < 0) {
      return -kH264EncodeFailed;
    }
    bytes += size;
  }
  while (x264_encoder_delayed_frames(encoder.get()) > 0) {
    const int size = x264_encoder_encode(encoder.get(), &nals, &nalCount, nullptr, &out);
    if (size < 0) {
      return -kH264EncodeFailed;
    }
    bytes += size;
  }
  return bytes;
}

}  // namespace cvx
