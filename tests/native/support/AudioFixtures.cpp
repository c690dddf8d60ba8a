#include "support/AudioFixtures.h"

#include <cstring>
#include <sstream>

#include "audio/samples/AudioSampleBuffer.h"
#include "platform/audiocodecs/AudioFrameSplitter.h"
#include "support/MediaFixtures.h"

namespace cvx::test {

namespace {

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

}  // namespace

std::vector<Packet> splitAdts(const std::vector<uint8_t>& bytes) { return splitFrames(bytes, true); }

std::vector<Packet> splitMpegAudio(const std::vector<uint8_t>& bytes) { return splitFrames(bytes, false); }

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
      std::vector<Packet> frames = splitAdts(bytes);
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
      fixture.packets = splitMpegAudio(bytes);
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
