// A stand-in for the driver's video library: present, and never asked.
#include <ffnvcodec/dynlink_cuda.h>
#include <ffnvcodec/dynlink_cuviddec.h>

#define FAKE_EXPORT extern "C" __attribute__((visibility("default")))

FAKE_EXPORT CUresult cuvidCtxLock(CUvideoctxlock, unsigned int) { return CUDA_SUCCESS; }
FAKE_EXPORT CUresult cuvidCtxUnlock(CUvideoctxlock, unsigned int) { return CUDA_SUCCESS; }
