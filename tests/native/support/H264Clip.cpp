#include "support/H264Clip.h"

#include <cstring>

#include "support/AnnexB.h"

namespace cvx::test {

std::vector<uint8_t> configurationRecord(const std::vector<uint8_t>& sps, const std::vector<uint8_t>& pps) {
  std::vector<uint8_t> r = {1, sps.size() > 1 ? sps[1] : uint8_t{66}, 0, 30, 0xFF, 0xE1,
                            static_cast<uint8_t>(sps.size() >> 8), static_cast<uint8_t>(sps.size())};
  r.insert(r.end(), sps.begin(), sps.end());
  r.insert(r.end(), {1, static_cast<uint8_t>(pps.size() >> 8), static_cast<uint8_t>(pps.size())});
  r.insert(r.end(), pps.begin(), pps.end());
  return r;
}

bool makeH264Clip(const std::string& name, int width, int height, int frames, const std::string& x264Args,
                  H264Clip& clip, bool parameterSetsInFrames) {
  if (!makeStreamFixture(name, "-c:v libx264 -pix_fmt yuv420p " + x264Args + " -f h264", width, height, frames,
                         clip.stream)) {
    return false;
  }
  std::vector<int64_t> displayIndex(clip.stream.packets.size(), 0);
  for (size_t i = 0; i < clip.stream.displayPacket.size(); ++i) displayIndex[clip.stream.displayPacket[i]] = i;
  std::vector<uint8_t> sps, pps;
  clip.frames.clear();
  for (size_t p = 0; p < clip.stream.packets.size(); ++p) {
    const CodedPacket& packet = clip.stream.packets[p];
    H264Clip::Frame frame;
    frame.timecode = displayIndex[p] * 40;
    frame.frameType = packet.key ? 1 : 2;
    for (const Nal& nal : splitNals(clip.stream.bytes.data() + packet.position, packet.size)) {
      const int type = nal.data[0] & 31;
      if (type == 7 && sps.empty()) sps.assign(nal.data, nal.data + nal.size);
      if (type == 8 && pps.empty()) pps.assign(nal.data, nal.data + nal.size);
      if (type == 9 || ((type == 7 || type == 8) && !parameterSetsInFrames)) continue;
      frame.data.insert(frame.data.end(), {static_cast<uint8_t>(nal.size >> 24), static_cast<uint8_t>(nal.size >> 16),
                                           static_cast<uint8_t>(nal.size >> 8), static_cast<uint8_t>(nal.size)});
      frame.data.insert(frame.data.end(), nal.data, nal.data + nal.size);
    }
    clip.frames.push_back(std::move(frame));
  }
  clip.config = configurationRecord(sps, pps);
  return !sps.empty() && !pps.empty();
}

std::vector<uint8_t> lengthPrefixed(std::initializer_list<std::vector<uint8_t>> units) {
  std::vector<uint8_t> out;
  for (const std::vector<uint8_t>& u : units) {
    const auto n = static_cast<uint32_t>(u.size());
    out.insert(out.end(), {static_cast<uint8_t>(n >> 24), static_cast<uint8_t>(n >> 16), static_cast<uint8_t>(n >> 8),
                           static_cast<uint8_t>(n)});
    out.insert(out.end(), u.begin(), u.end());
  }
  return out;
}

std::vector<uint8_t> yv12AsI420(const uint8_t* yv12, int width, int height) {
  const size_t luma = static_cast<size_t>(width) * height;
  const size_t chroma = luma / 4;
  std::vector<uint8_t> out(yv12, yv12 + luma + 2 * chroma);
  std::memcpy(out.data() + luma, yv12 + luma + chroma, chroma);  // U
  std::memcpy(out.data() + luma + chroma, yv12 + luma, chroma);  // V
  return out;
}

}  // namespace cvx::test
