// G.711 packets of 20 ms into one and four Vorbis encoders through the session,
// beside the same library work done directly. The difference is what our own
// layers (session lookups, buffer bookkeeping, frame handling) cost a packet.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdlib>
#include <memory>
#include <vector>

#include "audio/decoders/AudioDecoderMULaw.h"
#include "audio/samples/AudioSampleBuffer.h"
#include "platform/vorbis/VorbisCodec.h"
#include "session/TranscoderSession.h"

namespace {

constexpr uint32_t kRate = 8000;
constexpr uint32_t kPacket = 160;

std::vector<uint8_t> mulawPackets(int count) {
  std::vector<uint8_t> bytes(static_cast<std::size_t>(count) * kPacket);
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    bytes[i] = static_cast<uint8_t>(0x80 + 40 * std::sin(2 * M_PI * 440.0 * i / kRate));
  }
  return bytes;
}

void SessionPath(benchmark::State& state) {
  const int encoders = static_cast<int>(state.range(0));
  std::vector<uint8_t> input = mulawPackets(500);
  auto session = std::make_unique<cvx::TranscoderSession>();
  session->audioDecoderCreate(8, 0);
  uint8_t description[9] = {0, 0, 0, 0x1F, 0x40, 0, 0, 0, 1};
  session->audioDecoderDecodeFirstFrame(description, 0, 9);
  session->audioDecoderBuffersCreate(1);
  session->audioDecoderBuffersAllocate(kPacket, 1, kRate);
  for (int e = 0; e < encoders; ++e) {
    uint32_t index = 0;
    session->audioEncoderAdd(9, 0, index);
    session->audioEncoderSetSampleRate(index, kRate);
    session->audioEncoderSetChannels(index, 1);
    session->audioEncoderSetBitrate(index, 16000);
    session->audioEncoderInitialize(index);
  }
  std::vector<cvx::AudioFrameEncoded> frames;
  uint64_t packet = 0;
  for (auto _ : state) {
    uint8_t* data = input.data() + (packet % 500) * kPacket;
    session->audioDecoderDecodeFrame(data, 0, kPacket, packet * 20, 0);
    for (int e = 0; e < encoders; ++e) {
      session->audioEncoderAddSampleBuffer(static_cast<uint32_t>(e), 0, frames);
      frames.clear();
    }
    ++packet;
  }
  state.SetItemsProcessed(static_cast<int64_t>(packet));
  state.counters["x_realtime"] =
      benchmark::Counter(static_cast<double>(packet) * 0.020, benchmark::Counter::kIsRate);
}

// The same expansion and Vorbis work without the session, the stream
// bookkeeping or the frame copies.
void LibraryOnly(benchmark::State& state) {
  const int encoders = static_cast<int>(state.range(0));
  std::vector<uint8_t> input = mulawPackets(500);
  std::vector<std::unique_ptr<cvx::VorbisCodec>> codecs;
  for (int e = 0; e < encoders; ++e) {
    auto codec = std::make_unique<cvx::VorbisCodec>();
    codec->init(1, kRate, -1, 16000, -1);
    codec->startAnalysis();
    codec->startStream(1);
    codec->putHeaders();
    const uint8_t* body;
    uint32_t length;
    bool eos;
    while (codec->flushPage(body, length, eos)) {
    }
    codecs.push_back(std::move(codec));
  }
  std::vector<int16_t> pcm(kPacket);
  uint64_t packet = 0;
  for (auto _ : state) {
    const uint8_t* data = input.data() + (packet % 500) * kPacket;
    for (uint32_t i = 0; i < kPacket; ++i) pcm[i] = cvx::AudioDecoderMULaw::expand(data[i]);
    for (auto& codec : codecs) {
      float** channels = codec->analysisBuffer(kPacket);
      for (uint32_t i = 0; i < kPacket; ++i) channels[0][i] = pcm[i] / 32768.0f;
      codec->wrote(kPacket);
      while (codec->blockOut()) {
        codec->analyzeBlock();
        int64_t granule;
        while (codec->nextPacket(granule)) {
          const uint8_t* body;
          uint32_t length;
          bool eos;
          while (codec->flushPage(body, length, eos)) benchmark::DoNotOptimize(body);
        }
      }
    }
    ++packet;
  }
  state.SetItemsProcessed(static_cast<int64_t>(packet));
}

BENCHMARK(SessionPath)->Arg(1)->Arg(4)->MinTime(2.0);
BENCHMARK(LibraryOnly)->Arg(1)->Arg(4)->MinTime(2.0);

}  // namespace
