#pragma once

#include <memory>

#include <ffnvcodec/dynlink_cuda.h>
#include <ffnvcodec/dynlink_cuviddec.h>
#include <ffnvcodec/nvEncodeAPI.h>

#include "platform/gpuencoder/DriverHandles.h"

namespace cvx {

// Names of the environment variable that points the loader at a folder of
// driver libraries (tests put fakes there), and of the three libraries.
constexpr const char* kNvidiaDriverDirVariable = "CVX_NVIDIA_DRIVER_DIR";
constexpr const char* kCudaLibrary = "libcuda.so.1";
constexpr const char* kCuvidLibrary = "libnvcuvid.so.1";
constexpr const char* kEncodeLibrary = "libnvidia-encode.so.1";

// Not declared by the headers we build against; the driver exports them.
typedef CUresult CUDAAPI tcuDeviceTotalMem_v2(size_t* bytes, CUdevice dev);
typedef CUresult CUDAAPI tcuDriverGetVersion(int* version);
typedef NVENCSTATUS NVENCAPI tNvEncodeAPICreateInstance(NV_ENCODE_API_FUNCTION_LIST* functionList);
typedef NVENCSTATUS NVENCAPI tNvEncodeAPIGetMaxSupportedVersion(uint32_t* version);

// The NVIDIA driver, bound late: the CUDA driver, the video library and the
// hardware encoder library, opened in that order with every import we use.
// Each open() is its own reference to the libraries; they stay mapped for
// the life of the process once loaded (a CUDA driver must not be unloaded
// after cuInit), so opening again is cheap.
struct NvidiaDriverLibraries {
  // Null when a library or one of its imports is missing.
  static std::unique_ptr<NvidiaDriverLibraries> open();

  tcuInit* cuInit = nullptr;
  tcuDeviceGetCount* cuDeviceGetCount = nullptr;
  tcuDeviceGet* cuDeviceGet = nullptr;
  tcuDeviceGetAttribute* cuDeviceGetAttribute = nullptr;
  tcuDeviceGetName* cuDeviceGetName = nullptr;
  tcuDeviceTotalMem_v2* cuDeviceTotalMem_v2 = nullptr;
  tcuDeviceComputeCapability* cuDeviceComputeCapability = nullptr;
  tcuDriverGetVersion* cuDriverGetVersion = nullptr;
  tcuCtxCreate_v2* cuCtxCreate_v2 = nullptr;
  tcuCtxPopCurrent_v2* cuCtxPopCurrent_v2 = nullptr;
  tcuCtxDestroy_v2* cuCtxDestroy_v2 = nullptr;

  // Bound so that a driver without its video library counts as absent.
  tcuvidCtxLock* cuvidCtxLock = nullptr;
  tcuvidCtxUnlock* cuvidCtxUnlock = nullptr;

  tNvEncodeAPICreateInstance* NvEncodeAPICreateInstance = nullptr;
  tNvEncodeAPIGetMaxSupportedVersion* NvEncodeAPIGetMaxSupportedVersion = nullptr;

  std::unique_ptr<void, DynamicLibraryCloser> cuda;
  std::unique_ptr<void, DynamicLibraryCloser> cuvid;
  std::unique_ptr<void, DynamicLibraryCloser> encode;
};

}  // namespace cvx
