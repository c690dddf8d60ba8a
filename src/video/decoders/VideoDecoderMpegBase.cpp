#include "video/decoders/VideoDecoderMpegBase.h"

#include <exception>
#include <string>

#include "logging/StdoutLine.h"

namespace cvx {

VideoDecoderMpegBase::VideoDecoderMpegBase(const char* name, StreamOpener streamOpener, const uint8_t* marker,
                                           uint32_t markerLength)
    : VideoDecoderStreamBase(name, streamOpener), endMarker(marker), endMarkerLength(markerLength) {}

int VideoDecoderMpegBase::addFrame(uint8_t* data, uint32_t offset, uint32_t length, int64_t frameTimecode,
                                   uint32_t frameKind) {
  try {
    if (data == nullptr) return -1;
    bufferList.push_back(byteBlock{data + offset, length, frameTimecode, frameKind});
    return 0;
  } catch (const std::exception& e) {
    writeLabel("addFrame", e);
    return -1;
  }
}

int VideoDecoderMpegBase::decodeCodecConfig(uint8_t* data, uint32_t offset, uint32_t length) {
  int result = 0;
  try {
    if (handle == nullptr || data == nullptr) return 0;
    // A later configuration has no effect at all.
    if (!firstConfig) return 0;
    configuration.assign(data + offset, data + offset + length);
    configuration.insert(configuration.end(), endMarker, endMarker + endMarkerLength);
    setUpParser();
    handle->copybytes(handle, configuration.data(), static_cast<uint32_t>(configuration.size()));
    result = finishFirstConfiguration(aux(0, 0x10010, nullptr, 0));
  } catch (const std::exception& e) {
    writeLabel("decodeCodecConfig", e);
    result = -1;
  }
  try {
    configuration.clear();
  } catch (const std::exception& e) {
    const std::string label = std::string(className) + "::decodeCodecConfig[delete]: ";
    writeStdoutLine(label.c_str(), e);
    result = -1;
  }
  return result;
}

}  // namespace cvx
