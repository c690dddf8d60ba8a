#pragma once

#include <dlfcn.h>

#include <ffnvcodec/dynlink_cuda.h>
#include <ffnvcodec/nvEncodeAPI.h>

namespace cvx {

// Deleters of the driver's handles. Each needs the bound function it frees
// with, so the encoder ones carry it.

struct DynamicLibraryCloser {
  void operator()(void* library) const {
    if (library != nullptr) dlclose(library);
  }
};

struct CudaContextDestroyer {
  tcuCtxDestroy_v2* destroy = nullptr;
  void operator()(CUctx_st* context) const {
    if (context != nullptr && destroy != nullptr) destroy(context);
  }
};

struct NvencEncoderDestroyer {
  PNVENCDESTROYENCODER destroy = nullptr;
  void operator()(void* encoder) const {
    if (encoder != nullptr && destroy != nullptr) destroy(encoder);
  }
};

}  // namespace cvx
