#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

#include "support/MediaFixtures.h"

namespace cvx::test {

// A host's H.264: the configuration record, then length-prefixed frames in decode order with timecode and type.
struct H264Clip {
  struct Frame { std::vector<uint8_t> data; int64_t timecode = 0; uint32_t frameType = 0; };
  std::vector<uint8_t> config;
  std::vector<Frame> frames;
  StreamFixture stream;  // the raw stream and ffmpeg's own decode of it
};

// Makes the clip with libx264 and `x264Args` once per run. With
// `parameterSetsInFrames` the key frames keep their SPS and PPS.
bool makeH264Clip(const std::string& name, int width, int height, int frames, const std::string& x264Args,
                  H264Clip& clip, bool parameterSetsInFrames = false);

// The record for an SPS and a PPS given without start codes.
std::vector<uint8_t> configurationRecord(const std::vector<uint8_t>& sps, const std::vector<uint8_t>& pps);

// The units behind four-byte big-endian lengths, as a host's H.264 frame.
std::vector<uint8_t> lengthPrefixed(std::initializer_list<std::vector<uint8_t>> units);

// The picture of a YV12 buffer of width x height as I420, for comparison with
// ffmpeg's decode.
std::vector<uint8_t> yv12AsI420(const uint8_t* yv12, int width, int height);

}  // namespace cvx::test
