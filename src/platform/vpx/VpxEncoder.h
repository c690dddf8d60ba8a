#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "platform/vpx/VpxImageView.h"

namespace cvx {

// One VP8 encoder context over libvpx: configuration, initialisation with the
// library's own ABI version, synchronous encoding, and the packets each call
// releases. The context is destroyed with this object.
class VpxEncoder {
 public:
  VpxEncoder();
  ~VpxEncoder();
  VpxEncoder(const VpxEncoder&) = delete;
  VpxEncoder& operator=(const VpxEncoder&) = delete;

  // Fills the configuration with the library's defaults for usage 0.
  // Returns 0, or the library's nonzero error code.
  int configDefault();
  void setFrameSize(uint32_t width, uint32_t height);
  void setTargetBitrate(uint32_t kilobitsPerSecond);
  void setKeyFrameMaxDistance(uint32_t frames);
  uint32_t getTargetBitrate() const;
  uint32_t getKeyFrameMaxDistance() const;
  uint32_t getWidth() const;
  uint32_t getHeight() const;
  uint32_t getPass() const;
  uint32_t getTimebaseNumerator() const;
  uint32_t getTimebaseDenominator() const;

  int init();
  bool isInitialized() const;

  // Encodes one picture in real-time mode. Returns 0 or the library's error
  // code; the packets it released are then read with nextFramePacket.
  int encode(const VpxImageView& image, int64_t pts, uint32_t duration, uint32_t flags);
  // Asks for the frames the library still holds (its lag); their packets are
  // then read with nextFramePacket, as after encode. Returns 0 or the
  // library's error code.
  int flush();
  // The next compressed-frame packet of the last encode; other packet kinds
  // are skipped. The bytes stay valid until the next encode.
  bool nextFramePacket(const uint8_t*& data, std::size_t& size, bool& keyFrame, int64_t& pts);

  // The library's text for a code, with the context's detail where it has one.
  std::string errorText(int code) const;

 private:
  struct State;
  std::unique_ptr<State> state;
};

}  // namespace cvx
