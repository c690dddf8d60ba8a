#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/FakeNvidiaDriver.h"
#include "hardware/NVidiaCUDAUtils.h"
#include "logging/LogCollector.h"
#include "support/LogDrain.h"

namespace cvx {
namespace {

using testing::FakeNvidiaDriver;

using test::drain;

TEST(NVidiaCUDAUtilsTest, TheProbeAnswersTrueOnlyWithAllThreeLibrariesAndADevice) {
  struct Case {
    const char* name;
    FakeNvidiaDriver::Folder folder;
    const char* script;
    bool available;
    bool countAsked;
  } cases[] = {
      {"one device", FakeNvidiaDriver::Folder::Full, "devices=1", true, true},
      {"zero devices", FakeNvidiaDriver::Folder::Full, "devices=0", false, true},
      {"the count fails", FakeNvidiaDriver::Folder::Full, "devices=2\nfail=cuDeviceGetCount", false, true},
      {"the driver does not start", FakeNvidiaDriver::Folder::Full, "devices=2\nfail=cuInit", false, false},
      // The encoder library is bound before anything is asked of the driver.
      {"no encoder library", FakeNvidiaDriver::Folder::WithoutEncoder, "devices=2", false, false},
      {"no driver at all", FakeNvidiaDriver::Folder::Empty, "devices=2", false, false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    FakeNvidiaDriver driver(c.folder);
    driver.script(c.script);
    EXPECT_EQ(NVidiaCUDAUtils::isCUDAAvailable(), c.available);
    EXPECT_EQ(driver.traced("cuDeviceGetCount"), c.countAsked);
  }
}

TEST(NVidiaCUDAUtilsTest, DeviceCountIsZeroWhenTheDriverFails) {
  FakeNvidiaDriver driver;
  driver.script("devices=3");
  EXPECT_EQ(NVidiaCUDAUtils::getCUDADeviceCount(), 3);
  driver.script("devices=3\nfail=cuDeviceGetCount");
  EXPECT_EQ(NVidiaCUDAUtils::getCUDADeviceCount(), 0);
  FakeNvidiaDriver none(FakeNvidiaDriver::Folder::WithoutEncoder);
  EXPECT_EQ(NVidiaCUDAUtils::getCUDADeviceCount(), 0);
}

TEST(NVidiaCUDAUtilsTest, OneLinePerGpuWithCoresFromTheTableAndClockInWholeMegahertz) {
  FakeNvidiaDriver driver;
  driver.script(
      "devices=3\ndriver=12020\n"
      "device0=Quadro FX|1|3|1500000|30|4294967296\n"
      "device1=Tesla|2|1|999|14|1073741823\n"
      "device2=Kepler \"K\"|3|0|1202999|8|2147483648");
  LogCollector log;
  NVidiaCUDAUtils::logCUDAGPUInfo(&log);
  const std::vector<LogStatement> lines = drain(log);
  const std::vector<std::string> expected = {
      "NVidiaCUDAUtils.logCUDAGPUInfo[{context}]: GPU[0]: name:\"Quadro FX\" version:1.3 driver:12020 "
      "memory:4096MB processors:30 cores:240 clockRate:1500MHz",
      "NVidiaCUDAUtils.logCUDAGPUInfo[{context}]: GPU[1]: name:\"Tesla\" version:2.1 driver:12020 "
      "memory:1023MB processors:14 cores:672 clockRate:0MHz",
      // An SM version the table lacks gives -1 cores per multiprocessor.
      "NVidiaCUDAUtils.logCUDAGPUInfo[{context}]: GPU[2]: name:\"Kepler \"K\"\" version:3.0 driver:12020 "
      "memory:2048MB processors:8 cores:-8 clockRate:1202MHz",
  };
  ASSERT_EQ(lines.size(), expected.size());
  for (size_t i = 0; i < lines.size(); ++i) {
    EXPECT_EQ(lines[i].statement, expected[i]);
    EXPECT_EQ(lines[i].level, 2);
    EXPECT_EQ(lines[i].contextType, 0);
  }
}

TEST(NVidiaCUDAUtilsTest, CoresTableCoversTheOldArchitecturesOnly) {
  struct Case {
    int major, minor, cores;
  } cases[] = {{1, 0, 8}, {1, 1, 8}, {1, 2, 8}, {1, 3, 8}, {2, 0, 32}, {2, 1, 48},
               {1, 4, -1}, {2, 2, -1}, {3, 0, -1}, {8, 6, -1}, {0, 0, -1}, {-1, 0, -1}};
  for (const Case& c : cases) {
    SCOPED_TRACE(std::to_string(c.major) + "." + std::to_string(c.minor));
    EXPECT_EQ(NVidiaCUDAUtils::nGpuArchCoresPerSM(c.major, c.minor), c.cores);
  }
}

}  // namespace
}  // namespace cvx
