#pragma once

#include <cstddef>
#include <memory>

namespace cvx {

struct NvidiaDriverLibraries;

// Device attributes the probe reads, numbered as the CUDA driver numbers them.
constexpr int kCudaAttributeClockRate = 13;  // kHz
constexpr int kCudaAttributeMultiprocessorCount = 16;

// The CUDA driver's device queries for the hardware probe, over one binding
// of the NVIDIA driver libraries. Results are the driver's: 0 for success.
class CudaDriver {
 public:
  // Binds the CUDA driver, the video library and the hardware encoder
  // library in that order with all their imports; null when any is missing.
  // Nothing is called in the driver yet.
  static std::unique_ptr<CudaDriver> bind();
  ~CudaDriver();
  CudaDriver(const CudaDriver&) = delete;
  CudaDriver& operator=(const CudaDriver&) = delete;

  // Initialises the driver on first use, then counts devices.
  int deviceCount(int& count);
  int deviceAttribute(int& value, int attribute, int device);
  // Writes a terminated name of at most length - 1 characters.
  int deviceName(char* name, int length, int device);
  int deviceTotalMemory(std::size_t& bytes, int device);
  int deviceComputeCapability(int& major, int& minor, int device);
  int driverVersion(int& version);

 private:
  explicit CudaDriver(std::unique_ptr<NvidiaDriverLibraries> libraries);
  std::unique_ptr<NvidiaDriverLibraries> libraries;
  bool initialised = false;
};

}  // namespace cvx
