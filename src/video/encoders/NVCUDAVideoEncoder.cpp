#include "video/encoders/NVCUDAVideoEncoder.h"

#include <new>
#include <string>

#include "hardware/NVidiaCUDAUtils.h"
#include "logging/LogCollector.h"
#include "logging/StdoutLine.h"

namespace cvx {

namespace {

// Surface formats by number: their names and bits per pixel.
struct SurfaceFormat {
  const char* name;
  uint32_t bitsPerPixel;
};
constexpr SurfaceFormat kSurfaceFormats[] = {
    {"UYVY 4:2:2", 16}, {"YUY2 4:2:2", 16}, {"YV12 4:2:0", 12}, {"NV12 4:2:0", 12}, {"IYUV 4:2:0", 12},
};
static_assert(sizeof(kSurfaceFormats) / sizeof(kSurfaceFormats[0]) == kNVVESurfaceIYUV + 1,
              "one row per surface format");

// Where each parameter of phase two lives in the record.
void* fieldAddress(NVCUDAEncoderParams& p, int parameter) {
  switch (parameter) {
    case NVVE_OUT_SIZE: return p.outputSize;
    case NVVE_IN_SIZE: return p.inputSize;
    case NVVE_ASPECT_RATIO: return p.aspectRatio;
    case NVVE_FIELD_ENC_MODE: return &p.fieldEncMode;
    case NVVE_P_INTERVAL: return &p.pInterval;
    case NVVE_IDR_PERIOD: return &p.idrPeriod;
    case NVVE_DYNAMIC_GOP: return &p.dynamicGOP;
    case NVVE_RC_TYPE: return &p.rcType;
    case NVVE_AVG_BITRATE: return &p.avgBitrate;
    case NVVE_PEAK_BITRATE: return &p.peakBitrate;
    case NVVE_QP_LEVEL_INTRA: return &p.qpIntra;
    case NVVE_QP_LEVEL_INTER_P: return &p.qpInterP;
    case NVVE_QP_LEVEL_INTER_B: return &p.qpInterB;
    case NVVE_FRAME_RATE: return p.frameRate;
    case NVVE_DEBLOCK_MODE: return &p.deblockMode;
    case NVVE_PROFILE_LEVEL: return &p.profileLevel;
    case NVVE_FORCE_INTRA: return &p.forceIntra;
    case NVVE_FORCE_IDR: return &p.forceIDR;
    case NVVE_CLEAR_STAT: return &p.clearStat;
    case NVVE_SET_DEINTERLACE: return &p.setDeinterlace;
    case NVVE_PRESETS: return &p.presets;
    case NVVE_DISABLE_CABAC: return &p.disableCABAC;
    case NVVE_CONFIGURE_NALU_FRAMING_TYPE: return &p.naluFramingType;
    case NVVE_DISABLE_SPS_PPS: return &p.disableSPSPPS;
    default: return nullptr;
  }
}

// The pushes of phase two, in order; presets only when set.
constexpr int kPushOrder[] = {
    NVVE_OUT_SIZE,        NVVE_IN_SIZE,         NVVE_ASPECT_RATIO,   NVVE_FIELD_ENC_MODE,
    NVVE_P_INTERVAL,      NVVE_IDR_PERIOD,      NVVE_DYNAMIC_GOP,    NVVE_RC_TYPE,
    NVVE_AVG_BITRATE,     NVVE_PEAK_BITRATE,    NVVE_QP_LEVEL_INTRA, NVVE_QP_LEVEL_INTER_P,
    NVVE_QP_LEVEL_INTER_B, NVVE_FRAME_RATE,     NVVE_DEBLOCK_MODE,   NVVE_PROFILE_LEVEL,
    NVVE_FORCE_INTRA,     NVVE_FORCE_IDR,       NVVE_CLEAR_STAT,     NVVE_SET_DEINTERLACE,
    NVVE_PRESETS,         NVVE_DISABLE_CABAC,   NVVE_CONFIGURE_NALU_FRAMING_TYPE, NVVE_DISABLE_SPS_PPS,
};

}  // namespace

int mapSMtoCores(int major, int minor) {
  const int cores = NVidiaCUDAUtils::nGpuArchCoresPerSM(major, minor);
  if (cores == -1) {
    const std::string version = std::to_string(major) + "." + std::to_string(minor) + "!";
    writeStdoutLine("MapSMtoCores undefined SMversion ", version.c_str());
  }
  return cores;
}

NVCUDAVideoEncoder::NVCUDAVideoEncoder(NVCUDAEncoderParams& borrowed) : params(borrowed) {}

NVCUDAVideoEncoder::~NVCUDAVideoEncoder() = default;

void NVCUDAVideoEncoder::setLogger(ILogger* value, uint32_t id) {
  logger = value;
  contextId = id;
}

void NVCUDAVideoEncoder::logInfo(const char* text) {
  loggerOrDefault(logger)->logLevel2(kLogContextVideoEncoder, static_cast<int>(contextId), text);
}

void NVCUDAVideoEncoder::logError(const char* text) {
  loggerOrDefault(logger)->logLevel3(kLogContextVideoEncoder, static_cast<int>(contextId), text);
}

bool NVCUDAVideoEncoder::InitEncoder() {
  NVEncoder created = nullptr;
  const int status = handle == nullptr ? NVCreateEncoder(&created) : kNVVEFail;
  if (created != nullptr) handle.reset(created);
  if (status < 0 || handle == nullptr) {
    logError("NVCUDAVideoEncoder.InitEncoder[{context}]: NVCreateEncoder failed");
    return false;
  }
  SetCodecType();
  SelectGPU();
  bitstreamBuffer.reset(new (std::nothrow) unsigned char[kBitstreamBufferSize]);
  if (bitstreamBuffer == nullptr) {
    logError("NVCUDAVideoEncoder.InitEncoder[{context}]: no memory for the bitstream buffer");
    return false;
  }
  return true;
}

bool NVCUDAVideoEncoder::SetCodecType() {
  if (NVSetCodec(handle.get(), params.codecType) != 0) {
    logError("NVCUDAVideoEncoder.SetCodecType[{context}]: SetCodecType FAIL");
    return false;
  }
  return true;
}

void NVCUDAVideoEncoder::SelectGPU() {
  int count = 0;
  if (NVGetParamValue(handle.get(), NVVE_GET_GPU_COUNT, &count) != 0) count = 0;
  params.gpuCount = count;
  int64_t bestPerformance = 0;
  int bestGPU = 0;
  for (int gpu = 0; gpu < count; ++gpu) {
    NVVE_GPUAttributes attributes = {};
    attributes.iGpuOrdinal = gpu;
    if (NVGetParamValue(handle.get(), NVVE_GET_GPU_ATTRIBUTES, &attributes) != 0) continue;
    params.gpuOffloadLevelCurrent = attributes.MaxGpuOffloadLevel;
    const int64_t performance = int64_t{attributes.iClockRate} * attributes.iMultiProcessorCount *
                                mapSMtoCores(attributes.iMajor, attributes.iMinor);
    // Strictly above: the lowest number wins a tie.
    if (performance > bestPerformance) {
      bestPerformance = performance;
      bestGPU = gpu;
    }
  }
  if (params.forceGPUSelection == 0) params.selectedGPU = bestGPU;
  int32_t selected = params.selectedGPU;
  NVSetParamValue(handle.get(), NVVE_FORCE_GPU_SELECTION, &selected);
}

bool NVCUDAVideoEncoder::SetEncodeParameters() {
  // Without an encoder the first phase has said so already.
  if (handle == nullptr) return false;
  const int32_t format = params.surfaceFormat;
  const uint32_t bits = format >= 0 && format <= kNVVESurfaceIYUV ? kSurfaceFormats[format].bitsPerPixel : 0;
  frameBytes = static_cast<uint32_t>(uint64_t{static_cast<uint32_t>(params.inputSize[0])} *
                                     static_cast<uint32_t>(params.inputSize[1]) * bits / 8);
  SetGPUOffloadLevel();
  for (int parameter : kPushOrder) {
    if (parameter == NVVE_PRESETS && params.presets == -1) continue;
    if (NVSetParamValue(handle.get(), parameter, fieldAddress(params, parameter)) != 0) {
      logError((std::string("NVCUDAVideoEncoder.SetEncodeParameters[{context}]: NVSetParamValue failed: ") +
                nvveParameterName(parameter))
                   .c_str());
      return false;
    }
  }
  return true;
}

void NVCUDAVideoEncoder::SetGPUOffloadLevel() {
  int32_t maximum = kNVVEOffloadDefault;
  NVGetParamValue(handle.get(), NVVE_GPU_OFFLOAD_LEVEL_MAX, &maximum);
  if (params.gpuOffloadLevel > maximum) {
    params.gpuOffloadLevel = maximum;
    switch (maximum) {
      case kNVVEOffloadDefault:
        logInfo("NVCUDAVideoEncoder.SetGPUOffloadLevel[{context}]: Offload Default (CPU: PEL Processing)");
        break;
      case kNVVEOffloadEstimators:
        logInfo("NVCUDAVideoEncoder.SetGPUOffloadLevel[{context}]: Offload Motion Estimators");
        break;
      case kNVVEOffloadFull:
        logInfo("NVCUDAVideoEncoder.SetGPUOffloadLevel[{context}]: Offload Full Encode");
        break;
      default:
        break;
    }
  }
  int32_t level = params.gpuOffloadLevel;
  NVSetParamValue(handle.get(), NVVE_GPU_OFFLOAD_LEVEL, &level);
}

bool NVCUDAVideoEncoder::RegisterCallbacks(const NVVE_CallbackParams& table, void* userData) {
  callbacks = table;
  return handle != nullptr && NVRegisterCB(handle.get(), callbacks, userData) == 0;
}

bool NVCUDAVideoEncoder::CreateHWEncoder() {
  if (handle == nullptr) return false;
  if (NVCreateHWEncoder(handle.get()) < 0) {
    logError("NVCUDAVideoEncoder.InitEncoder[{context}]: NVCreateHWEncoder failed");
    // The driver's own words, for whoever has to fix the machine.
    const std::string detail = lastErrorText();
    if (!detail.empty()) logError(("NVCUDAVideoEncoder.InitEncoder[{context}]: " + detail).c_str());
    return false;
  }
  // Only asks that the call works; the headers themselves travel in-band.
  unsigned char headers[10];
  int size = 0;
  NVGetSPSPPS(handle.get(), headers, sizeof(headers), &size);
  started = true;
  return true;
}

int NVCUDAVideoEncoder::EncodeFrame(NVVE_EncodeFrameParams& frame, uint32_t flags) {
  const int status = NVEncodeFrame(handle.get(), &frame, flags, clientData);
  ++frameCount;
  return status;
}

int NVCUDAVideoEncoder::EndStream() {
  NVVE_EncodeFrameParams last = {};
  last.bLast = 1;
  return NVEncodeFrame(handle.get(), &last, 0, clientData);
}

}  // namespace cvx
