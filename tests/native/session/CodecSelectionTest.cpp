#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "audio/decoders/IAudioDecoder.h"
#include "audio/encoders/IAudioEncoder.h"
#include "session/TranscoderSession.h"
#include "support/LogDrain.h"

namespace cvx {
namespace {

constexpr uint32_t kFailure = 0xFFFFFFFFu;

class CodecSelectionTest : public ::testing::Test {
 protected:
  void SetUp() override { drain(); }
  std::vector<LogStatement> drain() {
    return test::drain(session.getLogCollector());
  }
  TranscoderSession session;
};

TEST_F(CodecSelectionTest, UnknownNumbersFailSilently) {
  uint32_t index = 77;
  EXPECT_EQ(session.audioDecoderCreate(9, 0), kFailure) << "Vorbis is no decoder";
  EXPECT_EQ(session.getAudioSampleFormat(), 2u) << "the short form passes format 2";
  EXPECT_EQ(session.audioEncoderAdd(2, 0, index), kFailure);
  EXPECT_EQ(session.videoEncoderAdd(10, 0, index), kFailure);
  EXPECT_EQ(index, 77u);
  EXPECT_EQ(session.videoDecoderCreate(8, 0, 0x30323449), kFailure) << "VP8 is no decoder";
  EXPECT_EQ(session.getFourCC(), 0x30323449u) << "the code is kept whatever follows";
  EXPECT_TRUE(drain().empty());
  EXPECT_EQ(session.getAudioDecoder(), nullptr);
}

TEST_F(CodecSelectionTest, EncodersTakeTheNextIndexAndLogWithIt) {
  uint32_t first = 99, second = 99;
  ASSERT_EQ(session.audioEncoderAdd(9, 0, first), 0u);
  ASSERT_EQ(session.audioEncoderAdd(9, 3, second), 0u);
  EXPECT_EQ(first, 0u);
  EXPECT_EQ(second, 1u);
  EXPECT_EQ(session.getAudioEncoder(1)->getContextId(), 1u);
  EXPECT_EQ(session.getAudioEncoder(0)->getCodec(), 9u);
  std::vector<LogStatement> log = drain();
  ASSERT_EQ(log.size(), 2u);
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(log[i].statement, "TranscoderSession.audioEncoderAdd[{context}]: Create audio encoder: VORBIS: default");
    EXPECT_EQ(log[i].contextType, 4);
    EXPECT_EQ(log[i].contextIndex, i);
  }
}

TEST_F(CodecSelectionTest, VideoEncodersStopAtTheSessionsBoundWithALevel3Line) {
  uint32_t index = 0;
  for (uint32_t i = 0; i < TranscoderSession::kMaxVideoEncoders; ++i) ASSERT_EQ(session.videoEncoderAdd(8, 0, index), 0u);
  EXPECT_EQ(index, TranscoderSession::kMaxVideoEncoders - 1);
  drain();
  index = 77;
  EXPECT_EQ(session.videoEncoderAdd(8, 0, index), kFailure);
  EXPECT_EQ(index, 77u);
  EXPECT_EQ(session.getVideoEncoderCount(), TranscoderSession::kMaxVideoEncoders);
  std::vector<LogStatement> log = drain();
  ASSERT_EQ(log.size(), 1u);
  EXPECT_EQ(log[0].statement, "TranscoderSession.videoEncoderAdd[{context}]: a session has at most 64 video encoders");
  EXPECT_EQ(log[0].level, 3);
  EXPECT_EQ(log[0].contextType, 2);
  EXPECT_EQ(session.videoEncoderAdd(10, 0, index), kFailure) << "an unknown codec stays silent";
  EXPECT_TRUE(drain().empty());
}

TEST_F(CodecSelectionTest, AudioControlAnswersForMissingPieces) {
  uint32_t value = 5;
  EXPECT_EQ(session.audioDecoderInitialize(), kFailure);
  EXPECT_EQ(session.audioDecoderIsFirstFrameDecoded(), 0u);
  EXPECT_EQ(session.audioDecoderGetSampleRate(value), kFailure);
  EXPECT_EQ(value, 5u);
  EXPECT_EQ(session.audioEncoderSetQuality(0, 0.5), kFailure);
  std::vector<AudioFrameEncoded> frames;
  EXPECT_EQ(session.audioEncoderAddSampleBuffer(0, 0, frames), kFailure);

  ::testing::internal::CaptureStdout();
  EXPECT_EQ(session.audioDecoderDecodeFrame(nullptr, 0, 0, 0, 0), kFailure);
  EXPECT_EQ(::testing::internal::GetCapturedStdout(),
            "TranscoderSession::audioDecoderDecodeFrame: audioSampleBuffer missing\n");

  uint32_t index = 0;
  ASSERT_EQ(session.audioEncoderAdd(9, 0, index), 0u);
  EXPECT_EQ(session.audioEncoderSetQuality(0, 0.5), 0u);
  EXPECT_EQ(session.audioEncoderAddSampleBuffer(0, 3, frames), kFailure) << "no such buffer";
}

}  // namespace
}  // namespace cvx
