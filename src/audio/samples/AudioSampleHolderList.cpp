#include "audio/samples/AudioSampleHolderList.h"

#include <algorithm>

namespace cvx {

void AudioSampleHolderList::push(uint64_t timecode, uint32_t sampleCount) {
  pushedEnd = timecode + sampleCount;
  if (!runs.empty()) {
    Run& last = runs.back();
    if (sampleCount == last.sampleCount && last.holders < UINT32_MAX) {
      // A second holder sets the run's step; later ones must keep it.
      if (last.holders == 1) {
        last.step = timecode - last.origin;
        last.holders = 2;
        return;
      }
      if (timecode == last.origin + last.holders * last.step) {
        ++last.holders;
        return;
      }
    }
    if (runs.size() >= kMaxRuns) runs.pop_front();
  }
  Run run;
  run.first = AudioSampleHolder{timecode, sampleCount};
  run.origin = timecode;
  run.sampleCount = sampleCount;
  run.holders = 1;
  runs.push_back(run);
}

void AudioSampleHolderList::drain(uint32_t samples) {
  uint32_t remaining = samples;
  while (remaining > 0 && !runs.empty()) {
    Run& run = runs.front();
    if (remaining < run.first.sampleCount) {
      run.first.sampleCount -= remaining;
      run.first.timecode += remaining;
      return;
    }
    remaining -= run.first.sampleCount;
    // Holders of no samples all leave while anything remains; whole holders
    // behind the first that the rest covers leave at once.
    const uint32_t whole = run.sampleCount == 0 ? run.holders - 1
                                                : std::min(run.holders - 1, remaining / run.sampleCount);
    remaining -= whole * run.sampleCount;
    run.holders -= 1 + whole;
    if (run.holders == 0) {
      runs.pop_front();
      continue;
    }
    run.origin += (uint64_t{whole} + 1) * run.step;
    run.first = AudioSampleHolder{run.origin, run.sampleCount};
  }
}

AudioSampleHolder AudioSampleHolderList::front() const {
  return runs.empty() ? AudioSampleHolder{} : runs.front().first;
}

uint64_t AudioSampleHolderList::size() const {
  uint64_t holders = 0;
  for (const Run& run : runs) holders += run.holders;
  return holders;
}

}  // namespace cvx
