#include "support/ReferenceAudioDecodeLoop.h"

#include "platform/audiocodecs/SampleConversion.h"
#include "platform/libav/LibavCodecs.h"

namespace cvx {

struct ReferenceAudioDecodeLoop::State {
  AvStatus status;
  AvCodecContextPtr context;
  AvPacketPtr packet;
  AvFramePtr frame;
};

ReferenceAudioDecodeLoop::ReferenceAudioDecodeLoop() : state_(std::make_unique<State>()) {}

ReferenceAudioDecodeLoop::~ReferenceAudioDecodeLoop() = default;

bool ReferenceAudioDecodeLoop::open(Codec codec) {
  state_->packet.reset(av_packet_alloc());
  state_->frame.reset(av_frame_alloc());
  if (!state_->packet || !state_->frame) return false;
  state_->context =
      openLibavDecoder(codec == Codec::Aac ? LibavCodec::Aac : LibavCodec::MpegAudioLayer3, state_->status);
  return state_->context != nullptr;
}

int64_t ReferenceAudioDecodeLoop::decode(const uint8_t* data, size_t size, uint8_t* out, uint32_t capacitySamples) {
  AVPacket& packet = *state_->packet;
  packet.data = const_cast<uint8_t*>(data);
  packet.size = static_cast<int>(size);
  const AvOutcome sent = state_->status.check(avcodec_send_packet(state_->context.get(), &packet), "avcodec_send_packet");
  if (sent != AvOutcome::Ok) return -1;
  int64_t written = 0;
  while (state_->status.check(avcodec_receive_frame(state_->context.get(), state_->frame.get()),
                              "avcodec_receive_frame") == AvOutcome::Ok) {
    const int channels = state_->frame->ch_layout.nb_channels;
    const int64_t count = writeInterleavedS16(*state_->frame, out + written * channels * 2,
                                              capacitySamples - static_cast<uint32_t>(written));
    if (count > 0) written += count;
    av_frame_unref(state_->frame.get());
  }
  return written;
}

}  // namespace cvx
