#include "platform/gpuencoder/NvidiaDriverLibraries.h"

#include <dlfcn.h>

#include <cstdlib>
#include <new>
#include <string>

namespace cvx {

namespace {

std::unique_ptr<void, DynamicLibraryCloser> openLibrary(const char* name) {
  std::string path;
  const char* dir = std::getenv(kNvidiaDriverDirVariable);
  if (dir != nullptr && dir[0] != '\0') path = std::string(dir) + "/";
  path += name;
  return std::unique_ptr<void, DynamicLibraryCloser>(dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE));
}

template <class Function>
bool bind(void* library, const char* name, Function*& slot) {
  slot = reinterpret_cast<Function*>(dlsym(library, name));
  return slot != nullptr;
}

bool bindCuda(NvidiaDriverLibraries& d) {
  void* l = d.cuda.get();
  return bind(l, "cuInit", d.cuInit) && bind(l, "cuDeviceGetCount", d.cuDeviceGetCount) &&
         bind(l, "cuDeviceGet", d.cuDeviceGet) && bind(l, "cuDeviceGetAttribute", d.cuDeviceGetAttribute) &&
         bind(l, "cuDeviceGetName", d.cuDeviceGetName) && bind(l, "cuDeviceTotalMem_v2", d.cuDeviceTotalMem_v2) &&
         bind(l, "cuDeviceComputeCapability", d.cuDeviceComputeCapability) &&
         bind(l, "cuDriverGetVersion", d.cuDriverGetVersion) && bind(l, "cuCtxCreate_v2", d.cuCtxCreate_v2) &&
         bind(l, "cuCtxPopCurrent_v2", d.cuCtxPopCurrent_v2) && bind(l, "cuCtxDestroy_v2", d.cuCtxDestroy_v2);
}

bool bindCuvid(NvidiaDriverLibraries& d) {
  void* l = d.cuvid.get();
  return bind(l, "cuvidCtxLock", d.cuvidCtxLock) && bind(l, "cuvidCtxUnlock", d.cuvidCtxUnlock);
}

bool bindEncode(NvidiaDriverLibraries& d) {
  void* l = d.encode.get();
  return bind(l, "NvEncodeAPICreateInstance", d.NvEncodeAPICreateInstance) &&
         bind(l, "NvEncodeAPIGetMaxSupportedVersion", d.NvEncodeAPIGetMaxSupportedVersion);
}

}  // namespace

std::unique_ptr<NvidiaDriverLibraries> NvidiaDriverLibraries::open() {
  std::unique_ptr<NvidiaDriverLibraries> d(new (std::nothrow) NvidiaDriverLibraries());
  if (d == nullptr) return nullptr;
  // In order, each bound whole before the next is opened: a later library
  // is never touched when an earlier one is missing.
  d->cuda = openLibrary(kCudaLibrary);
  if (d->cuda == nullptr || !bindCuda(*d)) return nullptr;
  d->cuvid = openLibrary(kCuvidLibrary);
  if (d->cuvid == nullptr || !bindCuvid(*d)) return nullptr;
  d->encode = openLibrary(kEncodeLibrary);
  if (d->encode == nullptr || !bindEncode(*d)) return nullptr;
  return d;
}

}  // namespace cvx
