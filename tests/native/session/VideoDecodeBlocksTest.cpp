#include "session/VideoDecodeBlocks.h"

#include <gtest/gtest.h>

namespace cvx {
namespace {

MallocBlock smallBlock() { return MallocBlock(static_cast<uint8_t*>(std::malloc(1))); }

// What may wait is bounded by frames and by bytes, counting the new frame;
// an idle decoder lets everything before go.
TEST(VideoDecodeBlocks, BoundsWhatWaitsAndLetsGoWhenTheDecoderIsIdle) {
  constexpr uint32_t kMiB = 1u << 20;
  struct Step { const char* name; uint32_t length; bool idle; bool kept; size_t count; uint64_t bytes; };
  const Step steps[] = {
      {"first frame", 40 * kMiB, true, true, 1, 40 * kMiB},
      {"up to the byte bound", 24 * kMiB, false, true, 2, 64 * kMiB},
      {"one byte beyond it", 1, false, false, 2, 64 * kMiB},
      {"an idle decoder lets go", 64 * kMiB, true, true, 1, 64 * kMiB},
      {"a whole bound alone", 1, false, false, 1, 64 * kMiB},
      {"fresh start", 0, true, true, 1, 0},
  };
  VideoDecodeBlocks blocks;
  for (const Step& step : steps) {
    SCOPED_TRACE(step.name);
    EXPECT_EQ(blocks.keep(smallBlock(), step.length, step.idle), step.kept);
    EXPECT_EQ(blocks.count(), step.count);
    EXPECT_EQ(blocks.bytes(), step.bytes);
  }
  for (size_t i = blocks.count(); i < VideoDecodeBlocks::kMaxFrames; ++i) {
    ASSERT_TRUE(blocks.keep(smallBlock(), 0, false));
  }
  EXPECT_FALSE(blocks.keep(smallBlock(), 0, false)) << "one frame more than may wait";
  EXPECT_EQ(blocks.count(), VideoDecodeBlocks::kMaxFrames);
}

}  // namespace
}  // namespace cvx
