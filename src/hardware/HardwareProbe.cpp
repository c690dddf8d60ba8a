#include "hardware/HardwareProbe.h"

#include <sstream>

#include "hardware/QuickSyncProbe.h"
#include "logging/ILogger.h"

namespace cvx {

namespace {

// This build does not bind the NVIDIA runtime: sessions run on the software
// codecs and on Quick Sync where the Media SDK probe finds it.
bool isCUDAAvailable() { return false; }

}  // namespace

HardwareAvailability probeHardware(ILogger& logger) {
  HardwareAvailability found;
  found.cuda = isCUDAAvailable();
  {
    std::ostringstream line;
    line << "TranscoderSession.isCUDAAvailable[{context}]: NVidia CUDA hardware acceleration is "
         << (found.cuda ? "available" : "NOT available");
    logger.logLevel2(line.str());
  }
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
