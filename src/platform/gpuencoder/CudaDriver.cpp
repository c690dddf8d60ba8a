#include "platform/gpuencoder/CudaDriver.h"

#include <new>

#include "platform/gpuencoder/NvidiaDriverLibraries.h"

namespace cvx {

static_assert(kCudaAttributeClockRate == CU_DEVICE_ATTRIBUTE_CLOCK_RATE, "the driver's attribute number");
static_assert(kCudaAttributeMultiprocessorCount == CU_DEVICE_ATTRIBUTE_MULTIPROCESSOR_COUNT,
              "the driver's attribute number");

std::unique_ptr<CudaDriver> CudaDriver::bind() {
  std::unique_ptr<NvidiaDriverLibraries> libraries = NvidiaDriverLibraries::open();
  if (libraries == nullptr) return nullptr;
  return std::unique_ptr<CudaDriver>(new (std::nothrow) CudaDriver(std::move(libraries)));
}

CudaDriver::CudaDriver(std::unique_ptr<NvidiaDriverLibraries> bound) : libraries(std::move(bound)) {}

CudaDriver::~CudaDriver() = default;

int CudaDriver::deviceCount(int& count) {
  count = 0;
  if (!initialised) {
    const CUresult result = libraries->cuInit(0);
    if (result != CUDA_SUCCESS) return result;
    initialised = true;
  }
  return libraries->cuDeviceGetCount(&count);
}

int CudaDriver::deviceAttribute(int& value, int attribute, int device) {
  value = 0;
  return libraries->cuDeviceGetAttribute(&value, static_cast<CUdevice_attribute>(attribute), device);
}

int CudaDriver::deviceName(char* name, int length, int device) {
  if (name == nullptr || length < 1) return CUDA_ERROR_UNKNOWN;
  name[0] = '\0';
  const CUresult result = libraries->cuDeviceGetName(name, length, device);
  name[length - 1] = '\0';
  return result;
}

int CudaDriver::deviceTotalMemory(std::size_t& bytes, int device) {
  bytes = 0;
  return libraries->cuDeviceTotalMem_v2(&bytes, device);
}

int CudaDriver::deviceComputeCapability(int& major, int& minor, int device) {
  major = 0;
  minor = 0;
  return libraries->cuDeviceComputeCapability(&major, &minor, device);
}

int CudaDriver::driverVersion(int& version) {
  version = 0;
  return libraries->cuDriverGetVersion(&version);
}

}  // namespace cvx
