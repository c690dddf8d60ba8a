#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/FakeNvidiaDriver.h"
#include "session/TranscoderSession.h"
#include "video/encoders/VideoEncoderH264.h"
#include "video/encoders/VideoEncoderH264NVidiaCUDA2.h"
#include "support/LogDrain.h"

namespace cvx {
namespace {

using testing::FakeNvidiaDriver;

// Implementation 2 of H.264 is the CUDA encoder where the session's probe
// found a device, and silently the software one elsewhere.
TEST(CudaSelectionTest, ImplementationTwoFollowsTheProbe) {
  struct Case {
    const char* name;
    FakeNvidiaDriver::Folder folder;
    const char* script;
    uint32_t implementation;
    bool cuda;
  } cases[] = {
      {"a device", FakeNvidiaDriver::Folder::Full, "devices=1", 2, true},
      {"no device", FakeNvidiaDriver::Folder::Full, "devices=0", 2, false},
      {"no encoder library", FakeNvidiaDriver::Folder::WithoutEncoder, "devices=1", 2, false},
      {"no driver", FakeNvidiaDriver::Folder::Empty, "devices=1", 2, false},
      {"a device, but the default asked for", FakeNvidiaDriver::Folder::Full, "devices=1", 0, false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    FakeNvidiaDriver driver(c.folder);
    driver.script(c.script);
    TranscoderSession session;
    std::vector<LogStatement> log = test::drain(session.getLogCollector());
    uint32_t index = 99;
    ASSERT_EQ(session.videoEncoderAdd(7, c.implementation, index), 0u);
    EXPECT_EQ(index, 0u);
    IVideoEncoder* encoder = session.getVideoEncoder(0);
    EXPECT_EQ(dynamic_cast<VideoEncoderH264NVidiaCUDA2*>(encoder) != nullptr, c.cuda);
    EXPECT_EQ(dynamic_cast<VideoEncoderH264*>(encoder) != nullptr, !c.cuda);
    EXPECT_EQ(encoder->getCodec(), 7u);
    log.clear();
    session.getLogCollector().getLogStatements(log);
    ASSERT_EQ(log.size(), 1u);
    EXPECT_EQ(log[0].statement, std::string("TranscoderSession.videoEncoderAdd[{context}]: Create video encoder: ") +
                                    (c.cuda ? "H.264: CUDA" : "H.264: default"));
  }
}

}  // namespace
}  // namespace cvx
