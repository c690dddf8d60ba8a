#include "support/MediaFixtures.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <iterator>
#include <sstream>

namespace cvx::test {

bool haveFfmpeg() {
  static const bool present = std::system("ffmpeg -version >/dev/null 2>&1 && ffprobe -version >/dev/null 2>&1") == 0;
  return present;
}

std::string fixturePath(const std::string& name) { return std::string(CVX_TEST_TMPDIR) + "/" + name; }

bool runCommand(const std::string& command) { return std::system(command.c_str()) == 0; }

std::vector<uint8_t> readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

namespace {

std::vector<std::string> readLines(const std::string& path) {
  std::ifstream in(path);
  std::vector<std::string> lines;
  for (std::string line; std::getline(in, line);) {
    lines.push_back(line);
  }
  return lines;
}

}  // namespace

bool makeStreamFixture(const std::string& name, const std::string& encodeArgs, int width, int height, int frames,
                       StreamFixture& fixture, size_t payloadSkip) {
  if (!haveFfmpeg()) {
    return false;
  }
  const std::string raw = fixturePath(name);
  const std::string packets = raw + ".packets";
  const std::string order = raw + ".order";
  const std::string yuv = raw + ".yuv";
  std::ostringstream source;
  source << "ffmpeg -v error -y -f lavfi -i testsrc2=size=" << width << "x" << height << ":rate=25 -frames:v "
         << frames << " " << encodeArgs << " " << raw;
  // Packets in decode order; pictures in display order by the packet they came from.
  const std::string probe = "ffprobe -v error -select_streams v:0 -show_entries packet=pos,size,flags -of csv=p=0 " +
                            raw + " > " + packets + " && ffprobe -v error -select_streams v:0 -show_entries " +
                            "frame=pkt_pos -of default=nw=1:nk=1 " + raw + " > " + order;
  const std::string reference = "ffmpeg -v error -y -i " + raw + " -f rawvideo -pix_fmt yuv420p " + yuv;
  // Fixtures are deterministic; a run reuses what an earlier one made with
  // the same options (the options' hash is part of the stamp).
  const std::string stamp = raw + ".stamp";
  const std::string key = std::to_string(std::hash<std::string>{}(source.str()));
  const std::vector<uint8_t> stamped = readFile(stamp);
  if (std::string(stamped.begin(), stamped.end()) != key) {
    if (!runCommand(source.str()) || !runCommand(probe) || !runCommand(reference)) {
      return false;
    }
    std::ofstream(stamp) << key;
  }
  fixture.rawPath = raw;
  fixture.bytes = readFile(raw);
  fixture.referenceYuv = readFile(yuv);
  fixture.width = width;
  fixture.height = height;
  fixture.packets.clear();
  fixture.displayPacket.clear();
  for (const std::string& line : readLines(packets)) {
    // size,pos,flags
    std::istringstream fields(line);
    std::string size;
    std::string position;
    std::string flags;
    if (!std::getline(fields, size, ',') || !std::getline(fields, position, ',') || !std::getline(fields, flags, ',')) {
      continue;
    }
    CodedPacket packet;
    packet.size = std::stoul(size);
    packet.position = std::stoul(position) + payloadSkip;
    packet.key = flags.find('K') != std::string::npos;
    fixture.packets.push_back(packet);
  }
  for (const std::string& line : readLines(order)) {
    if (line.empty() || line[0] < '0' || line[0] > '9') {
      continue;
    }
    const size_t position = std::stoul(line) + payloadSkip;
    for (size_t i = 0; i < fixture.packets.size(); ++i) {
      if (fixture.packets[i].position == position) {
        fixture.displayPacket.push_back(i);
        break;
      }
    }
  }
  return !fixture.packets.empty() && fixture.displayPacket.size() == static_cast<size_t>(frames);
}

double psnr(const uint8_t* a, const uint8_t* b, size_t size) {
  double sum = 0.0;
  for (size_t i = 0; i < size; ++i) {
    const double d = static_cast<double>(a[i]) - b[i];
    sum += d * d;
  }
  if (sum == 0.0) {
    return 99.0;
  }
  return 10.0 * std::log10(255.0 * 255.0 * static_cast<double>(size) / sum);
}

}  // namespace cvx::test
