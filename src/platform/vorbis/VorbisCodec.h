#pragma once

#include <cstdint>
#include <memory>

namespace cvx {

// Vorbis analysis and Ogg packet handling, one encoder's worth of library
// state. The calls mirror the library's own steps so that the encoder class
// above keeps the order of work; only our types cross this header. Every
// library result goes through errorText() for the log.
class VorbisCodec {
 public:
  VorbisCodec();
  ~VorbisCodec();
  VorbisCodec(const VorbisCodec&) = delete;
  VorbisCodec& operator=(const VorbisCodec&) = delete;

  // Managed bit rate set-up; -1 leaves a bound open. Returns the library's
  // result: 0 or a negative error code.
  int init(uint32_t channels, uint32_t sampleRate, long maxBitrate, long nominalBitrate, long minBitrate);
  void addComment(const char* tag, const char* value);
  int startAnalysis();
  int startStream(int serialNumber);
  // Makes the three header packets and queues them on the stream. Returns the
  // size of the comment header (it shares a page with the setup header), or a
  // negative error code.
  long putHeaders();
  // Takes the next page off the stream. The body stays valid until the next
  // stream call.
  bool flushPage(const uint8_t*& body, uint32_t& bodyLength, bool& endOfStream);
  // Per-channel float arrays with room for `samples`, or null before init.
  float** analysisBuffer(int samples);
  int wrote(int samples);
  bool blockOut();
  int analyzeBlock();
  // Takes the next finished packet and queues it on the stream.
  bool nextPacket(int64_t& granulePosition);
  // Releases all library state; safe to call twice and before init.
  void clear();

  bool isReady() const { return ready; }
  static const char* errorText(int code);

 private:
  struct State;
  std::unique_ptr<State> state;
  bool ready = false;
};

}  // namespace cvx
