#pragma once

// A decoder stream that records what a decoder class passes to it and answers
// with scripted states: the fake that tests the logic above the library.
#include <cstdint>
#include <cstring>
#include <deque>
#include <utility>
#include <vector>

#include "platform/bufstream/BufStream.h"
#include "platform/videodecoder/VideoDecoderOpen.h"

namespace cvx {
namespace testing {

class RecordingDecoderStream {
 public:
  struct Call { uint32_t infoId; uint32_t offset; };
  struct Attached {
    std::size_t atByte;  // position in `bytes` where the record was attached
    uint32_t frameType;
    int64_t timecode;
  };

  std::vector<uint8_t> bytes;
  std::vector<Call> calls;
  std::vector<Attached> attached;
  std::deque<uint32_t> states;  // answers of the parser runs, in order; then 0
  std::deque<uint32_t> statesAfterDone;  // the same once done(0) came: what the library held
  int32_t seq[11] = {};
  uint32_t seqStatus = 0;
  uint32_t takeLimit = UINT32_MAX;  // copybytes takes at most this much per call
  bool returnUserData = true;
  uint8_t userData[16] = {};
  bool done = false;
  void* logger = nullptr;  // what the class told the stream to log to
  static inline RecordingDecoderStream* current = nullptr;
  static inline int freed = 0;

  RecordingDecoderStream() {
    stream.copybytes = &copybytes;
    stream.auxinfo = &auxinfo;
    stream.done = &doneEntry;
    stream.free = &freeEntry;
    stream.privateData = this;
  }

  // An opener for decoder classes: hands out the current fake.
  static bufstream_tt* open(void*, void*, void*) { return current != nullptr ? &current->stream : nullptr; }

  std::vector<uint32_t> infoIds() const {
    std::vector<uint32_t> ids;
    for (const Call& c : calls) ids.push_back(c.infoId);
    return ids;
  }

 private:
  static RecordingDecoderStream* from(bufstream_tt* bs) { return static_cast<RecordingDecoderStream*>(bs->privateData); }
  static uint32_t copybytes(bufstream_tt* bs, uint8_t* data, uint32_t n) {
    RecordingDecoderStream* s = from(bs);
    const uint32_t take = n < s->takeLimit ? n : s->takeLimit;
    s->bytes.insert(s->bytes.end(), data, data + take);
    return take;
  }
  static uint32_t auxinfo(bufstream_tt* bs, uint32_t offset, uint32_t infoId, void* ptr, uint32_t) {
    RecordingDecoderStream* s = from(bs);
    if (infoId == decoder_info::kSetLogger) {  // our own code, apart from the order of the library's calls
      s->logger = ptr;
      return 0;
    }
    s->calls.push_back(Call{infoId, offset});
    switch (infoId) {
      case 0x10010: {
        std::deque<uint32_t>& answers = s->done ? s->statesAfterDone : s->states;
        if (answers.empty()) return 0;
        const uint32_t state = answers.front();
        answers.pop_front();
        return state;
      }
      case 0x10008: {
        std::memcpy(s->userData, ptr, 16);
        uint32_t type;
        int64_t time;
        std::memcpy(&type, s->userData, 4);
        std::memcpy(&time, s->userData + 8, 8);
        s->attached.push_back(Attached{s->bytes.size(), type, time});
        return 0;
      }
      case 0x10009:
        *static_cast<void**>(ptr) = s->returnUserData ? s->userData : nullptr;
        return 0;
      case 0x10014:
        *static_cast<void**>(ptr) = s->seq;
        return s->seqStatus;
      default:
        return 0;
    }
  }
  static void doneEntry(bufstream_tt* bs, int) { from(bs)->done = true; }
  static void freeEntry(bufstream_tt*) { ++freed; }

  bufstream_tt stream{};
};

}  // namespace testing
}  // namespace cvx
