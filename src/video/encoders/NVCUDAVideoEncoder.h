#pragma once

#include <cstdint>
#include <memory>

#include "platform/gpuencoder/NvCuvEnc.h"
#include "video/encoders/VideoEncoderSettingsNVidiaCUDA.h"

namespace cvx {

class ILogger;

// The GPU encoder library as the CUDA H.264 encoder uses it: creates the
// encoder, picks the GPU, pushes the parameter record, and submits frames.
// Each phase logs its own failure; later phases still run and fail cleanly
// on a half-made encoder.
class NVCUDAVideoEncoder {
 public:
  static constexpr int kBitstreamBufferSize = 0x100000;

  // `params` is borrowed from the owning encoder and outlives this object.
  explicit NVCUDAVideoEncoder(NVCUDAEncoderParams& params);
  // Destroys the library's encoder (its delivery thread ends first).
  ~NVCUDAVideoEncoder();
  NVCUDAVideoEncoder(const NVCUDAVideoEncoder&) = delete;
  NVCUDAVideoEncoder& operator=(const NVCUDAVideoEncoder&) = delete;

  void setLogger(ILogger* logger, uint32_t contextId);

  // Phase one: create, codec, best GPU, bitstream buffer.
  bool InitEncoder();
  // Phase two: offload level, then every parameter in order until one fails.
  bool SetEncodeParameters();
  bool RegisterCallbacks(const NVVE_CallbackParams& callbacks, void* userData);
  // Phase three: the hardware encoder.
  bool CreateHWEncoder();
  // Returns the library's status.
  int EncodeFrame(NVVE_EncodeFrameParams& frame, uint32_t flags);
  // The end of the stream: returns once every frame submitted came back
  // through the callbacks; the library's status.
  int EndStream();

  // The block the library writes each frame into, kBitstreamBufferSize bytes.
  unsigned char* getBitstreamBuffer() { return bitstreamBuffer.get(); }
  // Bytes a frame of the configured size and surface format holds at its
  // tightest pitch.
  uint32_t getFrameBytes() const { return frameBytes; }
  uint32_t getFrameCount() const { return frameCount; }
  // The hardware encoder exists: frames can be submitted.
  bool isStarted() const { return started; }
  const char* lastErrorText() const { return NVGetLastErrorText(handle.get()); }

 private:
  bool SetCodecType();
  void SelectGPU();
  void SetGPUOffloadLevel();
  void logInfo(const char* text);
  void logError(const char* text);

  NVEncoderPtr handle;
  void* clientData = nullptr;
  std::unique_ptr<unsigned char[]> bitstreamBuffer;
  uint32_t frameBytes = 0;
  bool started = false;
  uint32_t frameCount = 0;
  NVCUDAEncoderParams& params;
  NVVE_CallbackParams callbacks = {};
  ILogger* logger = nullptr;
  uint32_t contextId = 0;
};

// Cores per multiprocessor for the best-GPU rule; an SM version the table
// lacks prints "MapSMtoCores undefined SMversion <major>.<minor>!" on
// standard output and gives -1.
int mapSMtoCores(int major, int minor);

}  // namespace cvx
