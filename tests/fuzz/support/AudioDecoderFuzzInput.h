#pragma once

// One audio decoder's byte stream driven through a session as a host drives
// it, into the session's sample buffers. The input says how the host shapes
// its buffers, then gives the packets:
//
//   byte 0-1   sample frames per buffer: 1 + (big-endian value % 4096)
//   byte 2     buffer channels: 0 the decoder's count, else 1 + (value - 1) % 8
//   byte 3     buffers in the set: 1 + value % 4
//   byte 4     the sample format given to audioDecoderCreate
//   then records: a big-endian 16-bit length, a time step in milliseconds
//   (255: reset the decoded frame state instead of a step), the bytes.
//
// The first record is the configuration record; each later one goes to
// decodeFirstFrame until the decoder says it has its first frame, then the
// host sets up buffers from the decoder's rate and channel count and every
// record goes to decodeFrame (into the buffers in turn). Packets are copied
// behind the session's header room, as the boundary does. The seeds are made
// by tests/fuzz/seeds/audio_seeds.py.
//
// Encoders fed with decoded buffers are SessionFuzz's: setting one up costs
// milliseconds under the sanitizers (libavcodec's and libvorbis's tables), ten
// times what the decoding of an input costs, so here they would cut the
// decoders' executions tenfold.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "session/TranscoderSession.h"
#include "support/ProcessLogDrain.h"

namespace cvx::fuzz {

class AudioDecoderFuzzInput {
 public:
  AudioDecoderFuzzInput(const uint8_t* data, size_t size) : data(data), size(size) {}

  // Runs the whole input through a new session with the decoder of this number.
  void drive(uint32_t codec, uint32_t implementation) {
    if (size < kHeaderBytes) return;
    const uint32_t samples = 1 + ((uint32_t{data[0]} << 8) | data[1]) % 4096;
    const uint32_t channelChoice = data[2];
    const uint32_t bufferCount = 1 + data[3] % 4u;
    at = kHeaderBytes;

    const ProcessLogDrain drain;  // after the session is gone
    TranscoderSession session;
    if (session.audioDecoderCreate(codec, implementation, data[4]) != 0) return;
    session.audioDecoderInitialize();
    const uint8_t* record = nullptr;
    uint32_t length = 0;
    uint32_t step = 0;
    if (!next(record, length, step)) return;
    std::vector<uint8_t> config(record, record + length);
    session.audioDecoderDecodeCodecConfig(config.data(), 0, length);

    uint64_t timecode = 0;
    uint32_t buffer = 0;
    bool started = false;
    while (next(record, length, step)) {
      if (step == kResetStep) {
        session.audioDecoderResetDecodedFrameState();
        continue;
      }
      timecode += step;
      const uint32_t room = session.getFrameHeaderSize();
      // A block of at least one byte, as the boundary makes for an empty packet.
      std::vector<uint8_t> block(room + length > 0 ? room + length : 1);
      std::memcpy(block.data() + room, record, length);
      const uint32_t total = room + length;
      if (!started) {
        session.audioDecoderDecodeFirstFrame(block.data(), 0, total);
        if (session.audioDecoderIsFirstFrameDecoded() != 1) continue;
        started = true;
        uint32_t rate = 0;
        uint32_t channels = 0;
        session.audioDecoderGetSampleRate(rate);
        session.audioDecoderGetChannels(channels);
        if (session.audioDecoderBuffersCreate(bufferCount) != 0) return;
        const uint32_t bufferChannels = channelChoice == 0 ? channels : 1 + (channelChoice - 1) % 8;
        // The session refuses what no buffer can be; a host would stop here.
        if (session.audioDecoderBuffersAllocate(samples, bufferChannels, rate) != 0) return;
        continue;
      }
      session.audioDecoderDecodeFrame(block.data(), 0, total, timecode, buffer);
      buffer = (buffer + 1) % bufferCount;
    }
  }

 private:
  static constexpr size_t kHeaderBytes = 5;
  static constexpr uint32_t kResetStep = 255;

  bool next(const uint8_t*& record, uint32_t& length, uint32_t& step) {
    if (size - at < 3) return false;
    length = (uint32_t{data[at]} << 8) | data[at + 1];
    step = data[at + 2];
    at += 3;
    if (length > size - at) length = static_cast<uint32_t>(size - at);
    record = data + at;
    at += length;
    return true;
  }

  const uint8_t* data;
  size_t size;
  size_t at = 0;
};

}  // namespace cvx::fuzz
