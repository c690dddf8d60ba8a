#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "support/RecordingDecoderStream.h"
#include "logging/LogCollector.h"
#include "video/decoders/VideoDecoderMP2.h"
#include "video/decoders/VideoDecoderMP4.h"

namespace cvx {
namespace {

using testing::RecordingDecoderStream;

struct DisplayCase {
  const char* name;
  int32_t width, height, aspectCode, parNum, parDen;
  uint32_t displayW, displayH;
  const char* aspectWords;
};

template <class Decoder>
std::unique_ptr<Decoder> configured(RecordingDecoderStream& fake, LogCollector& log, const DisplayCase& c) {
  RecordingDecoderStream::current = &fake;
  auto decoder = std::make_unique<Decoder>(&RecordingDecoderStream::open);
  decoder->setLogger(&log);
  EXPECT_EQ(decoder->initialize(), 0);
  fake.states = {0x101};
  fake.seq[0] = c.width;
  fake.seq[1] = c.height;
  fake.seq[2] = c.aspectCode;
  fake.seq[7] = c.parNum;
  fake.seq[8] = c.parDen;
  fake.seq[9] = 25;
  fake.seq[10] = 1;
  uint8_t header[8] = {0, 0, 1, 0xB3, 1, 2, 3, 4};
  EXPECT_EQ(decoder->decodeCodecConfig(header, 0, sizeof(header)), 0);
  RecordingDecoderStream::current = nullptr;
  return decoder;
}

TEST(VideoDecoderMP2, DisplaySizeFollowsTheAspectCodeOnTheCodedHeight) {
  const DisplayCase cases[] = {
      {"4:3", 720, 576, 2, 0, 0, 768, 576, "4x3"},
      {"square", 720, 576, 1, 0, 0, 576, 576, "1x1"},
      {"code 15", 720, 576, 15, 0, 0, 720, 576, "0x0"},
      {"code 5", 720, 576, 5, 0, 0, 720, 576, "0x1"},
  };
  for (const DisplayCase& c : cases) {
    SCOPED_TRACE(c.name);
    RecordingDecoderStream fake;
    LogCollector log;
    auto decoder = configured<VideoDecoderMP2>(fake, log, c);
    EXPECT_EQ(decoder->getDisplayWidth(), c.displayW);
    EXPECT_EQ(decoder->getDisplayHeight(), c.displayH);
    std::vector<LogStatement> lines;
    log.getLogStatements(lines);
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].statement, std::string("VideoDecoderMP2.updateDecodeInfo[{context}]: aspect:") + c.aspectWords +
                                      " frame:720x576 display:" + std::to_string(c.displayW) + "x" +
                                      std::to_string(c.displayH) + " frameRate:25");
  }
}

TEST(VideoDecoderMP4, DisplaySizeAppliesThePixelShapeToTheCodedWidth) {
  const DisplayCase cases[] = {
      {"16:15", 720, 576, 0, 16, 15, 768, 576, ""},
      {"no aspect", 720, 576, 0, 0, 15, 720, 576, ""},
  };
  for (const DisplayCase& c : cases) {
    SCOPED_TRACE(c.name);
    RecordingDecoderStream fake;
    LogCollector log;
    auto decoder = configured<VideoDecoderMP4>(fake, log, c);
    EXPECT_EQ(decoder->getDisplayWidth(), c.displayW);
    EXPECT_EQ(decoder->getDisplayHeight(), c.displayH);
    std::vector<LogStatement> lines;
    log.getLogStatements(lines);
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].statement.rfind("VideoDecoderMP4.updateDecodeInfo[{context}]: aspect: PAR:" +
                                           std::to_string(c.parNum) + "x" + std::to_string(c.parDen) + " frame:",
                                       0),
              0u)
        << lines[0].statement;
  }
}

TEST(VideoDecoderMpeg, AConfigurationReachesTheParserOnceWithItsEndMarker) {
  RecordingDecoderStream mp2Fake, mp4Fake;
  LogCollector log;
  const DisplayCase c{"", 352, 288, 2, 0, 0, 0, 0, ""};
  auto mp2 = configured<VideoDecoderMP2>(mp2Fake, log, c);
  auto mp4 = configured<VideoDecoderMP4>(mp4Fake, log, c);
  const std::vector<uint8_t> header = {0, 0, 1, 0xB3, 1, 2, 3, 4};
  std::vector<uint8_t> expected = header;
  expected.insert(expected.end(), {0, 0, 1, 0xB8});
  EXPECT_EQ(mp2Fake.bytes, expected);
  expected = header;
  expected.insert(expected.end(), {0, 0, 1});
  EXPECT_EQ(mp4Fake.bytes, expected);
  const std::vector<uint32_t> order = {0x10000, 0x101B3, 0x10002, 0x10010, 0x10014, 0x10202, 0x10001};
  EXPECT_EQ(mp2Fake.infoIds(), order);

  mp2Fake.bytes.clear();
  mp2Fake.calls.clear();
  uint8_t again[4] = {0, 0, 1, 0xB3};
  EXPECT_EQ(mp2->decodeCodecConfig(again, 0, 4), 0);
  EXPECT_TRUE(mp2Fake.bytes.empty());
  EXPECT_TRUE(mp2Fake.calls.empty());
}

TEST(VideoDecoderMpeg, FramesAreQueuedWholeWithTheirLabel) {
  RecordingDecoderStream fake;
  LogCollector log;
  auto decoder = configured<VideoDecoderMP4>(fake, log, DisplayCase{"", 176, 144, 0, 12, 11, 0, 0, ""});
  fake.bytes.clear();
  uint8_t frame[6] = {9, 9, 0, 0, 0x80, 2};
  EXPECT_EQ(decoder->addFrame(frame, 2, 4, 440, 3), 0);
  uint32_t flags = 0;
  ASSERT_EQ(decoder->decode(flags), 0);
  EXPECT_EQ(fake.bytes, std::vector<uint8_t>(frame + 2, frame + 6));
  ASSERT_EQ(fake.attached.size(), 1u);
  EXPECT_EQ(fake.attached[0].frameType, 3u);
  EXPECT_EQ(fake.attached[0].timecode, 440);
}

}  // namespace
}  // namespace cvx
