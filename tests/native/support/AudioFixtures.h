#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "audio/decoders/IAudioDecoder.h"

namespace cvx {
class AudioSampleBuffer;
}

namespace cvx::test {

using Packet = std::vector<uint8_t>;

// A 440 Hz sine made by the ffmpeg command line and cut into the packets a
// host would hand over. Made once per name under CVX_TEST_TMPDIR.
struct AudioFixture {
  std::vector<Packet> packets;
  std::vector<uint8_t> config;  // AAC: the two-byte AudioSpecificConfig
  uint32_t sampleRate = 0;
  uint32_t channels = 0;
  uint32_t frameSamples = 0;    // samples per packet
};

enum class FixtureKind { Aac, Mp3, Mp2, Speex };

// False (the test then skips) when ffmpeg is missing or refused the options.
// `encodeArgs` must name the output format with -f.
bool makeAudioFixture(FixtureKind kind, const std::string& name, const std::string& encodeArgs, uint32_t sampleRate,
                      uint32_t channels, double seconds, AudioFixture& fixture);

// What a decoder gave for a run of packets.
struct DecodeRun {
  std::vector<int16_t> pcm;        // all channels, interleaved
  std::vector<uint64_t> positions;  // per block
  std::vector<uint32_t> counts;     // per block
  int failures = 0;                 // nonzero results of decodeFrame
};

// Drives a decoder as the session does: the marshalling's reserved bytes in
// front of each packet, host times in milliseconds from the packet index.
DecodeRun decodeAll(IAudioDecoder& decoder, const AudioFixture& fixture, uint32_t bufferSamples);

// A two-second test signal in which no stretch looks like another: a rising
// sweep on channel 0, a falling one on channel 1 (so a lag or a swap shows).
std::vector<int16_t> sweeps(uint32_t channels, uint32_t sampleRate, uint32_t samples);

// A 440 Hz sine over the buffer's samples, the same on every channel, from sample `first` of the signal.
void fillSine(AudioSampleBuffer& buffer, uint32_t channels, uint64_t first, uint32_t sampleRate);

// An Ogg stream of the headers (first alone on its page) and the packets, one
// packet a page; each audio page's granule is its packet's position.
std::vector<uint8_t> oggStream(const std::vector<Packet>& headers, const std::vector<Packet>& packets,
                               const std::vector<uint64_t>& positions);

// ffmpeg's decode of a file under CVX_TEST_TMPDIR (written from `stream` unless empty); empty on failure.
std::vector<int16_t> decodeAudioWithFfmpeg(const std::vector<uint8_t>& stream, const std::string& file,
                                           uint32_t channels, uint32_t sampleRate);

// Signal to noise ratio in dB of `decoded` against `reference`, sample i of
// the one against sample i + lag of the other, over the middle 80 %.
double snrAtLag(const std::vector<int16_t>& reference, const std::vector<int16_t>& decoded, uint32_t channels,
                long lag);
// The same at the lag (up to `maxLag` samples either way) that fits best;
// for signals that do not repeat.
double alignedSnr(const std::vector<int16_t>& reference, const std::vector<int16_t>& decoded, uint32_t channels,
                  int maxLag);

// Rising zero crossings over the middle half of channel 0.
double dominantFrequency(const std::vector<int16_t>& pcm, uint32_t channels, uint32_t sampleRate);

}  // namespace cvx::test
