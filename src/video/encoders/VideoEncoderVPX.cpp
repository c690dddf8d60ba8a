#include "video/encoders/VideoEncoderVPX.h"

#include <new>
#include <string>
#include <utility>

#include "logging/Guarded.h"
#include "media/CodecNumbers.h"
#include "video/frames/PictureLimits.h"
#include "video/frames/VideoFrameBuffer.h"

namespace cvx {

namespace {
// Several operations share the first one's words; hosts may match on them.
constexpr const char* kSharedLabel = "VideoEncoderVPX::setDefaults: ";
}

VideoEncoderVPX::VideoEncoderVPX() { codec = kVideoCodecVP8; }

// Frames the host never took go with `encodedFrames`, the library context with `library`.
VideoEncoderVPX::~VideoEncoderVPX() noexcept(false) = default;

int VideoEncoderVPX::setDefaults(uint32_t, uint32_t) {
  return guarded(kSharedLabel, [&] {
    const int result = library.configDefault();
    library.setKeyFrameMaxDistance(kKeyFrameMaxDistance);
    if (result != 0) logError("VideoEncoderVPX.setDefaults[{context}]: Failed to get config");
    return 0;
  });
}

int VideoEncoderVPX::setFrameSize(uint32_t width, uint32_t height) {
  return guarded("VideoEncoderVPX::setFrameSize: ", [&] {
    // The library allocates its reference pictures for this size at
    // initialize, unchecked: a size past any picture we could hand it
    // would only exhaust the process.
    if (isPictureSizeRefused(width, height)) {
      logError("VideoEncoderVPX.setFrameSize[{context}]: " + std::to_string(width) + "x" + std::to_string(height) +
               " refused: sides of 1 to " + std::to_string(kMaxPictureSide) + ", at most " +
               std::to_string(kMaxPicturePixels) + " pixels");
      return -1;
    }
    library.setFrameSize(width, height);
    return 0;
  });
}

int VideoEncoderVPX::setFrameRate(double framesPerSecond) {
  // Kept and read by nothing: the library's time base stays its default.
  frameRate = framesPerSecond;
  return 0;
}

int VideoEncoderVPX::setBitrate(uint32_t bitsPerSecond) {
  return guarded("VideoEncoderVPX::setBitrate: ", [&] {
    // A shift, so 1,000,000 bits per second is 976 "kilobits".
    library.setTargetBitrate(bitsPerSecond >> 10);
    return 0;
  });
}

int VideoEncoderVPX::setKeyFrameFollow(bool) { return 0; }

int VideoEncoderVPX::checkSettings() { return 0; }

int VideoEncoderVPX::initialize() {
  return guarded(kSharedLabel, [&] {
    const int result = library.init();
    if (result != 0) {
      logError("VideoEncoderVPX.initialize[{context}]: vpx_codec_enc_init failed: " + library.errorText(result));
      return -1;
    }
    return 0;
  });
}

int VideoEncoderVPX::setGPUID(int) { return 0; }

int VideoEncoderVPX::addFrame(VideoFrameBuffer& frame, uint32_t) {
  return guarded(kSharedLabel, [&] {
    if (refusedAfterEnd("VideoEncoderVPX")) return -1;
    timecodes[frameCount % kTimecodeRing] = frame.getTimecode();
    const int result = library.encode(*frame.getVpxImage(), frameCount, 1, 0);
    ++frameCount;
    if (result == 0) takePackets();
    return 0;
  });
}

int VideoEncoderVPX::endOfStream() {
  return guarded("VideoEncoderVPX::endOfStream: ", [&] {
    if (!markEnded() || !library.isInitialized()) return 0;
    // Each flush gives what is ready; the lag empties within its length.
    for (int64_t round = 0; round < kTimecodeRing; ++round) {
      const std::size_t before = encodedFrames.size();
      if (library.flush() != 0) return -1;
      takePackets();
      if (encodedFrames.size() == before) break;
    }
    return 0;
  });
}

void VideoEncoderVPX::takePackets() {
  const uint8_t* data = nullptr;
  std::size_t size = 0;
  bool keyFrame = false;
  int64_t pts = 0;
  while (library.nextFramePacket(data, size, keyFrame, pts)) {
    if (size == 0 || size > UINT32_MAX) continue;
    EncodedBlock block = EncodedBlock::copyOf(data, static_cast<uint32_t>(size));
    if (!block) throw std::bad_alloc();
    // A counter the ring no longer holds (the library never lags that far)
    // takes the latest frame's time.
    const bool known = pts >= 0 && pts < frameCount && frameCount - pts <= kTimecodeRing;
    const int64_t latest = frameCount > 0 ? (frameCount - 1) % kTimecodeRing : 0;
    const int64_t timecode = timecodes[known ? pts % kTimecodeRing : latest];
    encodedFrames.push_back(VideoFrameEncoded{std::move(block), timecode, keyFrame ? 1u : 2u});
  }
}

uint32_t VideoEncoderVPX::getEncodedFrameCount() { return static_cast<uint32_t>(encodedFrames.size()); }

int VideoEncoderVPX::getEncodedFrames(std::vector<VideoFrameEncoded>& out) {
  return guarded(kSharedLabel, [&] {
    moveFrames(encodedFrames, out);
    return 0;
  });
}

}  // namespace cvx
