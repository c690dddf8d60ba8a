#include "FakeDecoder.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/frame.h>
}

#include <algorithm>
#include <cstring>

namespace fake {

namespace {

// Exp-Golomb reading over an RBSP (emulation prevention removed).
class Bits {
 public:
  explicit Bits(std::vector<uint8_t> rbsp) : bytes(std::move(rbsp)) {}
  uint32_t u(int n) {
    uint32_t v = 0;
    for (int i = 0; i < n; ++i) v = v << 1 | bit();
    return v;
  }
  uint32_t ue() {
    int zeros = 0;
    while (bit() == 0 && zeros < 32) ++zeros;
    return (uint32_t{1} << zeros) - 1 + u(zeros);
  }
  int32_t se() {
    const uint32_t k = ue();
    return (k & 1) ? static_cast<int32_t>((k + 1) / 2) : -static_cast<int32_t>(k / 2);
  }

 private:
  uint32_t bit() {
    if (position >= bytes.size() * 8) return 0;
    const uint32_t b = (bytes[position / 8] >> (7 - position % 8)) & 1;
    ++position;
    return b;
  }
  std::vector<uint8_t> bytes;
  std::size_t position = 0;
};

std::vector<uint8_t> unescape(const uint8_t* p, std::size_t n) {
  std::vector<uint8_t> out;
  for (std::size_t i = 0; i < n; ++i) {
    if (i >= 2 && p[i] == 3 && p[i - 1] == 0 && p[i - 2] == 0) continue;
    out.push_back(p[i]);
  }
  return out;
}

// The payload of the first NAL unit of `type`, up to the next start code.
bool findNal(const uint8_t* data, std::size_t size, int type, const uint8_t*& nal, std::size_t& length) {
  for (std::size_t i = 0; i + 3 < size; ++i) {
    if (data[i] != 0 || data[i + 1] != 0 || data[i + 2] != 1) continue;
    if ((data[i + 3] & 31) != type) continue;
    std::size_t end = i + 3;
    while (end + 2 < size && !(data[end] == 0 && data[end + 1] == 0 && (data[end + 2] == 1 || data[end + 2] == 0))) ++end;
    if (end + 2 >= size) end = size;
    nal = data + i + 4;
    length = end - (i + 4);
    return true;
  }
  return false;
}

void skipScalingList(Bits& bits, int size) {
  int last = 8, next = 8;
  for (int j = 0; j < size; ++j) {
    if (next != 0) next = (last + bits.se() + 256) % 256;
    last = next == 0 ? last : next;
  }
}

constexpr uint16_t kSar[17][2] = {{0, 0},   {1, 1},   {12, 11}, {10, 11}, {16, 11},  {40, 33}, {24, 11}, {20, 11}, {32, 11},
                                  {80, 33}, {18, 11}, {15, 11}, {64, 33}, {160, 99}, {4, 3},   {3, 2},   {2, 1}};

}  // namespace

bool readSequenceHeader(const uint8_t* data, std::size_t size, mfxVideoParam& par) {
  const uint8_t* nal = nullptr;
  std::size_t length = 0;
  if (data == nullptr || !findNal(data, size, 7, nal, length)) return false;
  Bits bits(unescape(nal, length));
  const uint32_t profile = bits.u(8);
  bits.u(8);
  const uint32_t level = bits.u(8);
  bits.ue();
  uint32_t chroma = 1;
  if (profile == 100 || profile == 110 || profile == 122 || profile == 244 || profile == 44 || profile == 83 ||
      profile == 86 || profile == 118 || profile == 128) {
    chroma = bits.ue();
    if (chroma == 3) bits.u(1);
    bits.ue();
    bits.ue();
    bits.u(1);
    if (bits.u(1)) {
      for (int i = 0; i < (chroma != 3 ? 8 : 12); ++i) {
        if (bits.u(1)) skipScalingList(bits, i < 6 ? 16 : 64);
      }
    }
  }
  bits.ue();
  const uint32_t pocType = bits.ue();
  if (pocType == 0) {
    bits.ue();
  } else if (pocType == 1) {
    bits.u(1);
    bits.se();
    bits.se();
    const uint32_t n = bits.ue();
    for (uint32_t i = 0; i < n && i < 256; ++i) bits.se();
  }
  bits.ue();
  bits.u(1);
  const uint32_t widthMbs = bits.ue() + 1;
  const uint32_t heightUnits = bits.ue() + 1;
  const uint32_t frameMbsOnly = bits.u(1);
  if (!frameMbsOnly) bits.u(1);
  bits.u(1);
  uint32_t cropLeft = 0, cropRight = 0, cropTop = 0, cropBottom = 0;
  if (bits.u(1)) {
    cropLeft = bits.ue();
    cropRight = bits.ue();
    cropTop = bits.ue();
    cropBottom = bits.ue();
  }
  uint16_t sarW = 0, sarH = 0;
  uint32_t tick = 0, scale = 0;
  if (bits.u(1)) {
    if (bits.u(1)) {
      const uint32_t idc = bits.u(8);
      if (idc == 255) {
        sarW = static_cast<uint16_t>(bits.u(16));
        sarH = static_cast<uint16_t>(bits.u(16));
      } else if (idc < 17) {
        sarW = kSar[idc][0];
        sarH = kSar[idc][1];
      }
    }
    if (bits.u(1)) bits.u(1);
    if (bits.u(1)) {
      bits.u(4);
      if (bits.u(1)) bits.u(24);
    }
    if (bits.u(1)) {
      bits.ue();
      bits.ue();
    }
    if (bits.u(1)) {
      tick = bits.u(32);
      scale = bits.u(32);
    }
  }
  const uint32_t width = widthMbs * 16;
  const uint32_t height = heightUnits * 16 * (2 - frameMbsOnly);
  const uint32_t unitY = 2 * (2 - frameMbsOnly);
  mfxFrameInfo& info = par.mfx.FrameInfo;
  info.FourCC = MFX_FOURCC_NV12;
  info.ChromaFormat = MFX_CHROMAFORMAT_YUV420;
  info.PicStruct = MFX_PICSTRUCT_PROGRESSIVE;
  info.Width = static_cast<mfxU16>((width + 15) & ~15u);
  info.Height = static_cast<mfxU16>(frameMbsOnly ? (height + 15) & ~15u : (height + 31) & ~31u);
  info.CropX = static_cast<mfxU16>(cropLeft * 2);
  info.CropY = static_cast<mfxU16>(cropTop * unitY);
  info.CropW = static_cast<mfxU16>(width - (cropLeft + cropRight) * 2);
  info.CropH = static_cast<mfxU16>(height - (cropTop + cropBottom) * unitY);
  info.AspectRatioW = sarW;
  info.AspectRatioH = sarH;
  info.FrameRateExtN = tick > 0 ? scale : 0;
  info.FrameRateExtD = tick > 0 ? 2 * tick : 0;
  par.mfx.CodecProfile = static_cast<mfxU16>(profile);
  par.mfx.CodecLevel = static_cast<mfxU16>(level);
  return true;
}

Decoder::Decoder(const mfxVideoParam& par) : initParams(par) {
  const AVCodec* codec = avcodec_find_decoder(AV_CODEC_ID_H264);
  context = codec != nullptr ? avcodec_alloc_context3(codec) : nullptr;
  if (context == nullptr) return;
  context->thread_count = 1;
  packet = av_packet_alloc();
  if (packet == nullptr || avcodec_open2(context, codec, nullptr) != 0) avcodec_free_context(&context);
}

Decoder::~Decoder() {
  for (AVFrame* frame : ready) av_frame_free(&frame);
  av_packet_free(&packet);
  avcodec_free_context(&context);
}

bool Decoder::sizeChanged(const uint8_t* data, std::size_t size) const {
  mfxVideoParam seen{};
  if (!readSequenceHeader(data, size, seen)) return false;
  return seen.mfx.FrameInfo.CropW != initParams.mfx.FrameInfo.CropW ||
         seen.mfx.FrameInfo.CropH != initParams.mfx.FrameInfo.CropH;
}

void Decoder::send(const uint8_t* data, std::size_t size, int64_t pts) {
  headers.insert(headers.end(), data, data + size);
  bool slice = false;
  for (std::size_t i = 0; i + 3 < size && !slice; ++i) {
    const int type = data[i + 3] & 31;
    slice = data[i] == 0 && data[i + 1] == 0 && data[i + 2] == 1 && (type == 1 || type == 5);
  }
  if (!slice || av_new_packet(packet, static_cast<int>(headers.size())) != 0) return;
  std::memcpy(packet->data, headers.data(), headers.size());
  packet->pts = pts;
  avcodec_send_packet(context, packet);
  av_packet_unref(packet);
  headers.clear();
}

void Decoder::drain() {
  for (;;) {
    AVFrame* frame = av_frame_alloc();
    if (frame == nullptr) return;
    if (avcodec_receive_frame(context, frame) != 0) {
      av_frame_free(&frame);
      return;
    }
    ready.push_back(frame);
  }
}

mfxStatus Decoder::decode(mfxBitstream* bs, mfxFrameSurface1* work, mfxFrameSurface1** out) {
  if (context == nullptr) return MFX_ERR_NOT_INITIALIZED;
  if (work == nullptr || out == nullptr) return MFX_ERR_NULL_PTR;
  if (bs != nullptr && bs->DataLength > 0) {
    const uint8_t* data = bs->Data + bs->DataOffset;
    // As the SDK does: a new size needs new surfaces, which it cannot have.
    if (sizeChanged(data, bs->DataLength)) return MFX_ERR_INCOMPATIBLE_VIDEO_PARAM;
    // One packet an access unit, as the SDK parses them: each begins at a delimiter.
    std::size_t begin = 0;
    for (std::size_t i = 1; i + 4 < bs->DataLength; ++i) {
      if (data[i] == 0 && data[i + 1] == 0 && data[i + 2] == 1 && (data[i + 3] & 31) == 9) {
        const std::size_t start = data[i - 1] == 0 ? i - 1 : i;
        send(data + begin, start - begin, static_cast<int64_t>(bs->TimeStamp));
        begin = start;
      }
    }
    send(data + begin, bs->DataLength - begin, static_cast<int64_t>(bs->TimeStamp));
    bs->DataOffset += bs->DataLength;
    bs->DataLength = 0;
  } else if (bs == nullptr && !ended) {
    avcodec_send_packet(context, nullptr);
    ended = true;
  }
  drain();
  if (ready.empty()) return MFX_ERR_MORE_DATA;
  AVFrame* frame = ready.front();
  ready.pop_front();
  const uint32_t pitch = uint32_t{work->Data.PitchHigh} << 16 | work->Data.PitchLow;
  const int width = std::min<int>(frame->width, work->Info.Width);
  const int height = std::min<int>(frame->height, work->Info.Height);
  for (int y = 0; y < height; ++y) {
    std::memcpy(work->Data.Y + std::size_t{pitch} * y, frame->data[0] + std::size_t(frame->linesize[0]) * y, width);
  }
  for (int y = 0; y < height / 2; ++y) {
    uint8_t* row = work->Data.UV + std::size_t{pitch} * y;
    const uint8_t* u = frame->data[1] + std::size_t(frame->linesize[1]) * y;
    const uint8_t* v = frame->data[2] + std::size_t(frame->linesize[2]) * y;
    for (int x = 0; x < width / 2; ++x) {
      row[2 * x] = u[x];
      row[2 * x + 1] = v[x];
    }
  }
  work->Info.CropW = static_cast<mfxU16>(width);
  work->Info.CropH = static_cast<mfxU16>(height);
  work->Data.TimeStamp = static_cast<mfxU64>(frame->pts);
  av_frame_free(&frame);
  *out = work;
  return MFX_ERR_NONE;
}

}  // namespace fake
