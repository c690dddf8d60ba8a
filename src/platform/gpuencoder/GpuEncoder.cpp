#include "platform/gpuencoder/GpuEncoder.h"

#include <chrono>
#include <cstring>
#include <new>

#include "platform/gpuencoder/AccessUnitFraming.h"
#include "platform/gpuencoder/DriverStatus.h"
#include "platform/gpuencoder/SurfaceConversion.h"

namespace cvx {

namespace {

uint32_t roundUpToEven(uint32_t v) { return v + (v & 1u); }

int framedPictureType(NV_ENC_PIC_TYPE type) {
  switch (type) {
    case NV_ENC_PIC_TYPE_I:
    case NV_ENC_PIC_TYPE_IDR:
    case NV_ENC_PIC_TYPE_INTRA_REFRESH: return kFramedI;
    case NV_ENC_PIC_TYPE_B:
    case NV_ENC_PIC_TYPE_BI: return kFramedB;
    default: return kFramedP;
  }
}

NV_ENC_PIC_STRUCT pictureStructure(int value) {
  switch (value) {
    case 1: return NV_ENC_PIC_STRUCT_FIELD_TOP_BOTTOM;
    case 2: return NV_ENC_PIC_STRUCT_FIELD_BOTTOM_TOP;
    default: return NV_ENC_PIC_STRUCT_FRAME;
  }
}

}  // namespace

std::unique_ptr<GpuEncoder> GpuEncoder::create(int& status) {
  std::unique_ptr<NvidiaDriverLibraries> driver = NvidiaDriverLibraries::open();
  if (driver == nullptr) {
    status = kNVVEFail;
    return nullptr;
  }
  if (driver->cuInit(0) != CUDA_SUCCESS) {
    status = kNVVEFail;
    return nullptr;
  }
  std::unique_ptr<GpuEncoder> encoder(new (std::nothrow) GpuEncoder(std::move(driver)));
  status = encoder != nullptr ? kNVVEOk : kNVVEOutOfMemory;
  return encoder;
}

GpuEncoder::GpuEncoder(std::unique_ptr<NvidiaDriverLibraries> bound) : driver(std::move(bound)) {
  std::size_t count = 0;
  const NVVEParameterRow* rows = nvveParameterRows(count);
  for (std::size_t i = 0; i < count; ++i) std::memcpy(values[rows[i].id], rows[i].defaults, sizeof(values[0]));
}

GpuEncoder::~GpuEncoder() { close(); }

int GpuEncoder::fail(int status, const char* what) {
  error = what;
  return status;
}

int GpuEncoder::setCodec(int codecType) {
  if (codecType != kNVVECodecH264) return fail(kNVVENotImplemented, "NVSetCodec: only H.264 is encoded");
  codec = codecType;
  return kNVVEOk;
}

int GpuEncoder::getCodec(int* codecType) {
  if (codecType == nullptr) return fail(kNVVENullPointer, "NVGetCodec: no place for the answer");
  *codecType = codec;
  return kNVVEOk;
}

int GpuEncoder::setParameter(int id, const void* value) {
  const NVVEParameterRow* row = findNVVEParameter(id);
  if (row == nullptr || row->query) return fail(kNVVEInvalidArgument, "NVSetParamValue: no such parameter");
  if (value == nullptr) return fail(kNVVENullPointer, "NVSetParamValue: no value");
  int32_t words[kNVVEMaxWords] = {};
  std::memcpy(words, value, sizeof(int32_t) * static_cast<std::size_t>(row->words));
  if (row->accepts != nullptr && !row->accepts(words)) {
    error = std::string("NVSetParamValue: value out of range for ") + row->name;
    return kNVVEInvalidArgument;
  }
  std::memcpy(values[id], words, sizeof(words));
  if (id == NVVE_FORCE_INTRA && words[0] != 0) pendingFlags |= NV_ENC_PIC_FLAG_FORCEINTRA;
  if (id == NVVE_FORCE_IDR && words[0] != 0) pendingFlags |= NV_ENC_PIC_FLAG_FORCEIDR | NV_ENC_PIC_FLAG_OUTPUT_SPSPPS;
  return kNVVEOk;
}

int GpuEncoder::getParameter(int id, void* value) {
  const NVVEParameterRow* row = findNVVEParameter(id);
  if (row == nullptr) return fail(kNVVEInvalidArgument, "NVGetParamValue: no such parameter");
  if (value == nullptr) return fail(kNVVENullPointer, "NVGetParamValue: no place for the answer");
  if (id == NVVE_GET_GPU_ATTRIBUTES) return gpuAttributes(*static_cast<NVVE_GPUAttributes*>(value));
  if (id == NVVE_GET_GPU_COUNT) {
    int count = 0;
    const int status = checkCuda(driver->cuDeviceGetCount(&count), "cuDeviceGetCount", error);
    if (status != kNVVEOk) return status;
    std::memcpy(value, &count, sizeof(count));
    return kNVVEOk;
  }
  std::memcpy(value, values[id], sizeof(int32_t) * static_cast<std::size_t>(row->words));
  return kNVVEOk;
}

int GpuEncoder::gpuAttributes(NVVE_GPUAttributes& a) {
  CUdevice device = 0;
  int status = checkCuda(driver->cuDeviceGet(&device, a.iGpuOrdinal), "cuDeviceGet", error);
  if (status != kNVVEOk) return status;
  std::size_t memory = 0;
  a.cName[0] = '\0';
  const CUresult results[] = {
      driver->cuDeviceGetName(a.cName, static_cast<int>(sizeof(a.cName)), device),
      driver->cuDeviceTotalMem_v2(&memory, device),
      driver->cuDeviceComputeCapability(&a.iMajor, &a.iMinor, device),
      driver->cuDeviceGetAttribute(&a.iClockRate, CU_DEVICE_ATTRIBUTE_CLOCK_RATE, device),
      driver->cuDeviceGetAttribute(&a.iMultiProcessorCount, CU_DEVICE_ATTRIBUTE_MULTIPROCESSOR_COUNT, device),
  };
  a.cName[sizeof(a.cName) - 1] = '\0';
  for (CUresult result : results) {
    status = checkCuda(result, "NVGetParamValue(NVVE_GET_GPU_ATTRIBUTES)", error);
    if (status != kNVVEOk) return status;
  }
  a.uiTotalGlobalMem = static_cast<unsigned int>(memory >> 20);
  a.MaxGpuOffloadLevel = kNVVEOffloadFull;
  return kNVVEOk;
}

int GpuEncoder::registerCallbacks(const NVVE_CallbackParams& table, void* user) {
  if (session != nullptr) return fail(kNVVEFail, "NVRegisterCB: the hardware encoder is running");
  callbacks = table;
  userData = user;
  return kNVVEOk;
}

int GpuEncoder::createHardwareEncoder() {
  if (session != nullptr) return fail(kNVVEFail, "NVCreateHWEncoder: already created");
  if (callbacks.pfnacquirebitstream == nullptr || callbacks.pfnreleasebitstream == nullptr) {
    return fail(kNVVEFail, "NVCreateHWEncoder: no bitstream callbacks registered");
  }
  int status = openSession();
  if (status == kNVVEOk) status = buildSetup();
  if (status == kNVVEOk) status = checkNvenc(api.nvEncInitializeEncoder(session.get(), &setup.init),
                                             "nvEncInitializeEncoder", error);
  if (status == kNVVEOk) status = createSlots();
  if (status == kNVVEOk) {
    // The only call that may throw here; what it throws reaches the caller's
    // handler, and close() undoes the rest.
    delivery = std::thread(&GpuEncoder::deliveryLoop, this);
  }
  if (status != kNVVEOk) close();
  return status;
}

int GpuEncoder::openSession() {
  CUdevice device = 0;
  int status = checkCuda(driver->cuDeviceGet(&device, values[NVVE_FORCE_GPU_SELECTION][0]), "cuDeviceGet", error);
  if (status != kNVVEOk) return status;
  CUcontext created = nullptr;
  status = checkCuda(driver->cuCtxCreate_v2(&created, 0, device), "cuCtxCreate_v2", error);
  if (status != kNVVEOk) return status;
  context = std::unique_ptr<CUctx_st, CudaContextDestroyer>(created, CudaContextDestroyer{driver->cuCtxDestroy_v2});
  // The encoder session holds the context; the calling thread keeps none.
  CUcontext popped = nullptr;
  status = checkCuda(driver->cuCtxPopCurrent_v2(&popped), "cuCtxPopCurrent_v2", error);
  if (status != kNVVEOk) return status;

  api = {};
  api.version = NV_ENCODE_API_FUNCTION_LIST_VER;
  status = checkNvenc(driver->NvEncodeAPICreateInstance(&api), "NvEncodeAPICreateInstance", error);
  if (status != kNVVEOk) return status;
  const bool complete = api.nvEncOpenEncodeSessionEx && api.nvEncGetEncodePresetConfigEx &&
                        api.nvEncInitializeEncoder && api.nvEncCreateInputBuffer && api.nvEncDestroyInputBuffer &&
                        api.nvEncCreateBitstreamBuffer && api.nvEncDestroyBitstreamBuffer &&
                        api.nvEncLockInputBuffer && api.nvEncUnlockInputBuffer && api.nvEncEncodePicture &&
                        api.nvEncLockBitstream && api.nvEncUnlockBitstream && api.nvEncGetSequenceParams &&
                        api.nvEncDestroyEncoder;
  if (!complete) return fail(kNVVENotImplemented, "NvEncodeAPICreateInstance: the driver lacks an entry we use");

  NV_ENC_OPEN_ENCODE_SESSION_EX_PARAMS open = {};
  open.version = NV_ENC_OPEN_ENCODE_SESSION_EX_PARAMS_VER;
  open.deviceType = NV_ENC_DEVICE_TYPE_CUDA;
  open.device = context.get();
  open.apiVersion = NVENCAPI_VERSION;
  void* opened = nullptr;
  status = checkNvenc(api.nvEncOpenEncodeSessionEx(&open, &opened), "nvEncOpenEncodeSessionEx", error);
  if (status != kNVVEOk) return status;
  session = std::unique_ptr<void, NvencEncoderDestroyer>(opened, NvencEncoderDestroyer{api.nvEncDestroyEncoder});
  return kNVVEOk;
}

int GpuEncoder::buildSetup() {
  NV_ENC_PRESET_CONFIG preset = {};
  preset.version = NV_ENC_PRESET_CONFIG_VER;
  preset.presetCfg.version = NV_ENC_CONFIG_VER;
  // Live streams want each picture out as soon as it is encoded.
  const int status = checkNvenc(api.nvEncGetEncodePresetConfigEx(session.get(), NV_ENC_CODEC_H264_GUID,
                                                                  NV_ENC_PRESET_P4_GUID,
                                                                  NV_ENC_TUNING_INFO_LOW_LATENCY, &preset),
                                "nvEncGetEncodePresetConfigEx", error);
  if (status != kNVVEOk) return status;
  setup = {};
  setup.config = preset.presetCfg;
  setup.config.version = NV_ENC_CONFIG_VER;
  setup.init.version = NV_ENC_INITIALIZE_PARAMS_VER;
  setup.init.encodeGUID = NV_ENC_CODEC_H264_GUID;
  setup.init.presetGUID = NV_ENC_PRESET_P4_GUID;
  setup.init.tuningInfo = NV_ENC_TUNING_INFO_LOW_LATENCY;
  setup.init.enablePTD = 1;
  setup.init.encodeConfig = &setup.config;
  std::size_t count = 0;
  const NVVEParameterRow* rows = nvveParameterRows(count);
  for (std::size_t i = 0; i < count; ++i) {
    if (rows[i].apply != nullptr) rows[i].apply(values[rows[i].id], setup);
  }
  // The delimiter is ours (AccessUnitFraming), so the hardware writes none.
  setup.config.encodeCodecConfig.h264Config.outputAUD = 0;
  if (setup.init.darWidth == 0 || setup.init.darHeight == 0) {
    setup.init.darWidth = setup.init.encodeWidth;
    setup.init.darHeight = setup.init.encodeHeight;
  }
  if (setup.inputWidth != static_cast<int>(setup.init.encodeWidth) ||
      setup.inputHeight != static_cast<int>(setup.init.encodeHeight)) {
    return fail(kNVVENotImplemented, "NVCreateHWEncoder: NVVE_IN_SIZE differs from NVVE_OUT_SIZE; nothing scales");
  }
  return kNVVEOk;
}

int GpuEncoder::createSlots() {
  surfaceWidth = roundUpToEven(setup.init.encodeWidth);
  surfaceHeight = roundUpToEven(setup.init.encodeHeight);
  // Enough slots for the reordering window, and one in delivery besides.
  slotCount = setup.config.frameIntervalP + 3;
  if (slotCount > kMaxSlots) slotCount = kMaxSlots;
  for (int i = 0; i < slotCount; ++i) {
    NV_ENC_CREATE_INPUT_BUFFER input = {};
    input.version = NV_ENC_CREATE_INPUT_BUFFER_VER;
    input.width = surfaceWidth;
    input.height = surfaceHeight;
    input.bufferFmt = NV_ENC_BUFFER_FORMAT_NV12;
    int status = checkNvenc(api.nvEncCreateInputBuffer(session.get(), &input), "nvEncCreateInputBuffer", error);
    if (status != kNVVEOk) return status;
    slots[i].input = input.inputBuffer;
    NV_ENC_CREATE_BITSTREAM_BUFFER output = {};
    output.version = NV_ENC_CREATE_BITSTREAM_BUFFER_VER;
    status = checkNvenc(api.nvEncCreateBitstreamBuffer(session.get(), &output), "nvEncCreateBitstreamBuffer",
                        error);
    if (status != kNVVEOk) return status;
    slots[i].output = output.bitstreamBuffer;
  }
  return kNVVEOk;
}

int GpuEncoder::getSequenceHeaders(unsigned char* buffer, int bufferSize, int* neededSize) {
  if (session == nullptr) return fail(kNVVEFail, "NVGetSPSPPS: no hardware encoder");
  if (buffer == nullptr || bufferSize < 0) return fail(kNVVENullPointer, "NVGetSPSPPS: no buffer");
  uint32_t written = 0;
  NV_ENC_SEQUENCE_PARAM_PAYLOAD payload = {};
  payload.version = NV_ENC_SEQUENCE_PARAM_PAYLOAD_VER;
  payload.inBufferSize = static_cast<uint32_t>(bufferSize);
  payload.spsppsBuffer = buffer;
  payload.outSPSPPSPayloadSize = &written;
  const int status = checkNvenc(api.nvEncGetSequenceParams(session.get(), &payload), "nvEncGetSequenceParams", error);
  if (neededSize != nullptr) *neededSize = static_cast<int>(written);
  return status;
}

int GpuEncoder::encodeFrame(const NVVE_EncodeFrameParams& frame, uint32_t flags) {
  if (session == nullptr) return fail(kNVVEFail, "NVEncodeFrame: no hardware encoder");
  if (ended) return fail(kNVVEFail, "NVEncodeFrame: the stream has ended");
  if (frame.picBuf == nullptr) return fail(kNVVENullPointer, "NVEncodeFrame: no picture");
  if (frame.Width != setup.inputWidth || frame.Height != setup.inputHeight) {
    return fail(kNVVEInvalidArgument, "NVEncodeFrame: the frame's size is not NVVE_IN_SIZE");
  }
  if (nvveFrameBytes(frame.SurfFmt, frame.Width, frame.Pitch, frame.Height) == 0) {
    return fail(kNVVEInvalidArgument, "NVEncodeFrame: surface format or pitch does not fit the frame");
  }
  std::unique_lock<std::mutex> guard(mutex);
  const bool free = changed.wait_for(guard, std::chrono::milliseconds(kSlotWaitMilliseconds), [this] {
    return submitted - delivered < static_cast<uint64_t>(slotCount);
  });
  if (!free) return fail(kNVVEFail, "NVEncodeFrame: the hardware returned no frame slot in time");
  Slot& slot = slots[submitted % static_cast<uint64_t>(slotCount)];
  guard.unlock();
  return submit(slot, frame, flags);
}

int GpuEncoder::submit(Slot& slot, const NVVE_EncodeFrameParams& frame, uint32_t flags) {
  NV_ENC_LOCK_INPUT_BUFFER lock = {};
  lock.version = NV_ENC_LOCK_INPUT_BUFFER_VER;
  lock.inputBuffer = slot.input;
  int status = checkNvenc(api.nvEncLockInputBuffer(session.get(), &lock), "nvEncLockInputBuffer", error);
  if (status != kNVVEOk) return status;
  if (lock.bufferDataPtr == nullptr || lock.pitch < surfaceWidth) {
    api.nvEncUnlockInputBuffer(session.get(), slot.input);
    return fail(kNVVEFail, "nvEncLockInputBuffer: a surface smaller than it was created");
  }
  copyToNV12(frame, static_cast<uint8_t*>(lock.bufferDataPtr), lock.pitch, surfaceHeight);
  status = checkNvenc(api.nvEncUnlockInputBuffer(session.get(), slot.input), "nvEncUnlockInputBuffer", error);
  if (status != kNVVEOk) return status;

  NV_ENC_PIC_PARAMS picture = {};
  picture.version = NV_ENC_PIC_PARAMS_VER;
  picture.inputWidth = static_cast<uint32_t>(frame.Width);
  picture.inputHeight = static_cast<uint32_t>(frame.Height);
  picture.inputPitch = lock.pitch;
  picture.encodePicFlags = pendingFlags;
  if ((flags & kNVVEFrameForceIDR) != 0) picture.encodePicFlags |= NV_ENC_PIC_FLAG_FORCEIDR | NV_ENC_PIC_FLAG_OUTPUT_SPSPPS;
  picture.frameIdx = static_cast<uint32_t>(frameNumber);
  picture.inputTimeStamp = static_cast<uint64_t>(frameNumber);
  picture.inputBuffer = slot.input;
  picture.outputBitstream = slot.output;
  picture.bufferFmt = NV_ENC_BUFFER_FORMAT_NV12;
  picture.pictureStruct = pictureStructure(frame.PictureStruc);
  const NVENCSTATUS encoded = api.nvEncEncodePicture(session.get(), &picture);
  if (encoded != NV_ENC_SUCCESS && encoded != NV_ENC_ERR_NEED_MORE_INPUT) {
    return checkNvenc(encoded, "nvEncEncodePicture", error);
  }
  pendingFlags = 0;
  slot.frameNumber = frameNumber++;
  {
    std::lock_guard<std::mutex> guard(mutex);
    ++submitted;
    // Success means every frame submitted so far is on its way out; a frame
    // the hardware holds for reordering waits for a later one.
    if (encoded == NV_ENC_SUCCESS) ready = submitted;
  }
  changed.notify_all();
  return kNVVEOk;
}

int GpuEncoder::endStream() {
  if (session == nullptr) return fail(kNVVEFail, "NVEncodeFrame: no hardware encoder");
  if (ended) return kNVVEOk;
  ended = true;
  NV_ENC_PIC_PARAMS end = {};
  end.version = NV_ENC_PIC_PARAMS_VER;
  end.encodePicFlags = NV_ENC_PIC_FLAG_EOS;
  const int status = checkNvenc(api.nvEncEncodePicture(session.get(), &end), "nvEncEncodePicture", error);
  std::unique_lock<std::mutex> guard(mutex);
  // The end of the stream releases what the hardware held for reordering.
  ready = submitted;
  changed.notify_all();
  const bool complete = changed.wait_for(guard, std::chrono::milliseconds(kSlotWaitMilliseconds),
                                         [this] { return delivered == submitted; });
  guard.unlock();
  if (!complete) return fail(kNVVEFail, "NVEncodeFrame: the hardware did not return the last frames in time");
  return status;
}

void GpuEncoder::deliveryLoop() {
  std::unique_lock<std::mutex> guard(mutex);
  for (;;) {
    changed.wait(guard, [this] { return delivered < ready || (stopping && delivered == ready); });
    if (delivered == ready) return;
    Slot& slot = slots[delivered % static_cast<uint64_t>(slotCount)];
    const bool quiet = stopping;
    guard.unlock();
    NV_ENC_LOCK_BITSTREAM lock = {};
    lock.version = NV_ENC_LOCK_BITSTREAM_VER;
    lock.outputBitstream = slot.output;
    const bool locked = api.nvEncLockBitstream(session.get(), &lock) == NV_ENC_SUCCESS;
    if (!quiet) {
      const NVVE_BeginFrameInfo begin{slot.frameNumber, framedPictureType(lock.pictureType)};
      if (callbacks.pfnonbeginframe != nullptr) callbacks.pfnonbeginframe(&begin, userData);
      int capacity = 0;
      unsigned char* buffer = callbacks.pfnacquirebitstream(&capacity, userData);
      std::size_t written = 0;
      if (locked && buffer != nullptr && capacity > 0) {
        written = frameAccessUnit(static_cast<const uint8_t*>(lock.bitstreamBufferPtr), lock.bitstreamSizeInBytes,
                                  begin.nPicType, setup.naluFraming, buffer, static_cast<std::size_t>(capacity));
      }
      callbacks.pfnreleasebitstream(static_cast<int>(written), buffer, userData);
      const NVVE_EndFrameInfo end{begin.nFrameNumber, begin.nPicType};
      if (callbacks.pfnonendframe != nullptr) callbacks.pfnonendframe(&end, userData);
    }
    if (locked) api.nvEncUnlockBitstream(session.get(), slot.output);
    guard.lock();
    ++delivered;
    changed.notify_all();
  }
}

void GpuEncoder::close() {
  if (delivery.joinable()) {
    {
      std::lock_guard<std::mutex> guard(mutex);
      stopping = true;
    }
    // The end of the stream lets the hardware give up what it holds for
    // reordering, so the delivery thread can unlock every slot and end.
    if (!ended) {
      NV_ENC_PIC_PARAMS end = {};
      end.version = NV_ENC_PIC_PARAMS_VER;
      end.encodePicFlags = NV_ENC_PIC_FLAG_EOS;
      api.nvEncEncodePicture(session.get(), &end);
    }
    {
      std::lock_guard<std::mutex> guard(mutex);
      ready = submitted;
    }
    changed.notify_all();
    delivery.join();
  }
  for (int i = 0; i < slotCount; ++i) {
    if (slots[i].input != nullptr) api.nvEncDestroyInputBuffer(session.get(), slots[i].input);
    if (slots[i].output != nullptr) api.nvEncDestroyBitstreamBuffer(session.get(), slots[i].output);
    slots[i] = Slot{};
  }
  slotCount = 0;
  session.reset();
  context.reset();
}

}  // namespace cvx
