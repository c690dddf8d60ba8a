#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>

#include "audio/samples/AudioSampleHolder.h"

namespace cvx {

// The holders of an encoder, oldest first: for each buffer handed to a
// library, the position of its first sample still unaccounted for and how
// many remain, drained by the sample counts the library reports back.
//
// Holders of equal count whose positions step evenly (the buffers of a steady
// stream) are kept as one run, so a stream whose buffers claim more samples
// than the library is given (stereo G.711 counts every value as a sample)
// keeps a short list however long it runs, with every position as a plain
// list would give it. At most kMaxRuns runs are kept; past that the oldest
// goes, which only a stream whose counts or steps change on every buffer can
// reach.
class AudioSampleHolderList {
 public:
  static constexpr std::size_t kMaxRuns = 4096;

  void push(uint64_t timecode, uint32_t sampleCount);
  // Accounts for `samples` samples the library has finished: whole holders
  // leave the front, a partly finished one moves on.
  void drain(uint32_t samples);
  // The oldest holder; {0, 0} when there is none.
  AudioSampleHolder front() const;
  // The position the drains have reached: the oldest holder's, or once every
  // holder is drained, the end of the last one pushed.
  uint64_t reached() const { return runs.empty() ? pushedEnd : runs.front().first.timecode; }
  bool empty() const { return runs.empty(); }
  // Holders, and the runs they are kept in.
  uint64_t size() const;
  std::size_t runCount() const { return runs.size(); }
  void clear() {
    runs.clear();
    pushedEnd = 0;
  }

 private:
  struct Run {
    AudioSampleHolder first;   // the oldest holder, as drained so far
    uint64_t origin = 0;       // its position when it was pushed
    uint64_t step = 0;         // from one holder's position to the next
    uint32_t sampleCount = 0;  // of each holder when pushed
    uint32_t holders = 0;
  };

  std::deque<Run> runs;
  uint64_t pushedEnd = 0;
};

}  // namespace cvx
