#include "hardware/QuickSyncProbe.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "hardware/HardwareProbe.h"
#include "logging/LogCollector.h"
#include "support/FakeRuntimeFixture.h"
#include "support/LogDrain.h"

namespace cvx {
namespace {

using test::FakeRuntimeTest;
using test::RuntimeSelection;

class QuickSyncProbeTest : public FakeRuntimeTest {};

TEST_F(QuickSyncProbeTest, AnswersYesOnlyForAHardwareSessionAndClosesWhatItOpened) {
  struct Case {
    const char* what;
    const char* runtime;  // null: the platform's runtimes
    std::function<void()> script;
    bool available;
    int closes;  // runtime sessions the probe closed
  };
  const Case cases[] = {
      {"a hardware runtime", CVX_FAKE_MFX, [] {}, true, 1},
      {"a software-only runtime", CVX_FAKE_MFX, [] { fakeMfxSet("hardware", 0); }, false, 1},
      {"MFXInit failing", CVX_FAKE_MFX, [] { fakeMfxSet("initStatus", -17); }, false, 0},
      {"no runtime file", test::kNoRuntime, [] {}, false, 0},
      {"the platform's runtimes on a machine without a render node", nullptr, [] {}, false, 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    if (c.runtime == nullptr && test::hasRenderNode()) continue;
    fakeMfxReset();
    RuntimeSelection runtime(c.runtime);
    c.script();
    LogCollector log;
    const HardwareAvailability found = probeHardware(log);
    EXPECT_EQ(found.quickSync, c.available);
    EXPECT_FALSE(found.cuda);
    EXPECT_EQ(fakeMfxCalls("MFXClose"), c.closes);
    EXPECT_EQ(fakeMfxOpenSessions(), 0);
    std::vector<LogStatement> lines = test::drain(log);
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[1].statement,
              std::string("TranscoderSession.isQuickSyncAvailable[{context}]: Intel Quick Sync hardware acceleration is ") +
                  (c.available ? "available" : "NOT available"));
    EXPECT_EQ(lines[1].level, 2);
    EXPECT_EQ(lines[1].contextType, 0);
  }
}

}  // namespace
}  // namespace cvx
