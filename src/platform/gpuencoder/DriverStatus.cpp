#include "platform/gpuencoder/DriverStatus.h"

#include "platform/gpuencoder/NvCuvEnc.h"

namespace cvx {

namespace {

constexpr const char* kNvencNames[] = {
    "NV_ENC_SUCCESS",
    "NV_ENC_ERR_NO_ENCODE_DEVICE",
    "NV_ENC_ERR_UNSUPPORTED_DEVICE",
    "NV_ENC_ERR_INVALID_ENCODERDEVICE",
    "NV_ENC_ERR_INVALID_DEVICE",
    "NV_ENC_ERR_DEVICE_NOT_EXIST",
    "NV_ENC_ERR_INVALID_PTR",
    "NV_ENC_ERR_INVALID_EVENT",
    "NV_ENC_ERR_INVALID_PARAM",
    "NV_ENC_ERR_INVALID_CALL",
    "NV_ENC_ERR_OUT_OF_MEMORY",
    "NV_ENC_ERR_ENCODER_NOT_INITIALIZED",
    "NV_ENC_ERR_UNSUPPORTED_PARAM",
    "NV_ENC_ERR_LOCK_BUSY",
    "NV_ENC_ERR_NOT_ENOUGH_BUFFER",
    "NV_ENC_ERR_INVALID_VERSION",
    "NV_ENC_ERR_MAP_FAILED",
    "NV_ENC_ERR_NEED_MORE_INPUT",
    "NV_ENC_ERR_ENCODER_BUSY",
    "NV_ENC_ERR_EVENT_NOT_REGISTERD",
    "NV_ENC_ERR_GENERIC",
    "NV_ENC_ERR_INCOMPATIBLE_CLIENT_KEY",
    "NV_ENC_ERR_UNIMPLEMENTED",
    "NV_ENC_ERR_RESOURCE_REGISTER_FAILED",
    "NV_ENC_ERR_RESOURCE_NOT_REGISTERED",
    "NV_ENC_ERR_RESOURCE_NOT_MAPPED",
};
static_assert(sizeof(kNvencNames) / sizeof(kNvencNames[0]) == NV_ENC_ERR_RESOURCE_NOT_MAPPED + 1,
              "one name per status the headers define");
static_assert(NV_ENC_ERR_NEED_MORE_INPUT == 17, "names follow the header's order");

}  // namespace

std::string nvencStatusName(NVENCSTATUS status) {
  const int n = static_cast<int>(status);
  if (n >= 0 && n <= NV_ENC_ERR_RESOURCE_NOT_MAPPED) return kNvencNames[n];
  return "NVENCSTATUS " + std::to_string(n);
}

int checkCuda(CUresult result, const char* call, std::string& error) {
  if (result == CUDA_SUCCESS) return kNVVEOk;
  // The headers name only a few results; the number is what a reader of
  // the driver's documentation needs.
  error = std::string(call) + ": CUresult " + std::to_string(static_cast<int>(result));
  return kNVVEFail;
}

int checkNvenc(NVENCSTATUS status, const char* call, std::string& error) {
  if (status == NV_ENC_SUCCESS) return kNVVEOk;
  error = std::string(call) + ": " + nvencStatusName(status);
  switch (status) {
    case NV_ENC_ERR_OUT_OF_MEMORY: return kNVVEOutOfMemory;
    case NV_ENC_ERR_INVALID_PTR:
    case NV_ENC_ERR_INVALID_PARAM:
    case NV_ENC_ERR_UNSUPPORTED_PARAM:
    case NV_ENC_ERR_NOT_ENOUGH_BUFFER: return kNVVEInvalidArgument;
    case NV_ENC_ERR_UNIMPLEMENTED: return kNVVENotImplemented;
    default: return kNVVEFail;
  }
}

}  // namespace cvx
