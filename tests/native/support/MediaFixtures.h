#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace cvx::test {

// Media made with the ffmpeg command line under CVX_TEST_TMPDIR, once per run.
struct CodedPacket {
  size_t position = 0;  // in the raw stream file
  size_t size = 0;
  bool key = false;
};

struct StreamFixture {
  std::string rawPath;            // elementary stream as the decoder sees it
  std::vector<uint8_t> bytes;     // its contents
  std::vector<CodedPacket> packets;  // decode order
  std::vector<size_t> displayPacket;  // for each picture in display order: index into packets
  std::vector<uint8_t> referenceYuv;  // ffmpeg's own decode, I420, display order
  int width = 0;
  int height = 0;
  size_t pictureBytes() const { return static_cast<size_t>(width) * height * 3 / 2; }
};

bool haveFfmpeg();
std::string fixturePath(const std::string& name);
// Runs a shell command; true on exit status 0.
bool runCommand(const std::string& command);
std::vector<uint8_t> readFile(const std::string& path);

// Encodes into `name` and reads packets, display order and ffmpeg's decode; `payloadSkip`: an FLV tag's header.
bool makeStreamFixture(const std::string& name, const std::string& encodeArgs, int width, int height, int frames,
                       StreamFixture& fixture, size_t payloadSkip = 0);

double psnr(const uint8_t* a, const uint8_t* b, size_t size);

}  // namespace cvx::test
