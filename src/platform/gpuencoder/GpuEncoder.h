#pragma once

#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "platform/gpuencoder/DriverHandles.h"
#include "platform/gpuencoder/NVVEParameterTable.h"
#include "platform/gpuencoder/NvCuvEnc.h"
#include "platform/gpuencoder/NvidiaDriverLibraries.h"

namespace cvx {

// What an NVEncoder handle points at: the stored parameters and, once
// created, one hardware encoder session on one CUDA context with a ring of
// frame slots (an input surface and a bitstream buffer each). The driving
// thread fills slots in order; the delivery thread locks their bitstreams in
// the same order, which blocks until the hardware is done, and hands them to
// the callbacks. Counters under `mutex` say where each slot is, taken modulo
// the ring: delivered <= ready <= submitted. A slot is free again once
// delivered; it is ready once the hardware said its frame is in (a frame
// held for B-frame reordering is submitted but not yet ready).
class GpuEncoder {
 public:
  static constexpr int kMaxSlots = 8;
  // How long NVEncodeFrame waits for a slot before it gives the frame up.
  static constexpr int kSlotWaitMilliseconds = 10000;

  // Opens the driver libraries and initialises CUDA; null with the status.
  static std::unique_ptr<GpuEncoder> create(int& status);
  ~GpuEncoder();
  GpuEncoder(const GpuEncoder&) = delete;
  GpuEncoder& operator=(const GpuEncoder&) = delete;

  int setCodec(int codecType);
  int getCodec(int* codecType);
  int setParameter(int id, const void* value);
  int getParameter(int id, void* value);
  int registerCallbacks(const NVVE_CallbackParams& table, void* user);
  int createHardwareEncoder();
  int getSequenceHeaders(unsigned char* buffer, int bufferSize, int* neededSize);
  int encodeFrame(const NVVE_EncodeFrameParams& frame, uint32_t flags);
  // Ends the stream and waits until every frame submitted is delivered.
  int endStream();
  const char* lastError() const { return error.c_str(); }

 private:
  struct Slot {
    NV_ENC_INPUT_PTR input = nullptr;
    NV_ENC_OUTPUT_PTR output = nullptr;
    int frameNumber = 0;
  };

  explicit GpuEncoder(std::unique_ptr<NvidiaDriverLibraries> driver);
  int fail(int status, const char* what);
  int gpuAttributes(NVVE_GPUAttributes& attributes);
  int openSession();
  int buildSetup();
  int createSlots();
  int submit(Slot& slot, const NVVE_EncodeFrameParams& frame, uint32_t flags);
  void deliver(Slot& slot);
  void deliveryLoop();
  // Ends delivery and releases the hardware; idempotent.
  void close();

  std::unique_ptr<NvidiaDriverLibraries> driver;
  int codec = kNVVECodecH264;
  int32_t values[kNVVEParameterSlots][kNVVEMaxWords] = {};
  NVVE_CallbackParams callbacks = {};
  void* userData = nullptr;
  std::string error;

  NV_ENCODE_API_FUNCTION_LIST api = {};
  std::unique_ptr<CUctx_st, CudaContextDestroyer> context;
  std::unique_ptr<void, NvencEncoderDestroyer> session;
  EncoderSetup setup = {};
  uint32_t surfaceWidth = 0;   // the input surfaces, rounded up to even
  uint32_t surfaceHeight = 0;
  Slot slots[kMaxSlots];
  int slotCount = 0;
  int frameNumber = 0;
  uint32_t pendingFlags = 0;  // force flags waiting for the next frame

  std::mutex mutex;
  std::condition_variable changed;
  uint64_t submitted = 0;
  uint64_t ready = 0;
  uint64_t delivered = 0;
  bool stopping = false;
  bool ended = false;  // endStream ran: the hardware has had its end of stream
  std::thread delivery;
};

}  // namespace cvx
