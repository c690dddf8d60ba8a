#include "audio/encoders/AudioEncoderVorbis.h"

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <new>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "audio/samples/AudioSampleBuffer.h"
#include "logging/Guarded.h"
#include "media/CodecNumbers.h"

namespace cvx {

namespace {
constexpr const char* kInitPrefix = "AudioEncoderVorbis.initialize[{context}]: ";
}

AudioEncoderVorbis::AudioEncoderVorbis() { codec = kAudioCodecVorbis; }

AudioEncoderVorbis::~AudioEncoderVorbis() noexcept(false) { close(); }

void AudioEncoderVorbis::appendFrame(std::vector<AudioFrameEncoded>& out, const uint8_t* data, uint32_t length,
                                     uint64_t timecode) {
  EncodedBlock block = EncodedBlock::copyOf(data, length);
  if (!block) throw std::bad_alloc();
  out.push_back(AudioFrameEncoded{std::move(block), timecode, channels, sampleRate});
}

int AudioEncoderVorbis::initialize() {
  return guarded("AudioEncoderVorbis::initialize: ", [&] {
    // A second start begins a new stream: its own three headers, no old samples.
    close();
    const int result = codecState.init(channels, sampleRate, -1, static_cast<long>(bitrate), -1);
    {
      std::ostringstream line;
      line << kInitPrefix << "channels:" << channels << " sampleRate:" << sampleRate;
      logInfo(line.str());
    }
    if (result != 0) {
      // Analysis over a refused set-up would read a broken state; stop here.
      std::ostringstream line;
      line << kInitPrefix << "vorbis_encode_init failed: " << VorbisCodec::errorText(result);
      logError(line.str());
      codecState.clear();
      return -1;
    }
    encoderChannels = channels;
    codecState.addComment("ENCODER", "Corvane Vorbis Encode");
    codecState.startAnalysis();
    std::srand(static_cast<unsigned>(std::time(nullptr)));
    codecState.startStream(std::rand());
    const long commentBytes = codecState.putHeaders();
    if (commentBytes < 0) {
      logError(std::string(kInitPrefix) + "header output failed: " + VorbisCodec::errorText(static_cast<int>(commentBytes)));
      codecState.clear();
      return -1;
    }
    const uint8_t* body = nullptr;
    uint32_t bodyLength = 0;
    bool endOfStream = false;
    for (int page = 0; codecState.flushPage(body, bodyLength, endOfStream); ++page) {
      // The second page holds the comment and setup headers side by side.
      if (page == 1 && static_cast<uint32_t>(commentBytes) <= bodyLength) {
        const uint32_t first = static_cast<uint32_t>(commentBytes);
        appendFrame(headers, body, first, 0);
        appendFrame(headers, body + first, bodyLength - first, 0);
      } else {
        appendFrame(headers, body, bodyLength, 0);
      }
    }
    return 0;
  });
}

int AudioEncoderVorbis::getHeaders(std::vector<AudioFrameEncoded>& out) {
  return guarded("AudioEncoderVorbis::getHeaders: ", [&] {
    // The headers stay here; the caller gets copies of its own.
    for (const AudioFrameEncoded& header : headers) {
      EncodedBlock copy = EncodedBlock::copyOf(header.block.data(), header.block.size());
      if (!copy) throw std::bad_alloc();
      out.push_back(AudioFrameEncoded{std::move(copy), header.timecode, header.channels, header.sampleRate});
    }
    return 0;
  });
}

void AudioEncoderVorbis::drainHolders(int64_t granulePosition) {
  if (lastGranulePosition >= 0) {
    const uint64_t step = static_cast<uint64_t>(granulePosition) - static_cast<uint64_t>(lastGranulePosition);
    holders.drain(static_cast<uint32_t>(step));
  }
  lastGranulePosition = granulePosition;
}

void AudioEncoderVorbis::writeSamples(const uint8_t* in, uint32_t count) {
  float** channelArrays = codecState.analysisBuffer(static_cast<int>(count));
  if (channelArrays == nullptr) throw std::runtime_error("no analysis buffer");
  for (uint32_t i = 0; i < count; ++i) {
    for (uint32_t c = 0; c < encoderChannels; ++c) {
      const uint8_t* p = in + (static_cast<std::size_t>(i) * encoderChannels + c) * 2u;
      const int16_t value = static_cast<int16_t>(static_cast<uint16_t>(p[0] | (p[1] << 8)));
      channelArrays[c][i] = static_cast<float>(value) / 32768.0f;
    }
  }
  codecState.wrote(static_cast<int>(count));
}

void AudioEncoderVorbis::takePackets(std::vector<AudioFrameEncoded>& out, bool& endOfStream) {
  while (codecState.blockOut()) {
    codecState.analyzeBlock();
    int64_t granulePosition = 0;
    while (codecState.nextPacket(granulePosition)) {
      drainHolders(granulePosition);
      // The last packets may drain every holder: they stand where the samples end.
      const uint64_t timecode = holders.reached();
      const uint8_t* body = nullptr;
      uint32_t bodyLength = 0;
      while (!endOfStream && codecState.flushPage(body, bodyLength, endOfStream)) {
        appendFrame(out, body, bodyLength, timecode);
      }
    }
  }
}

int AudioEncoderVorbis::addSampleBuffer(AudioSampleBuffer& buffer, std::vector<AudioFrameEncoded>& out) {
  return guarded("AudioEncoderVorbis::addSampleBuffer: ", [&] {
    if (refusedAfterEnd("AudioEncoderVorbis")) return -1;
    if (!codecState.isReady() || encoderChannels == 0 || buffer.getBuffer() == nullptr) return -1;
    // The holder takes the count the decoder stamped the buffer with: the
    // positions it gave were counted in it.
    holders.push(buffer.getTimecode(), buffer.getSampleCount());
    // The samples read are those the block really holds for the channel count
    // the encoder was set up with.
    const uint32_t capacity = buffer.getBufferSize() / (encoderChannels * 2u);
    const uint32_t count = std::min(buffer.getSampleCount(), capacity);
    // The library works out the first block over everything written so far
    // on the stack, and grows its buffer by whatever one call writes: it is
    // fed in chunks, and each chunk's blocks are taken before the next.
    bool endOfStream = false;
    for (uint32_t written = 0; written < count;) {
      const uint32_t chunk = std::min(count - written, kChunkSamples);
      writeSamples(buffer.getBuffer() + static_cast<std::size_t>(written) * encoderChannels * 2u, chunk);
      written += chunk;
      takePackets(out, endOfStream);
    }
    return 0;
  });
}

int AudioEncoderVorbis::endOfStream(std::vector<AudioFrameEncoded>& out) {
  return guarded("AudioEncoderVorbis::endOfStream: ", [&] {
    if (!markEnded() || !codecState.isReady() || encoderChannels == 0) return 0;
    codecState.wrote(0);
    bool endOfStream = false;
    takePackets(out, endOfStream);
    return 0;
  });
}

int AudioEncoderVorbis::close() {
  return guarded("AudioEncoderVorbis::close: ", [&] {
    holders.clear();
    headers.clear();
    codecState.clear();
    encoderChannels = 0;
    lastGranulePosition = -1;
    return 0;
  });
}

}  // namespace cvx
