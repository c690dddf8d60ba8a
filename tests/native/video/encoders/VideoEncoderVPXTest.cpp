// The VP8 encoder class: what it refuses before the library sees it.
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "logging/LogCollector.h"
#include "video/encoders/VideoEncoderVPX.h"
#include "video/frames/PictureLimits.h"
#include "support/LogDrain.h"

namespace {

using namespace cvx;

// The library sizes its reference pictures from the frame size unchecked: the setter must stop a bad one.
TEST(VideoEncoderVPX, FrameSizesPastThePictureLimitsAreRefused) {
  struct Case { const char* name; uint32_t width, height; } cases[] = {
      {"no width", 0, 480},
      {"side past the limit", kMaxPictureSide + 1, 16},
      {"pixels past the limit", kMaxPictureSide, kMaxPictureSide},
      {"a width near 2^32", 0xFFFFFFF0u, 2},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    LogCollector log;
    VideoEncoderVPX encoder;
    encoder.setLogger(&log);
    encoder.setDefaults(0, 0);
    EXPECT_EQ(encoder.setFrameSize(c.width, c.height), -1);
    std::vector<LogStatement> lines = test::drain(log);
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].level, 3);
    EXPECT_EQ(lines[0].statement.rfind("VideoEncoderVPX.setFrameSize[{context}]: ", 0), 0u) << lines[0].statement;
    EXPECT_EQ(encoder.initialize(), 0) << "the refused size never reached the library: it starts at the one it had";
  }
  VideoEncoderVPX encoder;
  encoder.setDefaults(0, 0);
  EXPECT_EQ(encoder.setFrameSize(kMaxPictureSide, 16), 0) << "the limit itself is allowed";
}

}  // namespace
