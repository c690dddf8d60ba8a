#include "support/AudioFixtures.h"

#include <cmath>
#include <cstring>
#include <fstream>
#include <sstream>

#include "audio/samples/AudioSampleBuffer.h"
#include "platform/audiocodecs/AudioFrameSplitter.h"
#include "support/MediaFixtures.h"

namespace cvx::test {

namespace {

// Whole frames of an ADTS or MPEG audio stream.
std::vector<Packet> splitFrames(const std::vector<uint8_t>& bytes, bool adts) {
  std::vector<Packet> frames;
  size_t at = 0;
  while (at + 7 <= bytes.size()) {
    AudioFrameHeader header;
    const bool ok = adts ? parseAdtsHeader(&bytes[at], bytes.size() - at, header)
                         : parseMpegAudioHeader(&bytes[at], bytes.size() - at, header);
    if (!ok) {
      ++at;
      continue;
    }
    if (at + header.frameBytes > bytes.size()) break;
    frames.emplace_back(bytes.begin() + static_cast<long>(at), bytes.begin() + static_cast<long>(at + header.frameBytes));
    at += header.frameBytes;
  }
  return frames;
}

// Ogg packets past the first `skipHeaders`.
std::vector<Packet> readOggPackets(const std::vector<uint8_t>& bytes, size_t skipHeaders) {
  std::vector<Packet> packets;
  Packet current;
  size_t at = 0;
  size_t seen = 0;
  while (at + 27 <= bytes.size() && std::memcmp(&bytes[at], "OggS", 4) == 0) {
    const size_t segments = bytes[at + 26];
    size_t body = at + 27 + segments;
    for (size_t s = 0; s < segments && body <= bytes.size(); ++s) {
      const size_t lace = bytes[at + 27 + s];
      if (body + lace > bytes.size()) return packets;
      current.insert(current.end(), bytes.begin() + static_cast<long>(body), bytes.begin() + static_cast<long>(body + lace));
      body += lace;
      if (lace < 255) {
        if (seen++ >= skipHeaders) packets.push_back(current);
        current.clear();
      }
    }
    at = body;
  }
  return packets;
}

}  // namespace

bool makeAudioFixture(FixtureKind kind, const std::string& name, const std::string& encodeArgs, uint32_t sampleRate,
                      uint32_t channels, double seconds, AudioFixture& fixture) {
  if (!haveFfmpeg()) return false;
  const std::string path = fixturePath(name);
  std::ostringstream command;
  command << "ffmpeg -y -v error -f lavfi -i sine=frequency=440:sample_rate=" << sampleRate << ":duration=" << seconds
          << " -ac " << channels << " " << encodeArgs << " " << path << ".part && mv " << path << ".part " << path;
  // Names are unique per recipe, so a file from an earlier run is reused.
  std::vector<uint8_t> bytes = readFile(path);
  if (bytes.empty()) {
    if (!runCommand(command.str())) return false;
    bytes = readFile(path);
  }
  fixture = AudioFixture{};
  fixture.sampleRate = sampleRate;
  fixture.channels = channels;
  switch (kind) {
    case FixtureKind::Aac: {
      std::vector<Packet> frames = splitFrames(bytes, true);
      if (frames.empty()) return false;
      // The host gets raw units and the AudioSpecificConfig from its container.
      const uint8_t* h = frames[0].data();
      const uint32_t objectType = (h[2] >> 6) + 1u;
      const uint32_t rateIndex = (h[2] >> 2) & 0xFu;
      const uint32_t config = ((h[2] & 1u) << 2) | (h[3] >> 6);
      fixture.config = {static_cast<uint8_t>((objectType << 3) | (rateIndex >> 1)),
                        static_cast<uint8_t>(((rateIndex & 1u) << 7) | (config << 3))};
      for (Packet& frame : frames) {
        const size_t header = (frame[1] & 1) != 0 ? 7 : 9;
        fixture.packets.emplace_back(frame.begin() + static_cast<long>(header), frame.end());
      }
      fixture.frameSamples = 1024;
      break;
    }
    case FixtureKind::Mp3:
    case FixtureKind::Mp2: {
      fixture.packets = splitFrames(bytes, false);
      AudioFrameHeader header;
      if (fixture.packets.empty() || !parseMpegAudioHeader(fixture.packets[0].data(), 4, header)) return false;
      fixture.frameSamples = header.samplesPerFrame;
      break;
    }
    case FixtureKind::Speex:
      fixture.packets = readOggPackets(bytes, 2);
      fixture.frameSamples = 320;
      break;
  }
  return !fixture.packets.empty();
}

DecodeRun decodeAll(IAudioDecoder& decoder, const AudioFixture& fixture, uint32_t bufferSamples) {
  DecodeRun run;
  AudioSampleBuffer buffer;
  buffer.allocBuffer(bufferSamples, fixture.channels, fixture.sampleRate);
  const uint32_t room = decoder.getFrameHeaderSize();
  std::vector<uint8_t> block;
  for (size_t i = 0; i < fixture.packets.size(); ++i) {
    const Packet& packet = fixture.packets[i];
    block.assign(room, 0);
    block.insert(block.end(), packet.begin(), packet.end());
    const auto length = static_cast<uint32_t>(block.size());
    if (!decoder.isFirstFrameDecoded()) decoder.decodeFirstFrame(block.data(), 0, length);
    block.assign(room, 0);
    block.insert(block.end(), packet.begin(), packet.end());
    const uint64_t ms = static_cast<uint64_t>(i) * fixture.frameSamples * 1000u / fixture.sampleRate;
    const uint32_t before = decoder.getDecodedFrameCount();
    if (decoder.decodeFrame(block.data(), 0, length, ms, buffer) != 0) ++run.failures;
    if (decoder.getDecodedFrameCount() == before) continue;
    run.positions.push_back(buffer.getTimecode());
    run.counts.push_back(buffer.getSampleCount());
    const auto* samples = reinterpret_cast<const int16_t*>(buffer.getBuffer());
    run.pcm.insert(run.pcm.end(), samples, samples + static_cast<size_t>(buffer.getSampleCount()) * fixture.channels);
  }
  return run;
}

std::vector<int16_t> sweeps(uint32_t channels, uint32_t sampleRate, uint32_t samples) {
  std::vector<int16_t> pcm(static_cast<size_t>(samples) * channels);
  const double seconds = static_cast<double>(samples) / sampleRate;
  for (uint32_t i = 0; i < samples; ++i) {
    const double t = static_cast<double>(i) / sampleRate;
    for (uint32_t c = 0; c < channels; ++c) {
      // Phase of a linear sweep from f0 to f1 over the whole signal.
      const double f0 = c == 0 ? 200.0 : 3000.0;
      const double f1 = c == 0 ? 3000.0 : 300.0;
      const double phase = 2.0 * M_PI * (f0 * t + (f1 - f0) * t * t / (2.0 * seconds));
      pcm[static_cast<size_t>(i) * channels + c] = static_cast<int16_t>(9000.0 * std::sin(phase));
    }
  }
  return pcm;
}

void fillSine(AudioSampleBuffer& buffer, uint32_t channels, uint64_t first, uint32_t sampleRate) {
  auto* out = reinterpret_cast<int16_t*>(buffer.getBuffer());
  for (uint32_t i = 0; i < buffer.getSampleCount(); ++i) {
    const double v = std::sin(2.0 * M_PI * 440.0 * static_cast<double>(first + i) / sampleRate);
    for (uint32_t c = 0; c < channels; ++c) out[i * channels + c] = static_cast<int16_t>(v * 12000);
  }
}

namespace {

uint32_t oggCrc(const std::vector<uint8_t>& page) {
  uint32_t crc = 0;
  for (uint8_t byte : page) {
    crc ^= static_cast<uint32_t>(byte) << 24;
    for (int bit = 0; bit < 8; ++bit) crc = (crc & 0x80000000u) != 0 ? (crc << 1) ^ 0x04C11DB7u : crc << 1;
  }
  return crc;
}

void appendPage(std::vector<uint8_t>& out, const Packet& packet, uint8_t flags, uint64_t granule, uint32_t sequence) {
  std::vector<uint8_t> page = {'O', 'g', 'g', 'S', 0, flags};
  for (int i = 0; i < 8; ++i) page.push_back(static_cast<uint8_t>(granule >> (8 * i)));
  for (uint32_t word : {0x43565830u, sequence, 0u}) {
    for (int i = 0; i < 4; ++i) page.push_back(static_cast<uint8_t>(word >> (8 * i)));
  }
  page.push_back(static_cast<uint8_t>(packet.size() / 255 + 1));
  page.insert(page.end(), packet.size() / 255, 255);
  page.push_back(static_cast<uint8_t>(packet.size() % 255));
  page.insert(page.end(), packet.begin(), packet.end());
  const uint32_t crc = oggCrc(page);
  for (int i = 0; i < 4; ++i) page[22 + i] = static_cast<uint8_t>(crc >> (8 * i));
  out.insert(out.end(), page.begin(), page.end());
}

}  // namespace

std::vector<uint8_t> oggStream(const std::vector<Packet>& headers, const std::vector<Packet>& packets,
                               const std::vector<uint64_t>& positions) {
  std::vector<uint8_t> out;
  uint32_t sequence = 0;
  for (const Packet& header : headers) {
    appendPage(out, header, sequence == 0 ? 2 : 0, 0, sequence);
    ++sequence;
  }
  for (size_t i = 0; i < packets.size(); ++i) {
    appendPage(out, packets[i], i + 1 == packets.size() ? 4 : 0, positions[i], sequence++);
  }
  return out;
}

std::vector<int16_t> decodeAudioWithFfmpeg(const std::vector<uint8_t>& stream, const std::string& file,
                                           uint32_t channels, uint32_t sampleRate) {
  const std::string input = fixturePath(file);
  const std::string output = input + ".pcm";
  if (!stream.empty()) {
    std::ofstream(input, std::ios::binary)
        .write(reinterpret_cast<const char*>(stream.data()), static_cast<std::streamsize>(stream.size()));
  }
  if (!runCommand("ffmpeg -v error -y -i " + input + " -f s16le -ac " + std::to_string(channels) + " -ar " +
                  std::to_string(sampleRate) + " " + output)) {
    return {};
  }
  const std::vector<uint8_t> bytes = readFile(output);
  std::vector<int16_t> pcm(bytes.size() / 2);
  std::memcpy(pcm.data(), bytes.data(), pcm.size() * 2);
  return pcm;
}

double alignedSnr(const std::vector<int16_t>& reference, const std::vector<int16_t>& decoded, uint32_t channels,
                  int maxLag) {
  const long frames = static_cast<long>(reference.size() / channels);
  const long decodedFrames = static_cast<long>(decoded.size() / channels);
  // The lag from the correlation of a window of channel 0 in the middle.
  const long from = frames / 4;
  const long length = std::min<long>(4096, frames / 2);
  int best = 0;
  double bestSum = -1e300;
  for (int lag = -maxLag; lag <= maxLag; ++lag) {
    if (from + lag < 0 || from + lag + length > decodedFrames) continue;
    double sum = 0;
    for (long i = from; i < from + length; ++i) sum += static_cast<double>(reference[i * channels]) * decoded[(i + lag) * channels];
    if (sum > bestSum) {
      bestSum = sum;
      best = lag;
    }
  }
  return snrAtLag(reference, decoded, channels, best);
}

double snrAtLag(const std::vector<int16_t>& reference, const std::vector<int16_t>& decoded, uint32_t channels,
                long lag) {
  const long frames = static_cast<long>(reference.size() / channels);
  const long decodedFrames = static_cast<long>(decoded.size() / channels);
  double signal = 0;
  double noise = 0;
  for (long i = frames / 10; i < frames * 9 / 10; ++i) {
    const long j = i + lag;
    for (uint32_t c = 0; c < channels; ++c) {
      const double r = reference[i * channels + c];
      const double d = j >= 0 && j < decodedFrames ? decoded[j * channels + c] : 0.0;
      signal += r * r;
      noise += (r - d) * (r - d);
    }
  }
  return noise == 0 ? 99.0 : 10.0 * std::log10(signal / noise);
}

double dominantFrequency(const std::vector<int16_t>& pcm, uint32_t channels, uint32_t sampleRate) {
  const size_t count = channels == 0 ? 0 : pcm.size() / channels;
  long first = -1, last = -1, crossings = 0;
  for (size_t i = count / 4 + 1; i < count * 3 / 4; ++i) {
    if (pcm[(i - 1) * channels] < 0 && pcm[i * channels] >= 0) {
      if (first < 0) {
        first = static_cast<long>(i);
      } else {
        ++crossings;
      }
      last = static_cast<long>(i);
    }
  }
  return crossings == 0 ? 0.0 : static_cast<double>(crossings) * sampleRate / static_cast<double>(last - first);
}

}  // namespace cvx::test
