#include "video/encoders/VideoEncoderVPX.h"

#include <cstdlib>
#include <cstring>
#include <exception>
#include <new>

#include "logging/StdoutLine.h"
#include "video/frames/VideoFrameBuffer.h"

namespace cvx {

namespace {
// Several operations share the first one's words; hosts may match on them.
constexpr const char* kSharedLabel = "VideoEncoderVPX::setDefaults: ";
}

VideoEncoderVPX::VideoEncoderVPX() { codec = 8; }

VideoEncoderVPX::~VideoEncoderVPX() noexcept(false) {
  // Blocks the host never took are ours to free; the library context goes
  // with `library`.
  for (VideoFrameEncoded& frame : encodedFrames) std::free(frame.buffer);
  encodedFrames.clear();
}

int VideoEncoderVPX::setDefaults(uint32_t, uint32_t) {
  try {
    const int result = library.configDefault();
    library.setKeyFrameMaxDistance(kKeyFrameMaxDistance);
    if (result != 0) logError("VideoEncoderVPX.setDefaults[{context}]: Failed to get config");
    return 0;
  } catch (const std::exception& e) {
    writeStdoutLine(kSharedLabel, e);
    return -1;
  }
}

int VideoEncoderVPX::setFrameSize(uint32_t width, uint32_t height) {
  try {
    library.setFrameSize(width, height);
    return 0;
  } catch (const std::exception& e) {
    writeStdoutLine("VideoEncoderVPX::setFrameSize: ", e);
    return -1;
  }
}

int VideoEncoderVPX::setFrameRate(double framesPerSecond) {
  // Kept and read by nothing: the library's time base stays its default.
  frameRate = framesPerSecond;
  return 0;
}

int VideoEncoderVPX::setBitrate(uint32_t bitsPerSecond) {
  try {
    // A shift, so 1,000,000 bits per second is 976 "kilobits".
    library.setTargetBitrate(bitsPerSecond >> 10);
    return 0;
  } catch (const std::exception& e) {
    writeStdoutLine("VideoEncoderVPX::setBitrate: ", e);
    return -1;
  }
}

int VideoEncoderVPX::setKeyFrameFollow(bool) { return 0; }

int VideoEncoderVPX::checkSettings() { return 0; }

int VideoEncoderVPX::initialize() {
  try {
    const int result = library.init();
    if (result != 0) {
      logError("VideoEncoderVPX.initialize[{context}]: vpx_codec_enc_init failed: " + library.errorText(result));
      return -1;
    }
    return 0;
  } catch (const std::exception& e) {
    writeStdoutLine(kSharedLabel, e);
    return -1;
  }
}

int VideoEncoderVPX::setGPUID(int) { return 0; }

int VideoEncoderVPX::addFrame(VideoFrameBuffer& frame, uint32_t) {
  try {
    const int result = library.encode(*frame.getVpxImage(), frameCount, 1, 0);
    ++frameCount;
    if (result != 0) return 0;
    const uint8_t* data = nullptr;
    std::size_t size = 0;
    bool keyFrame = false;
    int64_t pts = 0;
    while (library.nextFramePacket(data, size, keyFrame, pts)) {
      if (size == 0 || size > UINT32_MAX) continue;
      auto* block = static_cast<uint8_t*>(std::malloc(size));
      if (block == nullptr) throw std::bad_alloc();
      std::memcpy(block, data, size);
      // The packet takes the time of the frame submitted now: the library
      // releases each frame within the call that took it in real-time mode.
      try {
        encodedFrames.push_back(
            VideoFrameEncoded{block, static_cast<uint32_t>(size), frame.getTimecode(), keyFrame ? 1u : 2u});
      } catch (...) {
        std::free(block);
        throw;
      }
    }
    return 0;
  } catch (const std::exception& e) {
    writeStdoutLine(kSharedLabel, e);
    return -1;
  }
}

uint32_t VideoEncoderVPX::getEncodedFrameCount() { return static_cast<uint32_t>(encodedFrames.size()); }

int VideoEncoderVPX::getEncodedFrames(std::vector<VideoFrameEncoded>& out) {
  try {
    out.insert(out.end(), encodedFrames.begin(), encodedFrames.end());
    encodedFrames.clear();
    return 0;
  } catch (const std::exception& e) {
    writeStdoutLine(kSharedLabel, e);
    return -1;
  }
}

}  // namespace cvx
