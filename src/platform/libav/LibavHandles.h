#pragma once

#include <memory>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/buffer.h>
#include <libavutil/frame.h>
}

namespace cvx {

// Named deleters for libavcodec's and libavutil's handles, for every stand-in
// over them: each owner is a unique_ptr, and a release path run twice finds
// null the second time.
struct AvCodecContextDeleter {
  void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
};
struct AvFrameDeleter {
  void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};
struct AvPacketDeleter {
  void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};
struct AvBufferDeleter {
  void operator()(AVBufferRef* buffer) const { av_buffer_unref(&buffer); }
};

using AvCodecContextPtr = std::unique_ptr<AVCodecContext, AvCodecContextDeleter>;
using AvFramePtr = std::unique_ptr<AVFrame, AvFrameDeleter>;
using AvPacketPtr = std::unique_ptr<AVPacket, AvPacketDeleter>;
using AvBufferPtr = std::unique_ptr<AVBufferRef, AvBufferDeleter>;

}  // namespace cvx
