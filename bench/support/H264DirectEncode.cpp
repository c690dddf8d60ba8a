#include "support/H264DirectEncode.h"

#include "platform/h264encoder/H264OutVideo.h"
#include "platform/h264encoder/X264Handles.h"
#include "platform/h264encoder/X264ParamMapping.h"

namespace cvx {

int64_t h264DirectEncode(const H264EncoderSettings& settings, const uint8_t* const* pictures, size_t count,
                         uint32_t fourcc) {
  const H264Messages silent;
  X264Params params;
  const int status = buildX264Params(settings, silent, params);
  const x264_param_t& param = params.get();
  if (status != kH264Ok || pictures == nullptr) {
    return -(status != kH264Ok ? status : kH264InvalidArgument);
  }
  X264EncoderPtr encoder(x264_encoder_open(&params.get()));
  if (!encoder) {
    return -kH264LibraryRejected;
  }
  x264_picture_t in;
  x264_picture_t out;
  x264_nal_t* nals = nullptr;
  int nalCount = 0;
  int64_t bytes = 0;
  for (size_t i = 0; i < count; ++i) {
    x264_picture_init(&in);
    in.i_pts = static_cast<int64_t>(i);
    pointX264Picture(in, pictures[i], param.i_width, static_cast<uint32_t>(param.i_width),
                     static_cast<uint32_t>(param.i_height), fourcc);
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
