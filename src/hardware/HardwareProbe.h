#pragma once

namespace cvx {

class ILogger;

// Start-up probing of a session: which hardware encoders and decoders this
// process can reach. Each answer is logged to `logger` at level 2, context 0.
struct HardwareAvailability {
  bool cuda = false;
  bool quickSync = false;
};

HardwareAvailability probeHardware(ILogger& logger);

}  // namespace cvx
