#include "platform/libav/LibavCodecs.h"

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

}  // namespace cvx
