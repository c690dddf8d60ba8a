// AAC encoding through our encoder library against `ffmpeg -c:a aac` on the
// same PCM at the same rate and bit rate, and AAC and MP3 decoding through our
// decoder streams against a bare libavcodec loop. Items are sample frames, so
// the items/s columns compare directly; the command line pays its start-up
// once per run of 30 s of audio.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "audio/encoders/AudioEncoderBufferStream.h"
#include "platform/audiocodecs/AacOutAudio.h"
#include "platform/audiocodecs/AudioDecoderOpen.h"
#include "platform/audiocodecs/AudioFrameSplitter.h"
#include "support/ReferenceAudioDecodeLoop.h"

namespace {

using cvx::bufstream_tt;

constexpr uint32_t kRate = 44100;
constexpr uint32_t kChannels = 2;
constexpr uint32_t kSeconds = 30;
constexpr uint32_t kSamples = kRate * kSeconds;
constexpr uint32_t kBitrate = 128000;

std::string tmpPath(const char* name) {
  const char* dir = std::getenv("TMPDIR");
  return std::string(dir != nullptr ? dir : "/tmp") + "/cvx-audio-bench-" + name;
}

std::vector<uint8_t> readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// A chord with a little noise: something for the psychoacoustics to work on.
const std::vector<int16_t>& pcm() {
  static const std::vector<int16_t> samples = [] {
    std::vector<int16_t> out(static_cast<size_t>(kSamples) * kChannels);
    uint32_t noise = 1;
    for (uint32_t i = 0; i < kSamples; ++i) {
      const double t = static_cast<double>(i) / kRate;
      const double v = 0.3 * std::sin(2 * M_PI * 440 * t) + 0.2 * std::sin(2 * M_PI * 554.37 * t) +
                       0.1 * std::sin(2 * M_PI * 1318.5 * t);
      for (uint32_t c = 0; c < kChannels; ++c) {
        noise = noise * 1664525u + 1013904223u;
        out[i * kChannels + c] = static_cast<int16_t>(v * 30000 + static_cast<int32_t>(noise >> 22) - 512);
      }
    }
    std::FILE* f = std::fopen(tmpPath("pcm.raw").c_str(), "wb");
    if (f != nullptr) {
      std::fwrite(out.data(), sizeof(int16_t), out.size(), f);
      std::fclose(f);
    }
    return out;
  }();
  return samples;
}

void AacEncodeOurs(benchmark::State& state) {
  const std::vector<int16_t>& input = pcm();
  cvx::AacEncoderSettings settings;
  cvx::aacOutAudioDefaults(&settings, 0);
  settings.channels = kChannels;
  settings.bitrateIndex = 19;  // 128 kbit/s
  size_t bytes = 0;
  for (auto _ : state) {
    cvx::AudioEncoderBufferStream sink;
    cvx::AacOutAudio* encoder = cvx::aacOutAudioNew(nullptr, &settings, 0, 0, kRate);
    if (encoder == nullptr || cvx::aacOutAudioInit(encoder, sink.getStream()) != 0) {
      state.SkipWithError("the encoder did not start");
      break;
    }
    const auto* data = reinterpret_cast<const uint8_t*>(input.data());
    const uint32_t frameBytes = 1024 * kChannels * 2;
    std::vector<cvx::AudioFrameEncoded> frames;
    for (uint32_t at = 0; at + frameBytes <= input.size() * 2; at += frameBytes) {
      cvx::aacOutAudioPutBytes(encoder, data + at, frameBytes);
      sink.getEncodedFrames(frames);
      for (cvx::AudioFrameEncoded& f : frames) {
        bytes += f.block.size();
      }
      frames.clear();
    }
    cvx::aacOutAudioDone(encoder, 0);
    cvx::aacOutAudioFree(encoder);
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * kSamples);
  state.counters["kbit_s"] = static_cast<double>(bytes) * 8 / kSeconds / 1000 / static_cast<double>(state.iterations());
}
BENCHMARK(AacEncodeOurs)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(5);

void AacEncodeFfmpegCli(benchmark::State& state) {
  pcm();
  const std::string command = "ffmpeg -nostdin -v error -f s16le -ar " + std::to_string(kRate) + " -ac " +
                              std::to_string(kChannels) + " -i " + tmpPath("pcm.raw") + " -c:a aac -b:a " +
                              std::to_string(kBitrate) + " -f adts -y " + tmpPath("cli.aac");
  for (auto _ : state) {
    if (std::system(command.c_str()) != 0) {
      state.SkipWithError("ffmpeg failed");
      break;
    }
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * kSamples);
  state.counters["kbit_s"] = static_cast<double>(readFile(tmpPath("cli.aac")).size()) * 8 / kSeconds / 1000;
}
BENCHMARK(AacEncodeFfmpegCli)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(5);

struct Frames {
  std::vector<uint8_t> bytes;
  std::vector<std::pair<size_t, size_t>> spans;
  uint64_t samples = 0;
};

// The stream written by the command line, cut into frames by their headers.
Frames frames(const char* name, const char* encodeArgs, bool adts) {
  pcm();
  Frames out;
  const std::string path = tmpPath(name);
  const std::string command = "ffmpeg -nostdin -v error -f s16le -ar 44100 -ac 2 -i " + tmpPath("pcm.raw") + " " +
                              encodeArgs + " -y " + path;
  if (std::system(command.c_str()) != 0) return out;
  out.bytes = readFile(path);
  size_t at = 0;
  while (at + 7 <= out.bytes.size()) {
    cvx::AudioFrameHeader header;
    const bool ok = adts ? cvx::parseAdtsHeader(&out.bytes[at], 7, header)
                         : cvx::parseMpegAudioHeader(&out.bytes[at], 4, header);
    if (!ok || at + header.frameBytes > out.bytes.size()) {
      ++at;
      continue;
    }
    out.spans.emplace_back(at, header.frameBytes);
    out.samples += header.samplesPerFrame;
    at += header.frameBytes;
  }
  return out;
}

const Frames& aacFrames() {
  static const Frames f = frames("in.aac", "-c:a aac -b:a 128k -f adts", true);
  return f;
}
const Frames& mp3Frames() {
  static const Frames f = frames("in.mp3", "-c:a libmp3lame -b:a 128k -write_xing 0 -id3v2_version 0 -f mp3", false);
  return f;
}

void DecodeOurs(benchmark::State& state, const Frames& input, bufstream_tt* (*open)()) {
  std::vector<uint8_t> out(4096 * kChannels * 2);
  uint64_t samples = 0;
  for (auto _ : state) {
    bufstream_tt* stream = open();
    if (stream == nullptr) {
      state.SkipWithError("no decoder");
      break;
    }
    cvx::AudioOutputDescriptor descriptor{out.data(), 0};
    stream->auxinfo(stream, 0, cvx::audio_decoder_info::kSetOutput, &descriptor, cvx::kOutputDescriptorBytes);
    for (const auto& span : input.spans) {
      descriptor.outputSize = static_cast<uint32_t>(out.size());
      stream->copybytes(stream, const_cast<uint8_t*>(input.bytes.data() + span.first), static_cast<uint32_t>(span.second));
      samples += descriptor.outputSize / (kChannels * 2);
    }
    stream->done(stream, 0);
    stream->free(stream);
  }
  state.SetItemsProcessed(static_cast<int64_t>(samples));
}

void DecodeReference(benchmark::State& state, const Frames& input, cvx::ReferenceAudioDecodeLoop::Codec codec) {
  // Each frame with zeroed padding behind it, made once, as the library asks.
  std::vector<std::vector<uint8_t>> padded;
  for (const auto& span : input.spans) {
    padded.emplace_back(input.bytes.begin() + static_cast<long>(span.first),
                        input.bytes.begin() + static_cast<long>(span.first + span.second));
    padded.back().resize(span.second + 64, 0);
  }
  std::vector<uint8_t> out(4096 * kChannels * 2);
  uint64_t samples = 0;
  for (auto _ : state) {
    cvx::ReferenceAudioDecodeLoop loop;
    if (!loop.open(codec)) {
      state.SkipWithError("no decoder");
      break;
    }
    for (size_t i = 0; i < padded.size(); ++i) {
      const int64_t n = loop.decode(padded[i].data(), input.spans[i].second, out.data(), 4096);
      if (n > 0) samples += static_cast<uint64_t>(n);
    }
  }
  state.SetItemsProcessed(static_cast<int64_t>(samples));
}

bufstream_tt* openAac() { return cvx::openAacDecoderStream(); }
bufstream_tt* openMp3() { return cvx::openMp3DecoderStream(nullptr, nullptr, nullptr); }

void AacDecodeOurs(benchmark::State& state) { DecodeOurs(state, aacFrames(), openAac); }
void AacDecodeReference(benchmark::State& state) {
  DecodeReference(state, aacFrames(), cvx::ReferenceAudioDecodeLoop::Codec::Aac);
}
void Mp3DecodeOurs(benchmark::State& state) { DecodeOurs(state, mp3Frames(), openMp3); }
void Mp3DecodeReference(benchmark::State& state) {
  DecodeReference(state, mp3Frames(), cvx::ReferenceAudioDecodeLoop::Codec::Mp3);
}
BENCHMARK(AacDecodeOurs)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(8);
BENCHMARK(AacDecodeReference)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(8);
BENCHMARK(Mp3DecodeOurs)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(8);
BENCHMARK(Mp3DecodeReference)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(8);

}  // namespace
