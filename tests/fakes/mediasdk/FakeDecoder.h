#pragma once

#include <mfx/mfxvideo.h>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <vector>

struct AVCodecContext;
struct AVFrame;
struct AVPacket;

namespace fake {

// Reads the first SPS in an Annex B byte stream into the frame info of
// `par`, as the SDK reports a stream: sizes aligned to 16, the crop, rate and
// pixel shape from the VUI. False without an SPS.
bool readSequenceHeader(const uint8_t* data, std::size_t size, mfxVideoParam& par);

// H.264 into NV12 surfaces through libavcodec, one picture per call, in
// display order.
class Decoder {
 public:
  explicit Decoder(const mfxVideoParam& par);
  ~Decoder();
  Decoder(const Decoder&) = delete;
  Decoder& operator=(const Decoder&) = delete;

  bool isOpen() const { return context != nullptr; }
  const mfxVideoParam& params() const { return initParams; }
  // Takes all the bitstream holds and answers 0 with a picture in `work`,
  // -10 without one, -14 when an SPS of another size arrives. A null
  // bitstream ends the stream: the pictures held for reordering come out.
  mfxStatus decode(mfxBitstream* bs, mfxFrameSurface1* work, mfxFrameSurface1** out);

 private:
  bool sizeChanged(const uint8_t* data, std::size_t size) const;
  // Sends one access unit, with the units before it that held no slice.
  void send(const uint8_t* data, std::size_t size, int64_t pts);
  void drain();

  mfxVideoParam initParams;
  AVCodecContext* context = nullptr;
  AVPacket* packet = nullptr;
  std::vector<uint8_t> headers;  // parameter sets waiting for a slice
  std::deque<AVFrame*> ready;
  bool ended = false;
};

}  // namespace fake
