#pragma once

namespace cvx {

class ILogger;

// What a session learns about NVIDIA GPUs when it starts: whether the driver
// libraries load and show a device, and one log line per device. Every call
// binds the libraries afresh and keeps nothing.
class NVidiaCUDAUtils {
 public:
  // The driver libraries all bind and the driver counts at least one device.
  static bool isCUDAAvailable();
  // The driver's device count; 0 when the libraries or the call fail.
  static int getCUDADeviceCount();
  // One level-2 line without context per device, on `logger`.
  static void logCUDAGPUInfo(ILogger* logger);
  // Cores per multiprocessor of an SM version; -1 for one the table lacks.
  static int nGpuArchCoresPerSM(int major, int minor);
};

}  // namespace cvx
