#include "platform/libav/LibavCodecs.h"

#include <algorithm>
#include <array>

#include "platform/libav/LibavLog.h"

namespace cvx {
namespace {

struct CodecRow {
  LibavCodec codec;
  AVCodecID id;
};
constexpr std::array<CodecRow, 9> kCodecTable = {{
    {LibavCodec::H264, AV_CODEC_ID_H264},
    {LibavCodec::Mpeg2Video, AV_CODEC_ID_MPEG2VIDEO},
    {LibavCodec::Mpeg4Part2, AV_CODEC_ID_MPEG4},
    {LibavCodec::H263, AV_CODEC_ID_H263},
    {LibavCodec::SorensonSpark, AV_CODEC_ID_FLV1},
    {LibavCodec::Aac, AV_CODEC_ID_AAC},
    {LibavCodec::MpegAudioLayer1, AV_CODEC_ID_MP1},
    {LibavCodec::MpegAudioLayer2, AV_CODEC_ID_MP2},
    {LibavCodec::MpegAudioLayer3, AV_CODEC_ID_MP3},
}};

}  // namespace

AVCodecID libavCodecId(LibavCodec codec) {
  for (const CodecRow& row : kCodecTable) {
    if (row.codec == codec) return row.id;
  }
  return AV_CODEC_ID_NONE;
}

const AVCodec* findLibavDecoder(LibavCodec codec) {
  routeLibavLog();
  return avcodec_find_decoder(libavCodecId(codec));
}

const AVCodec* findLibavEncoder(LibavCodec codec) {
  routeLibavLog();
  return avcodec_find_encoder(libavCodecId(codec));
}

AvCodecContextPtr allocateLibavContext(const AVCodec* codec, AvStatus& status) {
  if (codec == nullptr) {
    status.fail("avcodec_find_decoder", "no decoder for this stream");
    return nullptr;
  }
  AvCodecContextPtr context(avcodec_alloc_context3(codec));
  if (!context) status.fail("avcodec_alloc_context3", "out of memory");
  return context;
}

void openLibavContext(AvCodecContextPtr& context, AvStatus& status) {
  if (status.check(avcodec_open2(context.get(), context->codec, nullptr), "avcodec_open2") != AvOutcome::Ok) {
    context.reset();
  }
}

bool reusablePacketBuffer(AvBufferPtr& buffer, size_t needed, AvStatus& status) {
  if (buffer && av_buffer_is_writable(buffer.get()) != 0 && static_cast<size_t>(buffer->size) >= needed) return true;
  const size_t capacity = std::max(needed, buffer ? static_cast<size_t>(buffer->size) : 0);
  // The codec may still hold the old bytes: they are given up to it.
  buffer.reset(av_buffer_alloc(capacity));
  if (!buffer) status.fail("av_buffer_alloc", "out of memory");
  return buffer != nullptr;
}

bool pointPacketAt(AVPacket& packet, const AvBufferPtr& buffer, size_t size, AvStatus& status) {
  av_packet_unref(&packet);
  packet.buf = av_buffer_ref(buffer.get());
  if (packet.buf == nullptr) {
    status.fail("av_buffer_ref", "out of memory");
    return false;
  }
  packet.data = buffer->data;
  packet.size = static_cast<int>(size);
  return true;
}

}  // namespace cvx
