// Display shape from sequence values: MPEG-2 scales the coded height by its aspect, MPEG-4 the width by its pixel shape.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "logging/LogCollector.h"
#include "support/RecordingDecoderStream.h"
#include "video/decoders/VideoDecoderMP2.h"
#include "video/decoders/VideoDecoderMP4.h"
#include "support/LogDrain.h"

namespace cvx {
namespace {

using testing::RecordingDecoderStream;

TEST(VideoDecoderMpeg, DisplaySizeFollowsTheAspectCodeOrThePixelShape) {
  struct Case {
    const char* name;
    bool mpeg2;
    int32_t aspectCode, parNum, parDen;
    uint32_t displayW;
    const char* aspectWords;
  } cases[] = {
      {"4:3", true, 2, 0, 0, 768, "aspect:4x3"},
      {"square", true, 1, 0, 0, 576, "aspect:1x1"},
      {"code 15", true, 15, 0, 0, 720, "aspect:0x0"},
      {"code 5", true, 5, 0, 0, 720, "aspect:0x1"},
      {"16:15", false, 0, 16, 15, 768, "aspect: PAR:16x15"},
      {"no pixel shape", false, 0, 0, 15, 720, "aspect: PAR:0x15"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    RecordingDecoderStream fake;
    RecordingDecoderStream::current = &fake;
    LogCollector log;
    std::unique_ptr<IVideoDecoder> decoder;
    if (c.mpeg2) {
      decoder = std::make_unique<VideoDecoderMP2>(&RecordingDecoderStream::open);
    } else {
      decoder = std::make_unique<VideoDecoderMP4>(&RecordingDecoderStream::open);
    }
    decoder->setLogger(&log);
    ASSERT_EQ(decoder->initialize(), 0);
    fake.states = {0x101};
    fake.seq[0] = 720;
    fake.seq[1] = 576;
    fake.seq[2] = c.aspectCode;
    fake.seq[7] = c.parNum;
    fake.seq[8] = c.parDen;
    fake.seq[9] = 25;
    fake.seq[10] = 1;
    uint8_t header[8] = {0, 0, 1, 0xB3, 1, 2, 3, 4};
    EXPECT_EQ(decoder->decodeCodecConfig(header, 0, sizeof(header)), 0);
    RecordingDecoderStream::current = nullptr;
    EXPECT_EQ(decoder->getDisplayWidth(), c.displayW);
    EXPECT_EQ(decoder->getDisplayHeight(), 576u);
    std::vector<LogStatement> lines = test::drain(log);
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].statement, std::string(c.mpeg2 ? "VideoDecoderMP2" : "VideoDecoderMP4") +
                                      ".updateDecodeInfo[{context}]: " + c.aspectWords + " frame:720x576 display:" +
                                      std::to_string(c.displayW) + "x576 frameRate:25");
  }
}

}  // namespace
}  // namespace cvx
