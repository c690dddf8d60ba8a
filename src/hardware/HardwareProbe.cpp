#include "hardware/HardwareProbe.h"

#include <sstream>

#include "hardware/NVidiaCUDAUtils.h"
#include "hardware/QuickSyncProbe.h"
#include "logging/ILogger.h"

namespace cvx {

HardwareAvailability probeHardware(ILogger& logger) {
  HardwareAvailability found;
  found.cuda = NVidiaCUDAUtils::isCUDAAvailable();
  {
    std::ostringstream line;
    line << "TranscoderSession.isCUDAAvailable[{context}]: NVidia CUDA hardware acceleration is "
         << (found.cuda ? "available" : "NOT available");
    logger.logLevel2(line.str());
  }
  if (found.cuda) NVidiaCUDAUtils::logCUDAGPUInfo(&logger);
  found.quickSync = isQuickSyncAvailable();
  {
    std::ostringstream line;
    line << "TranscoderSession.isQuickSyncAvailable[{context}]: Intel Quick Sync hardware acceleration is "
         << (found.quickSync ? "available" : "NOT available");
    logger.logLevel2(line.str());
  }
  return found;
}

}  // namespace cvx
