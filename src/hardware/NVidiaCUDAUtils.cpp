#include "hardware/NVidiaCUDAUtils.h"

#include <cstddef>
#include <memory>
#include <sstream>

#include "logging/Guarded.h"
#include "logging/ILogger.h"
#include "platform/gpuencoder/CudaDriver.h"

namespace cvx {

namespace {

// SM version as major * 16 + minor, and its cores per multiprocessor.
struct CoresRow {
  int sm;
  int cores;
};
constexpr CoresRow kCoresPerSM[] = {
    {0x10, 8}, {0x11, 8}, {0x12, 8}, {0x13, 8}, {0x20, 32}, {0x21, 48}, {-1, -1},
};

}  // namespace

int NVidiaCUDAUtils::nGpuArchCoresPerSM(int major, int minor) {
  const int sm = major * 16 + minor;
  for (const CoresRow& row : kCoresPerSM) {
    if (row.sm == sm || row.sm == -1) return row.cores;
  }
  return -1;
}

bool NVidiaCUDAUtils::isCUDAAvailable() {
  return guarded("NVidiaCUDAUtils::isCUDAAvailable: ", [] {
    std::unique_ptr<CudaDriver> driver = CudaDriver::bind();
    if (driver == nullptr) return false;
    int count = 0;
    return driver->deviceCount(count) == 0 && count > 0;
  }, false);
}

int NVidiaCUDAUtils::getCUDADeviceCount() {
  return guarded("NVidiaCUDAUtils::getCUDADeviceCount: ", [] {
    std::unique_ptr<CudaDriver> driver = CudaDriver::bind();
    int count = 0;
    if (driver == nullptr || driver->deviceCount(count) != 0) return 0;
    return count;
  }, 0);
}

void NVidiaCUDAUtils::logCUDAGPUInfo(ILogger* logger) {
  guarded("NVidiaCUDAUtils::logCUDAGPUInfo: ", [&] {
    std::unique_ptr<CudaDriver> driver = CudaDriver::bind();
    int count = 0;
    if (logger == nullptr || driver == nullptr || driver->deviceCount(count) != 0) return;
    for (int device = 0; device < count; ++device) {
      int clockRate = 0;
      int processors = 0;
      char name[256];
      std::size_t memory = 0;
      int major = 0;
      int minor = 0;
      int driverVersion = 0;
      // A query that fails leaves its figure at 0; the line still comes.
      driver->deviceAttribute(clockRate, kCudaAttributeClockRate, device);
      driver->deviceAttribute(processors, kCudaAttributeMultiprocessorCount, device);
      driver->deviceName(name, static_cast<int>(sizeof(name)), device);
      driver->deviceTotalMemory(memory, device);
      driver->deviceComputeCapability(major, minor, device);
      driver->driverVersion(driverVersion);
      std::ostringstream line;
      line << "NVidiaCUDAUtils.logCUDAGPUInfo[{context}]: " << "GPU[" << device << "]:" << " name:\"" << name << '"'
           << " version:" << major << '.' << minor << " driver:" << driverVersion << " memory:" << (memory >> 20)
           << "MB" << " processors:" << processors << " cores:" << processors * nGpuArchCoresPerSM(major, minor)
           << " clockRate:" << clockRate / 1000 << "MHz";
      logger->logLevel2(line.str());
    }
  });
}

}  // namespace cvx
