#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "support/RecordingSink.h"
#include "platform/h264encoder/H264OutVideo.h"

namespace cvx::test {

// A moving gradient over a fixed texture in the frame buffer's 4:2:0 layout; a hard cut at `sceneChange` (< 0: none).
struct SyntheticClip {
  uint32_t width = 0;
  uint32_t height = 0;
  uint32_t fourcc = 0;
  std::vector<std::vector<uint8_t>> pictures;
};
SyntheticClip makeClip(uint32_t width, uint32_t height, int count, uint32_t fourcc, int sceneChange);

// The host's time for picture i, in milliseconds.
int64_t clipTimecode(int index);

struct EncodeResult {
  std::vector<RecordingSink::Picture> pictures;  // in the order the sink saw them
  int orderFaults = 0;
  int worstPutStatus = 0;
  int doneStatus = 0;
};

// Drives the stand-in as the encoder class does: key frame requests for `keyRequests`, stamps of timecode x 10.
EncodeResult encodeClip(const H264EncoderSettings& settings, const SyntheticClip& clip,
                        const std::set<int>& keyRequests = {}, int abort = 0);

// The fields that turn the encoder's own key frame placement off.
void applyKeyFrameFollow(H264EncoderSettings& settings);

// Start and NAL unit facts of one access unit.
struct AccessUnitScan {
  uint8_t delimiter = 0;           // byte after 00 00 00 01 09, 0 if no delimiter first
  std::vector<int> nalTypes;       // in order, for every four-byte start code
  bool onlyFourByteStartCodes = true;
};
AccessUnitScan scanAccessUnit(const std::vector<uint8_t>& bytes);

// Decodes a stream (Annex B, or the container `extension` names) with the
// ffmpeg command line into I420 pictures; empty when ffmpeg is missing or fails.
std::vector<std::vector<uint8_t>> decodeWithFfmpeg(const std::vector<uint8_t>& stream, uint32_t width,
                                                   uint32_t height, const std::string& name,
                                                   const std::string& extension = "h264");

// PSNR over all planes of two I420 pictures; the clip picture is converted
// from its own fourcc first.
double psnrI420(const std::vector<uint8_t>& decoded, const SyntheticClip& clip, int index);

}  // namespace cvx::test
