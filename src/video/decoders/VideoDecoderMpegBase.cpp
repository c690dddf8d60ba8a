#include "video/decoders/VideoDecoderMpegBase.h"

#include "logging/Guarded.h"

namespace cvx {

VideoDecoderMpegBase::VideoDecoderMpegBase(const char* name, StreamOpener streamOpener, const uint8_t* marker,
                                           uint32_t markerLength)
    : VideoDecoderStreamBase(name, streamOpener), endMarker(marker), endMarkerLength(markerLength) {}

int VideoDecoderMpegBase::addFrame(uint8_t* data, uint32_t offset, uint32_t length, int64_t frameTimecode,
                                   uint32_t frameKind) {
  return guarded(label(kAddFrame), [&] {
    if (refusedAfterEnd(className, "addFrame") || data == nullptr) return -1;
    bufferList.push_back(byteBlock{data + offset, length, frameTimecode, frameKind});
    return 0;
  });
}

int VideoDecoderMpegBase::decodeCodecConfig(uint8_t* data, uint32_t offset, uint32_t length) {
  const int result = guarded(label(kDecodeCodecConfig), [&] {
    if (refusedAfterEnd(className, "decodeCodecConfig")) return -1;
    if (handle == nullptr || data == nullptr) return 0;
    // A later configuration has no effect at all.
    if (!firstConfig) return 0;
    configuration.assign(data + offset, data + offset + length);
    configuration.insert(configuration.end(), endMarker, endMarker + endMarkerLength);
    setUpParser();
    return finishFirstConfiguration(parse(configuration.data(), static_cast<uint32_t>(configuration.size())));
  });
  // The parser has read the copy; it is not kept.
  configuration.clear();
  return result;
}

}  // namespace cvx
