#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/FakeRuntimeFixture.h"
#include "session/TranscoderSession.h"
#include "video/decoders/VideoDecoderH264.h"
#include "video/decoders/VideoDecoderH264IntelQuickSync.h"
#include "video/encoders/VideoEncoderH264.h"
#include "video/encoders/VideoEncoderH264IntelQuickSync2.h"
#include "support/LogDrain.h"

namespace cvx {
namespace {

std::vector<std::string> drain(TranscoderSession& session) {
  std::vector<LogStatement> statements = test::drain(session.getLogCollector());
  std::vector<std::string> out;
  for (const LogStatement& s : statements) out.push_back(s.statement);
  return out;
}

class QuickSyncSelectionTest : public test::FakeRuntimeTest {};

TEST_F(QuickSyncSelectionTest, DecodersOneAndTwoAreQuickSyncOnEveryMachine) {
  struct Case { const char* runtime; uint32_t implementation; const char* words; uint32_t sdkImplementation; };
  for (const Case& c : {Case{test::kNoRuntime, 1, "H.264: QuickSync", 0}, Case{test::kNoRuntime, 2, "H.264: QuickSync(software)", 1},
                        Case{CVX_FAKE_MFX, 1, "H.264: QuickSync", 0}, Case{CVX_FAKE_MFX, 2, "H.264: QuickSync(software)", 1}}) {
    SCOPED_TRACE(std::string(c.runtime) + " " + c.words);
    test::RuntimeSelection runtime(c.runtime);
    TranscoderSession session;
    drain(session);
    ASSERT_EQ(session.videoDecoderCreate(7, c.implementation), 0u);
    auto* decoder = dynamic_cast<VideoDecoderH264IntelQuickSync*>(session.getVideoDecoder());
    ASSERT_NE(decoder, nullptr);
    EXPECT_EQ(decoder->getImplementation(), c.sdkImplementation);
    EXPECT_EQ(drain(session),
              std::vector<std::string>{std::string("TranscoderSession.videoDecoderCreate[{context}]: Create video decoder: ") +
                                       c.words});
    EXPECT_EQ(session.videoDecoderInitialize(), 0u) << "without a runtime too: the decoder stays inert";
    EXPECT_EQ(decoder->hasSession(), std::string(c.runtime) == CVX_FAKE_MFX);
  }
  test::RuntimeSelection none(test::kNoRuntime);
  TranscoderSession session;
  for (uint32_t other : {0u, 3u}) {
    ASSERT_EQ(session.videoDecoderCreate(7, other), 0u);
    EXPECT_NE(dynamic_cast<VideoDecoderH264*>(session.getVideoDecoder()), nullptr) << other;
  }
}

TEST_F(QuickSyncSelectionTest, EncoderOneIsQuickSyncWhereTheProbeFoundItAndTheSoftwareEncoderElsewhere) {
  struct Case { const char* runtime; const char* probe; const char* words; bool quickSync; };
  for (const Case& c : {Case{CVX_FAKE_MFX, "available", "H.264: QuickSync", true},
                        Case{test::kNoRuntime, "NOT available", "H.264: default", false}}) {
    SCOPED_TRACE(c.runtime);
    test::RuntimeSelection runtime(c.runtime);
    TranscoderSession session;
    EXPECT_EQ(session.getQuickSyncAvailable(), c.quickSync);
    const std::vector<std::string> opening = drain(session);
    ASSERT_EQ(opening.size(), 2u);
    EXPECT_EQ(opening[1],
              std::string("TranscoderSession.isQuickSyncAvailable[{context}]: Intel Quick Sync hardware acceleration is ") +
                  c.probe);
    uint32_t index = 9;
    ASSERT_EQ(session.videoEncoderAdd(7, 1, index), 0u);
    EXPECT_EQ(index, 0u);
    IVideoEncoder* encoder = session.getVideoEncoder(0);
    EXPECT_EQ(encoder->getCodec(), 7u);
    EXPECT_EQ(dynamic_cast<VideoEncoderH264IntelQuickSync2*>(encoder) != nullptr, c.quickSync);
    EXPECT_EQ(dynamic_cast<VideoEncoderH264*>(encoder) != nullptr, !c.quickSync);
    EXPECT_EQ(drain(session),
              std::vector<std::string>{std::string("TranscoderSession.videoEncoderAdd[{context}]: Create video encoder: ") +
                                       c.words});
    for (uint32_t other : {0u, 2u, 3u}) {
      ASSERT_EQ(session.videoEncoderAdd(7, other, index), 0u);
      EXPECT_NE(dynamic_cast<VideoEncoderH264*>(session.getVideoEncoder(index)), nullptr) << other;
    }
  }
}

}  // namespace
}  // namespace cvx
