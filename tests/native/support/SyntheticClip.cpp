#include "support/SyntheticClip.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>

#include "support/MediaFixtures.h"

namespace cvx::test {

SyntheticClip makeClip(uint32_t width, uint32_t height, int count, uint32_t fourcc, int sceneChange) {
  SyntheticClip clip{width, height, fourcc, {}};
  const size_t luma = static_cast<size_t>(width) * height;
  for (int t = 0; t < count; ++t) {
    const bool second = sceneChange >= 0 && t >= sceneChange;
    std::vector<uint8_t> picture(luma * 3 / 2);
    for (uint32_t y = 0; y < height; ++y) {
      for (uint32_t x = 0; x < width; ++x) {
        const uint32_t texture = ((x * 7919u) ^ (y * 104729u)) >> 3 & 15u;
        const uint32_t ramp = second ? (x * 3 + 2 * y + 11u * static_cast<uint32_t>(t)) % 180u
                                     : (x + y / 2 + 4u * static_cast<uint32_t>(t)) % 200u;
        picture[y * width + x] = static_cast<uint8_t>(second ? 235 - ramp - texture : 16 + ramp + texture);
      }
    }
    // Plane 1 and plane 2 in memory order; which one is U depends on fourcc.
    uint8_t* u = picture.data() + luma + (fourcc == kFourCCYV12 ? luma / 4 : 0);
    uint8_t* v = picture.data() + luma + (fourcc == kFourCCYV12 ? 0 : luma / 4);
    for (uint32_t y = 0; y < height / 2; ++y) {
      for (uint32_t x = 0; x < width / 2; ++x) {
        u[y * width / 2 + x] = static_cast<uint8_t>(second ? 90 + (y + t) % 40 : 128 + (x + t) % 40);
        v[y * width / 2 + x] = static_cast<uint8_t>(second ? 160 - x % 30 : 100 + y % 50);
      }
    }
    clip.pictures.push_back(std::move(picture));
  }
  return clip;
}

int64_t clipTimecode(int index) { return 1000 + index * 33; }

EncodeResult encodeClip(const H264EncoderSettings& settings, const SyntheticClip& clip,
                        const std::set<int>& keyRequests, int abort) {
  EncodeResult result;
  RecordingSink sink;
  int32_t keyFrameRequest[4] = {-1, 0, -1, 0};
  void* options[2] = {keyFrameRequest, nullptr};
  std::unique_ptr<H264OutVideo, H264OutVideoDeleter> encoder(
      h264OutVideoNew(nullptr, &settings, 0, 0xFFFFFFFF, 0, nullptr));
  if (!encoder || h264OutVideoInit(encoder.get(), sink.sink(), 4096, options) != 0) {
    result.worstPutStatus = -1;
    return result;
  }
  for (int i = 0; i < static_cast<int>(clip.pictures.size()); ++i) {
    if (keyRequests.count(i) != 0) {
      keyFrameRequest[0] = i;
      keyFrameRequest[1] = 0;
    }
    time_stamp_info stamp{clipTimecode(i) * 10, clipTimecode(i) * 10 + 333, keyRequests.count(i) ? 1u : 0u, 0};
    void* extInfo = &stamp;
    const int status = h264OutVideoPutFrame(encoder.get(), clip.pictures[i].data(), static_cast<int32_t>(clip.width),
                                            clip.width, clip.height, clip.fourcc, 0x10000000, &extInfo);
    result.worstPutStatus = status != 0 ? status : result.worstPutStatus;
  }
  result.doneStatus = h264OutVideoDone(encoder.get(), abort);
  result.pictures = sink.pictures;
  result.orderFaults = sink.orderFaults;
  return result;
}

void applyKeyFrameFollow(H264EncoderSettings& settings) {
  auto* bytes = reinterpret_cast<uint8_t*>(&settings);
  const int32_t zero = 0;
  const int32_t one = 1;
  for (size_t position : {2836u, 8u, 4100u, 16u, 2856u}) {
    std::memcpy(bytes + position, &zero, sizeof zero);
  }
  std::memcpy(bytes + 12, &one, sizeof one);
}

AccessUnitScan scanAccessUnit(const std::vector<uint8_t>& b) {
  AccessUnitScan scan;
  if (b.size() >= 6 && b[0] == 0 && b[1] == 0 && b[2] == 0 && b[3] == 1 && (b[4] & 31) == 9) {
    scan.delimiter = b[5];
  }
  for (size_t i = 0; i + 3 < b.size(); ++i) {
    if (b[i] == 0 && b[i + 1] == 0 && b[i + 2] == 1) {
      if (i == 0 || b[i - 1] != 0) {
        scan.onlyFourByteStartCodes = false;
      } else {
        scan.nalTypes.push_back(b[i + 3] & 31);
      }
    }
  }
  return scan;
}

std::vector<std::vector<uint8_t>> decodeWithFfmpeg(const std::vector<uint8_t>& stream, uint32_t width,
                                                   uint32_t height, const std::string& name,
                                                   const std::string& extension) {
  const std::string input = fixturePath(name + "." + extension);
  const std::string output = fixturePath(name + ".yuv");
  std::ofstream(input, std::ios::binary).write(reinterpret_cast<const char*>(stream.data()),
                                               static_cast<std::streamsize>(stream.size()));
  std::vector<std::vector<uint8_t>> pictures;
  if (!runCommand("ffmpeg -v error -y -i '" + input + "' -f rawvideo -pix_fmt yuv420p '" + output + "' > /dev/null 2>&1")) {
    return pictures;
  }
  const std::vector<uint8_t> all = readFile(output);
  const size_t pictureBytes = static_cast<size_t>(width) * height * 3 / 2;
  for (size_t at = 0; at + pictureBytes <= all.size(); at += pictureBytes) {
    pictures.emplace_back(all.begin() + static_cast<std::ptrdiff_t>(at),
                          all.begin() + static_cast<std::ptrdiff_t>(at + pictureBytes));
  }
  return pictures;
}

double psnrI420(const std::vector<uint8_t>& decoded, const SyntheticClip& clip, int index) {
  const std::vector<uint8_t>& source = clip.pictures[index];
  const size_t luma = static_cast<size_t>(clip.width) * clip.height;
  const size_t quarter = luma / 4;
  double squared = 0;
  for (size_t i = 0; i < decoded.size() && i < source.size(); ++i) {
    size_t from = i;
    if (clip.fourcc == kFourCCYV12 && i >= luma) {
      from = i < luma + quarter ? i + quarter : i - quarter;  // YV12 holds V first
    }
    const double d = static_cast<double>(decoded[i]) - source[from];
    squared += d * d;
  }
  const double mse = squared / static_cast<double>(source.size());
  return mse == 0 ? 99.0 : 10.0 * std::log10(255.0 * 255.0 / mse);
}

}  // namespace cvx::test
