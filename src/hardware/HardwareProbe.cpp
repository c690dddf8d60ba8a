#include "hardware/HardwareProbe.h"

#include <sstream>

#include "logging/ILogger.h"

namespace cvx {

namespace {

// This build binds neither the NVIDIA runtime nor a Media SDK dispatcher, so
// both probes answer false and every session runs on the software codecs.
bool isCUDAAvailable() { return false; }
bool isQuickSyncAvailable() { return false; }

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
