#include "video/decoders/VideoDecoderH264.h"

#include <string>

#include "logging/Guarded.h"
#include "media/CodecNumbers.h"
#include "platform/videodecoder/VideoDecoderOpen.h"

namespace cvx {

VideoDecoderH264::VideoDecoderH264() : VideoDecoderH264(&openVideoDecoderStreamH264) {}

VideoDecoderH264::VideoDecoderH264(StreamOpener streamOpener) : VideoDecoderStreamBase("VideoDecoderH264", streamOpener) {
  codec = kVideoCodecH264;
}

int VideoDecoderH264::decodeCodecConfig(uint8_t* data, uint32_t offset, uint32_t length) {
  return guarded(label(kDecodeCodecConfig), [&] {
    if (refusedAfterEnd(className, "decodeCodecConfig")) return -1;
    if (handle == nullptr || !readConfigurationRecord(bufferList, data, offset, length)) return 0;
    // Later configurations only change what goes in front of frames.
    if (!firstConfig) return 0;

    setUpParser();
    parse(sps.data(), static_cast<uint32_t>(sps.size()));
    return finishFirstConfiguration(parse(pps.data(), static_cast<uint32_t>(pps.size())));
  });
}

int VideoDecoderH264::addFrame(uint8_t* data, uint32_t offset, uint32_t length, int64_t frameTimecode,
                               uint32_t frameKind) {
  return guarded(label(kAddFrame), [&] {
    if (refusedAfterEnd(className, "addFrame")) return -1;
    return queueLengthPrefixedFrame(className, bufferList, data, offset, length, frameTimecode, frameKind);
  });
}

std::string VideoDecoderH264::displaySize(const int32_t* seq, uint32_t& displayW, uint32_t& displayH) {
  const int32_t codedWidth = seq[seq_par_set::kWidth];
  const int32_t codedHeight = seq[seq_par_set::kHeight];
  const int32_t aspectNum = seq[seq_par_set::kAspectNum];
  const int32_t aspectDen = seq[seq_par_set::kAspectDen];
  if (aspectDen > 0) {
    // The ratio is the shape of the picture, applied to the coded height.
    displayH = static_cast<uint32_t>(codedHeight);
    displayW = static_cast<uint32_t>(static_cast<int32_t>(static_cast<int64_t>(codedHeight) * aspectNum / aspectDen));
  } else {
    // Width and height change places here; hosts read these values as they are.
    displayW = static_cast<uint32_t>(codedHeight);
    displayH = static_cast<uint32_t>(codedWidth);
  }
  return std::to_string(aspectNum) + "x" + std::to_string(aspectDen);
}

}  // namespace cvx
