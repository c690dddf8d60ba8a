// A stand-in for the CUDA driver library: devices as the test's script
// describes them, every call traced, any call made to fail.
#include <cstring>
#include <map>
#include <mutex>
#include <string>

#include <ffnvcodec/dynlink_cuda.h>

#include "FakeDriverScript.h"

#define FAKE_EXPORT extern "C" __attribute__((visibility("default")))

namespace {

constexpr CUresult kFailure = static_cast<CUresult>(999);
constexpr CUresult kNoDevice = static_cast<CUresult>(101);  // CUDA_ERROR_INVALID_DEVICE

std::mutex countMutex;
std::map<std::string, int> callCounts;

// Traces the call and says whether the script makes this time of it fail.
bool failing(const char* call, const std::string& detail = "") {
  int time = 0;
  {
    std::lock_guard<std::mutex> guard(countMutex);
    time = ++callCounts[call];
  }
  fakenv::trace(detail.empty() ? std::string(call) : std::string(call) + " " + detail);
  return fakenv::currentScript()->fails(call, time);
}

const fakenv::Device* deviceAt(int ordinal) {
  static thread_local std::shared_ptr<const fakenv::Script> held;
  held = fakenv::currentScript();
  if (ordinal < 0 || ordinal >= held->devices) return nullptr;
  return &held->device[static_cast<size_t>(ordinal)];
}

struct FakeContext {
  int device;
};

}  // namespace

FAKE_EXPORT CUresult cuInit(unsigned int) {
  // Each initialisation reads the test's current script.
  fakenv::reloadScript();
  {
    std::lock_guard<std::mutex> guard(countMutex);
    callCounts.clear();
  }
  return failing("cuInit") ? kFailure : CUDA_SUCCESS;
}

FAKE_EXPORT CUresult cuDeviceGetCount(int* count) {
  if (failing("cuDeviceGetCount")) return kFailure;
  *count = fakenv::currentScript()->devices;
  return CUDA_SUCCESS;
}

FAKE_EXPORT CUresult cuDeviceGet(CUdevice* device, int ordinal) {
  if (failing("cuDeviceGet", std::to_string(ordinal))) return kFailure;
  if (deviceAt(ordinal) == nullptr) return kNoDevice;
  *device = ordinal;
  return CUDA_SUCCESS;
}

FAKE_EXPORT CUresult cuDeviceGetAttribute(int* value, CUdevice_attribute attribute, CUdevice device) {
  const fakenv::Device* d = deviceAt(device);
  if (failing("cuDeviceGetAttribute")) return kFailure;
  if (d == nullptr) return kNoDevice;
  *value = attribute == CU_DEVICE_ATTRIBUTE_CLOCK_RATE              ? d->clockKHz
           : attribute == CU_DEVICE_ATTRIBUTE_MULTIPROCESSOR_COUNT ? d->processors
                                                                   : 0;
  return CUDA_SUCCESS;
}

FAKE_EXPORT CUresult cuDeviceGetName(char* name, int length, CUdevice device) {
  const fakenv::Device* d = deviceAt(device);
  if (failing("cuDeviceGetName")) return kFailure;
  if (d == nullptr) return kNoDevice;
  std::strncpy(name, d->name.c_str(), static_cast<size_t>(length));
  if (length > 0) name[length - 1] = '\0';
  return CUDA_SUCCESS;
}

FAKE_EXPORT CUresult cuDeviceTotalMem_v2(size_t* bytes, CUdevice device) {
  const fakenv::Device* d = deviceAt(device);
  if (failing("cuDeviceTotalMem_v2")) return kFailure;
  if (d == nullptr) return kNoDevice;
  *bytes = d->memory;
  return CUDA_SUCCESS;
}

FAKE_EXPORT CUresult cuDeviceComputeCapability(int* major, int* minor, CUdevice device) {
  const fakenv::Device* d = deviceAt(device);
  if (failing("cuDeviceComputeCapability")) return kFailure;
  if (d == nullptr) return kNoDevice;
  *major = d->major;
  *minor = d->minor;
  return CUDA_SUCCESS;
}

FAKE_EXPORT CUresult cuDriverGetVersion(int* version) {
  if (failing("cuDriverGetVersion")) return kFailure;
  *version = fakenv::currentScript()->driver;
  return CUDA_SUCCESS;
}

FAKE_EXPORT CUresult cuCtxCreate_v2(CUcontext* context, unsigned int, CUdevice device) {
  if (failing("cuCtxCreate_v2", std::to_string(device))) return kFailure;
  if (deviceAt(device) == nullptr) return kNoDevice;
  *context = reinterpret_cast<CUcontext>(new FakeContext{device});
  return CUDA_SUCCESS;
}

FAKE_EXPORT CUresult cuCtxPopCurrent_v2(CUcontext* context) {
  if (failing("cuCtxPopCurrent_v2")) return kFailure;
  if (context != nullptr) *context = nullptr;
  return CUDA_SUCCESS;
}

FAKE_EXPORT CUresult cuCtxDestroy_v2(CUcontext context) {
  failing("cuCtxDestroy_v2");
  delete reinterpret_cast<FakeContext*>(context);
  return CUDA_SUCCESS;
}
