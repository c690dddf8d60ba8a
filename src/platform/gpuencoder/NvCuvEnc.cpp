#include "platform/gpuencoder/NvCuvEnc.h"

#include "platform/gpuencoder/GpuEncoder.h"

namespace cvx {

namespace {

GpuEncoder* encoderOf(NVEncoder handle) { return static_cast<GpuEncoder*>(handle); }

}  // namespace

int NVCreateEncoder(NVEncoder* handle) {
  if (handle == nullptr) return kNVVENullPointer;
  int status = kNVVEOk;
  *handle = GpuEncoder::create(status).release();
  return status;
}

int NVDestroyEncoder(NVEncoder handle) {
  // The handle is the encoder's one owner from NVCreateEncoder on.
  std::unique_ptr<GpuEncoder> owned(encoderOf(handle));
  return kNVVEOk;
}

int NVSetCodec(NVEncoder handle, int codecType) {
  return handle != nullptr ? encoderOf(handle)->setCodec(codecType) : kNVVENullPointer;
}

int NVGetCodec(NVEncoder handle, int* codecType) {
  return handle != nullptr ? encoderOf(handle)->getCodec(codecType) : kNVVENullPointer;
}

int NVSetParamValue(NVEncoder handle, int parameter, void* value) {
  return handle != nullptr ? encoderOf(handle)->setParameter(parameter, value) : kNVVENullPointer;
}

int NVGetParamValue(NVEncoder handle, int parameter, void* value) {
  return handle != nullptr ? encoderOf(handle)->getParameter(parameter, value) : kNVVENullPointer;
}

int NVRegisterCB(NVEncoder handle, NVVE_CallbackParams callbacks, void* userData) {
  return handle != nullptr ? encoderOf(handle)->registerCallbacks(callbacks, userData) : kNVVENullPointer;
}

int NVCreateHWEncoder(NVEncoder handle) {
  return handle != nullptr ? encoderOf(handle)->createHardwareEncoder() : kNVVENullPointer;
}

int NVGetSPSPPS(NVEncoder handle, unsigned char* buffer, int bufferSize, int* neededSize) {
  return handle != nullptr ? encoderOf(handle)->getSequenceHeaders(buffer, bufferSize, neededSize)
                           : kNVVENullPointer;
}

int NVEncodeFrame(NVEncoder handle, NVVE_EncodeFrameParams* frame, uint32_t flags, void*) {
  if (handle == nullptr || frame == nullptr) return kNVVENullPointer;
  if (frame->bLast != 0 && frame->picBuf == nullptr) return encoderOf(handle)->endStream();
  return encoderOf(handle)->encodeFrame(*frame, flags);
}

const char* NVGetLastErrorText(NVEncoder handle) { return handle != nullptr ? encoderOf(handle)->lastError() : ""; }

}  // namespace cvx
