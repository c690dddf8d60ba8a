#pragma once

// One audio decoder's byte stream driven through a session as a host drives
// it, with the decoded buffers handed on to a Vorbis and an AAC encoder. The
// input says how the host shapes its buffers and encoders, then gives the
// packets:
//
//   byte 0-1   sample frames per buffer: 1 + (big-endian value % 4096)
//   byte 2     buffer channels: 0 the decoder's count, else 1 + (value - 1) % 8
//   byte 3     bits 0-1: buffers in the set, less one; bit 2: a Vorbis
//              encoder; bit 3: an AAC encoder
//   byte 4     encoder bit rate: 8000 x (value + 1)
//   byte 5     the sample format given to audioDecoderCreate
//   then records: a big-endian 16-bit length, a time step in milliseconds
//   (255: reset the decoded frame state instead of a step), the bytes.
//
// The first record is the configuration record; each later one goes to
// decodeFirstFrame until the decoder says it has its first frame, then the
// host sets up buffers and encoders from the decoder's rate and channel count
// and every record goes to decodeFrame (into the buffers in turn), the first
// kEncodedPackets of them on to each encoder (encoding is what costs time).
// Packets are copied behind the session's header room, as the boundary does.
// The seeds are made by tests/fuzz/seeds/audio_seeds.py.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "audio/samples/AudioFrameEncoded.h"
#include "media/CodecNumbers.h"
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
    const uint32_t bufferCount = (data[3] & 3u) + 1;
    const bool vorbis = (data[3] & 4u) != 0;
    const bool aac = (data[3] & 8u) != 0;
    const uint32_t bitrate = 8000u * (uint32_t{data[4]} + 1);
    at = kHeaderBytes;

    const ProcessLogDrain drain;  // after the session is gone
    TranscoderSession session;
    if (session.audioDecoderCreate(codec, implementation, data[5]) != 0) return;
    session.audioDecoderInitialize();
    const uint8_t* record = nullptr;
    uint32_t length = 0;
    uint32_t step = 0;
    if (!next(record, length, step)) return;
    std::vector<uint8_t> config(record, record + length);
    session.audioDecoderDecodeCodecConfig(config.data(), 0, length);

    std::vector<uint32_t> encoders;
    uint64_t timecode = 0;
    uint32_t buffer = 0;
    bool started = false;
    uint32_t encoded = 0;
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
        if (vorbis) addEncoder(session, kAudioCodecVorbis, rate, channels, bitrate, encoders);
        if (aac) addEncoder(session, kAudioCodecAAC, rate, channels, bitrate, encoders);
        continue;
      }
      session.audioDecoderDecodeFrame(block.data(), 0, total, timecode, buffer);
      if (encoded++ == kEncodedPackets) encoders.clear();
      for (uint32_t encoder : encoders) {
        std::vector<AudioFrameEncoded> frames;
        session.audioEncoderAddSampleBuffer(encoder, buffer, frames);
      }
      buffer = (buffer + 1) % bufferCount;
    }
  }

 private:
  static constexpr size_t kHeaderBytes = 6;
  static constexpr uint32_t kResetStep = 255;
  static constexpr uint32_t kEncodedPackets = 8;

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

  // An encoder set up from what the decoder told, its headers taken; left
  // out where the session refuses a setting, as a host would.
  static void addEncoder(TranscoderSession& session, uint32_t codec, uint32_t rate, uint32_t channels,
                         uint32_t bitrate, std::vector<uint32_t>& encoders) {
    uint32_t index = 0;
    if (session.audioEncoderAdd(codec, 0, index) != 0) return;
    if (session.audioEncoderSetSampleRate(index, rate) != 0 || session.audioEncoderSetChannels(index, channels) != 0 ||
        session.audioEncoderSetBitrate(index, bitrate) != 0 || session.audioEncoderInitialize(index) != 0) {
      return;
    }
    std::vector<AudioFrameEncoded> headers;
    session.audioEncoderGetHeaders(index, headers);  // the encoder's own blocks
    encoders.push_back(index);
  }

  const uint8_t* data;
  size_t size;
  size_t at = 0;
};

}  // namespace cvx::fuzz
