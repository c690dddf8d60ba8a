#include "support/ReferenceDecodeLoop.h"

extern "C" {
#include <libavutil/imgutils.h>
}

#include "platform/libav/LibavCodecs.h"

namespace cvx {

struct ReferenceDecodeLoop::State {
  AvCodecContextPtr context;
  AvPacketPtr packet{av_packet_alloc()};
  AvFramePtr frame{av_frame_alloc()};
  AvStatus status;
};

ReferenceDecodeLoop::ReferenceDecodeLoop() : state_(std::make_unique<State>()) {}
ReferenceDecodeLoop::~ReferenceDecodeLoop() = default;

bool ReferenceDecodeLoop::open(int threads) {
  if (!state_->packet || !state_->frame) return false;
  state_->context = openLibavDecoder(LibavCodec::H264, state_->status,
                                     [threads](AVCodecContext& context) { context.thread_count = threads; });
  return state_->context != nullptr;
}

int ReferenceDecodeLoop::decode(const uint8_t* data, size_t size, uint8_t* target, int width, int height) {
  state_->packet->data = const_cast<uint8_t*>(data);
  state_->packet->size = static_cast<int>(size);
  const AvOutcome outcome =
      state_->status.check(avcodec_send_packet(state_->context.get(), state_->packet.get()), "avcodec_send_packet");
  if (outcome == AvOutcome::Failed) {
    return -1;
  }
  return receive(target, width, height);
}

int ReferenceDecodeLoop::flush(uint8_t* target, int width, int height) {
  state_->status.check(avcodec_send_packet(state_->context.get(), nullptr), "avcodec_send_packet");
  const int pictures = receive(target, width, height);
  avcodec_flush_buffers(state_->context.get());
  return pictures;
}

int ReferenceDecodeLoop::receive(uint8_t* target, int width, int height) {
  int pictures = 0;
  AVFrame* frame = state_->frame.get();
  while (state_->status.check(avcodec_receive_frame(state_->context.get(), frame), "avcodec_receive_frame") ==
         AvOutcome::Ok) {
    if (target != nullptr && frame->width == width && frame->height == height) {
      const size_t luma = static_cast<size_t>(width) * height;
      av_image_copy_plane(target, width, frame->data[0], frame->linesize[0], width, height);
      av_image_copy_plane(target + luma, width / 2, frame->data[1], frame->linesize[1], width / 2, height / 2);
      av_image_copy_plane(target + luma * 5 / 4, width / 2, frame->data[2], frame->linesize[2], width / 2,
                          height / 2);
    }
    av_frame_unref(frame);
    ++pictures;
  }
  return pictures;
}

}  // namespace cvx
