#include "platform/videodecoder/VideoDecoderOpen.h"

#include <memory>

#include "platform/videodecoder/VideoDecoderStream.h"

namespace cvx {
namespace {

bufstream_tt* openStream(BitstreamKind kind) {
  std::unique_ptr<VideoDecoderStream> stream(new (std::nothrow) VideoDecoderStream(kind));
  if (!stream || !stream->usable()) {
    return nullptr;
  }
  // Owned by the record from here on: its free entry deletes the object.
  return stream.release()->stream();
}

}  // namespace

bufstream_tt* openVideoDecoderStreamH264(void*, void*, void*) { return openStream(BitstreamKind::H264); }

bufstream_tt* openVideoDecoderStreamMpeg2(void*, void*, void*) { return openStream(BitstreamKind::Mpeg2); }

bufstream_tt* openVideoDecoderStreamMpeg4(void*, void*, void*, Mpeg4FamilyHint hint) {
  switch (hint) {
    case Mpeg4FamilyHint::Mpeg4Part2:
      return openStream(BitstreamKind::Mpeg4);
    case Mpeg4FamilyHint::H263:
      return openStream(BitstreamKind::H263);
    case Mpeg4FamilyHint::Spark:
      return openStream(BitstreamKind::Spark);
    case Mpeg4FamilyHint::Detect:
      break;
  }
  return openStream(BitstreamKind::Mpeg4Family);
}

}  // namespace cvx
