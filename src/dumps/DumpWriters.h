#pragma once

#include <cstdint>
#include <cstdio>

namespace cvx {

// Developer aids for looking at what the codecs make: an IVF writer for the
// VP8 stream and a WAV header writer for PCM. No session path calls them.
// All numbers are written little-endian byte by byte, whatever the machine.

// What an IVF file header takes from an encoder's configuration.
struct IvfStreamConfig {
  uint32_t pass = 0;  // 0 one pass, 1 first pass, 2 last pass
  uint32_t width = 0;
  uint32_t height = 0;
  uint32_t timebaseNumerator = 1;
  uint32_t timebaseDenominator = 1000;
};

// Prints one diagnostic line, then writes the 32-byte header, but only for a
// one-pass or last-pass configuration.
void write_ivf_file_header(std::FILE* file, const IvfStreamConfig& cfg, uint32_t frameCount);
// Writes the 12-byte header in front of a frame: its size and 64-bit pts.
void write_ivf_frame_header(std::FILE* file, uint32_t frameSize, int64_t pts);

class WAVEUtils {
 public:
  // Seeks to the start and writes the 44-byte header; what follows it is left
  // alone, so a second call with the final count rewrites just the header.
  // Returns 0, or -1 after a failure.
  static int writeHeader(std::FILE* file, uint32_t sampleRate, uint16_t channels, uint16_t bitsPerSample,
                         uint32_t samples);
};

void storeLittleEndian16(uint8_t* at, uint16_t value);
void storeLittleEndian32(uint8_t* at, uint32_t value);

}  // namespace cvx
