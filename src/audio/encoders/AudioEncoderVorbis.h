#pragma once

#include <cstdint>
#include <vector>

#include "audio/encoders/AudioEncoderBase.h"
#include "audio/samples/AudioSampleHolderList.h"
#include "platform/vorbis/VorbisCodec.h"

namespace cvx {

// Vorbis packets from 16-bit samples, codec number 9. The host gets each
// packet as one frame (the body of an Ogg page holding just that packet) and
// the three headers as separate frames. Timecodes follow the samples through
// the library's lookahead: a list of holders is drained by the granule
// positions that come back.
class AudioEncoderVorbis : public AudioEncoderBase {
 public:
  AudioEncoderVorbis();
  ~AudioEncoderVorbis() noexcept(false) override;

  int initialize() override;
  // The header frames stay here: each call hands out copies of them.
  int getHeaders(std::vector<AudioFrameEncoded>& out) override;
  int addSampleBuffer(AudioSampleBuffer& buffer, std::vector<AudioFrameEncoded>& out) override;
  // Tells the library the stream has ended: it analyses what it holds and
  // gives the last packets, the last one marked as the end of the stream.
  int endOfStream(std::vector<AudioFrameEncoded>& out) override;
  int close() override;

  // Sample frames handed to the library in one go.
  static constexpr uint32_t kChunkSamples = 1024;

  uint64_t getHolderCount() const { return holders.size(); }

 private:
  void drainHolders(int64_t granulePosition);
  // Converts `count` sample frames (at most kChunkSamples) into the library.
  void writeSamples(const uint8_t* in, uint32_t count);
  // Takes every block the library can give and appends a frame per page.
  void takePackets(std::vector<AudioFrameEncoded>& out, bool& endOfStream);
  void appendFrame(std::vector<AudioFrameEncoded>& out, const uint8_t* data, uint32_t length, uint64_t timecode);

  VorbisCodec codecState;
  std::vector<AudioFrameEncoded> headers;
  AudioSampleHolderList holders;
  int64_t lastGranulePosition = -1;
  // The channel count the library was set up with: the conversion writes
  // exactly that many channel arrays.
  uint32_t encoderChannels = 0;
};

}  // namespace cvx
