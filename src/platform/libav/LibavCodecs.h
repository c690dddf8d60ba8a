#pragma once

#include "platform/libav/AvStatus.h"
#include "platform/libav/LibavHandles.h"

namespace cvx {

// The library's codecs that the stand-ins use, by our names. The one table
// from these to the library's ids is in LibavCodecs.cpp.
enum class LibavCodec {
  H264,
  Mpeg2Video,
  Mpeg4Part2,
  H263,
  SorensonSpark,
  Aac,
  MpegAudioLayer1,
  MpegAudioLayer2,
  MpegAudioLayer3,
};

AVCodecID libavCodecId(LibavCodec codec);

// The library's decoder or encoder for `codec`; null when this build of the
// library lacks it. Every stand-in reaches the library through these first,
// so they are where the library's log is routed into ours.
const AVCodec* findLibavDecoder(LibavCodec codec);
const AVCodec* findLibavEncoder(LibavCodec codec);

// A context for `codec` (null: recorded as "no decoder"). Null when the
// library has no memory for it; the failure is recorded in `status`.
AvCodecContextPtr allocateLibavContext(const AVCodec* codec, AvStatus& status);
// Opens a context made by allocateLibavContext, after its fields are set. On
// failure the context is released and the failure recorded in `status`.
void openLibavContext(AvCodecContextPtr& context, AvStatus& status);

// The usual sequence: the decoder of `codec`, a context for it, `prepare`
// (called with the context before it opens), opened; null when any step failed.
template <class Prepare>
AvCodecContextPtr openLibavDecoder(LibavCodec codec, AvStatus& status, Prepare&& prepare) {
  AvCodecContextPtr context = allocateLibavContext(findLibavDecoder(codec), status);
  if (context) {
    prepare(*context);
    openLibavContext(context, status);
  }
  return context;
}

inline AvCodecContextPtr openLibavDecoder(LibavCodec codec, AvStatus& status) {
  return openLibavDecoder(codec, status, [](AVCodecContext&) {});
}

// A packet's bytes are reused from packet to packet: `buffer` is made anew
// only when it is missing, smaller than `needed`, or still held by the codec.
// False, recorded in `status`, when there is no memory for it.
bool reusablePacketBuffer(AvBufferPtr& buffer, size_t needed, AvStatus& status);

// Points `packet` at the first `size` bytes of `buffer` through a reference
// of its own, dropping what it held; false, recorded, without memory for it.
bool pointPacketAt(AVPacket& packet, const AvBufferPtr& buffer, size_t size, AvStatus& status);

}  // namespace cvx
