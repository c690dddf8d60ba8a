#include "audio/samples/AudioSampleHolderList.h"

#include <gtest/gtest.h>

#include <list>
#include <random>

namespace cvx {
namespace {

// The plain list the runs stand for: one holder per buffer, drained front first.
struct PlainHolders {
  std::list<AudioSampleHolder> holders;
  void drain(uint32_t remaining) {
    while (remaining > 0 && !holders.empty()) {
      AudioSampleHolder& front = holders.front();
      if (remaining < front.sampleCount) {
        front.sampleCount -= remaining;
        front.timecode += remaining;
        remaining = 0;
      } else {
        remaining -= front.sampleCount;
        holders.pop_front();
      }
    }
  }
};

TEST(AudioSampleHolderList, GivesThePositionsOfAPlainList) {
  struct Stream {
    const char* name;
    uint32_t counts[3];      // buffer sizes the stream picks from
    uint64_t steps[3];       // position steps it picks from
    uint32_t drains[3];      // granule steps
  };
  const Stream streams[] = {
      {"steady, gapless", {1024, 1024, 1024}, {1024, 1024, 1024}, {256, 1024, 2048}},
      {"claims twice what it feeds", {320, 320, 320}, {160, 160, 160}, {128, 160, 1024}},
      {"varying sizes", {160, 320, 1152}, {160, 320, 1152}, {0, 777, 4096}},
      {"empty buffers and jumps", {0, 1, 512}, {0, 1, 900000}, {0, 1, 2048}},
  };
  for (const Stream& stream : streams) {
    SCOPED_TRACE(stream.name);
    std::mt19937 random(7);
    AudioSampleHolderList runs;
    PlainHolders plain;
    uint64_t position = 5000;
    for (int i = 0; i < 20000; ++i) {
      if (random() % 3 != 0) {
        const uint32_t count = stream.counts[random() % 3];
        runs.push(position, count);
        plain.holders.push_back(AudioSampleHolder{position, count});
        position += stream.steps[random() % 3];
      } else {
        const uint32_t samples = stream.drains[random() % 3];
        runs.drain(samples);
        plain.drain(samples);
      }
      const AudioSampleHolder expected = plain.holders.empty() ? AudioSampleHolder{} : plain.holders.front();
      ASSERT_EQ(runs.front().timecode, expected.timecode) << i;
      ASSERT_EQ(runs.front().sampleCount, expected.sampleCount) << i;
      ASSERT_EQ(runs.size(), plain.holders.size()) << i;
    }
  }
}

TEST(AudioSampleHolderList, AStreamThatRunsAheadForGoodKeepsOneRun) {
  // Stereo G.711 at 20 ms a packet: 320 values counted as samples, 160
  // sample frames encoded, positions 160 apart.
  AudioSampleHolderList runs;
  for (uint64_t i = 0; i < 1000000; ++i) {
    runs.push(i * 160, 320);
    runs.drain(160);
  }
  EXPECT_EQ(runs.runCount(), 1u);
  EXPECT_EQ(runs.size(), 500000u);
  EXPECT_EQ(runs.front().timecode, 80000000u) << "half the positions, as the counts say";
}

TEST(AudioSampleHolderList, KeepsTheNewestRunsWhenEveryBufferStartsOne) {
  AudioSampleHolderList runs;
  for (uint32_t i = 0; i < 3 * AudioSampleHolderList::kMaxRuns; ++i) runs.push(uint64_t{i} * i, i);
  EXPECT_EQ(runs.runCount(), AudioSampleHolderList::kMaxRuns);
  const uint64_t oldestKept = 2 * AudioSampleHolderList::kMaxRuns;
  EXPECT_EQ(runs.front().timecode, oldestKept * oldestKept);
}

}  // namespace
}  // namespace cvx
