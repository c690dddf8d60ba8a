#pragma once

#include <string>

#include <ffnvcodec/dynlink_cuda.h>
#include <ffnvcodec/nvEncodeAPI.h>

namespace cvx {

// The one place each driver library's results become ours: success gives
// kNVVEOk; a failure gives the nearest NVVEStatus and leaves "<call>: <the
// driver's words>" in `error`.
int checkCuda(CUresult result, const char* call, std::string& error);
int checkNvenc(NVENCSTATUS status, const char* call, std::string& error);

// The hardware encoder's name for a status ("NV_ENC_ERR_NO_ENCODE_DEVICE"),
// or "NVENCSTATUS <n>" for a number it does not define.
std::string nvencStatusName(NVENCSTATUS status);

}  // namespace cvx
