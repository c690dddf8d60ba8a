#include "video/decoders/VideoDecoderH264.h"

#include <exception>
#include <string>

#include "media/CodecNumbers.h"
#include "platform/videodecoder/VideoDecoderOpen.h"

namespace cvx {

VideoDecoderH264::VideoDecoderH264() : VideoDecoderH264(&openVideoDecoderStreamH264) {}

VideoDecoderH264::VideoDecoderH264(StreamOpener streamOpener) : VideoDecoderStreamBase("VideoDecoderH264", streamOpener) {
  codec = kVideoCodecH264;
}

int VideoDecoderH264::decodeCodecConfig(uint8_t* data, uint32_t offset, uint32_t length) {
  try {
    if (handle == nullptr || !readConfigurationRecord(bufferList, data, offset, length)) return 0;
    // Later configurations only change what goes in front of frames.
    if (!firstConfig) return 0;

    setUpParser();
    handle->copybytes(handle, sps.data(), static_cast<uint32_t>(sps.size()));
    aux(0, 0x10010, nullptr, 0);
    handle->copybytes(handle, pps.data(), static_cast<uint32_t>(pps.size()));
    return finishFirstConfiguration(aux(0, 0x10010, nullptr, 0));
  } catch (const std::exception& e) {
    writeLabel("decodeCodecConfig", e);
    return -1;
  }
}

int VideoDecoderH264::addFrame(uint8_t* data, uint32_t offset, uint32_t length, int64_t frameTimecode,
                               uint32_t frameKind) {
  try {
    return queueLengthPrefixedFrame("VideoDecoderH264", bufferList, data, offset, length, frameTimecode, frameKind);
  } catch (const std::exception& e) {
    writeLabel("addFrame", e);
    return -1;
  }
}

std::string VideoDecoderH264::displaySize(const int32_t* seq, uint32_t& displayW, uint32_t& displayH) {
  if (seq[8] > 0) {
    // The ratio is the shape of the picture, applied to the coded height.
    displayH = static_cast<uint32_t>(seq[1]);
    displayW = static_cast<uint32_t>(static_cast<int32_t>(static_cast<int64_t>(seq[1]) * seq[7] / seq[8]));
  } else {
    // Width and height change places here; hosts read these values as they are.
    displayW = static_cast<uint32_t>(seq[1]);
    displayH = static_cast<uint32_t>(seq[0]);
  }
  return std::to_string(seq[7]) + "x" + std::to_string(seq[8]);
}

}  // namespace cvx
