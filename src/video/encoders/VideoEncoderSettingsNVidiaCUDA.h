#pragma once

#include <cstdint>

namespace cvx {

// The CUDA encoder's parameter record, in the order the host's settings
// 30000..30040 number it. Each bracket names the encoder parameter a field
// is pushed to.
struct NVCUDAEncoderParams {
  int32_t word0;
  int32_t word1;
  int32_t forceGPUSelection;  // 1: gpuId rules over the best-GPU rule
  int32_t surfaceFormat;      // NVVESurfaceFormat
  int32_t pictureStructure;
  int32_t deviceMemPitch;
  int32_t codecType;  // to NVSetCodec
  int32_t gpuCount;   // from NVVE_GET_GPU_COUNT
  int32_t word8;
  int32_t deviceMemoryInput;
  int32_t selectedGPU;        // [NVVE_FORCE_GPU_SELECTION]
  int32_t outputSize[2];      // [NVVE_OUT_SIZE]
  int32_t inputSize[2];       // [NVVE_IN_SIZE]
  float aspectFloat;          // setting 30013 only
  int32_t aspectRatio[3];     // [NVVE_ASPECT_RATIO]
  int32_t fieldEncMode;       // [NVVE_FIELD_ENC_MODE]
  int32_t pInterval;          // [NVVE_P_INTERVAL]
  int32_t idrPeriod;          // [NVVE_IDR_PERIOD]
  int32_t dynamicGOP;         // [NVVE_DYNAMIC_GOP]
  int32_t rcType;             // [NVVE_RC_TYPE]
  int32_t avgBitrate;         // [NVVE_AVG_BITRATE]
  int32_t peakBitrate;        // [NVVE_PEAK_BITRATE]
  int32_t qpIntra;            // [NVVE_QP_LEVEL_INTRA]
  int32_t qpInterP;           // [NVVE_QP_LEVEL_INTER_P]
  int32_t qpInterB;           // [NVVE_QP_LEVEL_INTER_B]
  int32_t frameRate[2];       // denominator, numerator [NVVE_FRAME_RATE]
  int32_t deblockMode;        // [NVVE_DEBLOCK_MODE]
  int32_t profileLevel;       // [NVVE_PROFILE_LEVEL]
  int32_t forceIntra;         // [NVVE_FORCE_INTRA (DS)]
  int32_t forceIDR;           // [NVVE_FORCE_IDR   (DS)]
  int32_t clearStat;          // [NVVE_CLEAR_STAT  (DS)]
  int32_t setDeinterlace;     // [NVVE_SET_DEINTERLACE]
  int32_t presets;            // [NVVE_PRESETS], pushed only when not -1
  int32_t disableCABAC;       // [NVVE_DISABLE_CABAC]
  int32_t naluFramingType;    // [NVVE_CONFIGURE_NALU_FRAMING_TYPE]
  int32_t disableSPSPPS;      // [NVVE_DISABLE_SPS_PPS]
  int32_t gpuOffloadLevel;    // [NVVE_GPU_OFFLOAD_LEVEL]
  int32_t gpuOffloadLevelCurrent;  // written by the GPU attribute query
  int32_t furtherWords[3];
};

// Settings 30000..30040 over the record: longs are cut to 32 bits when
// written and widened with sign when read; arrays take at most their field's
// element count, keeping the low 32 bits of each; 30013 is a double held as a
// float. Reading an array gives nothing (count 0), as for every encoder.
// Numbers outside the table are ignored.
class VideoEncoderSettingsNVidiaCUDA {
 public:
  static constexpr uint32_t kFirstSetting = 30000;
  static constexpr uint32_t kLastSetting = 30040;

  NVCUDAEncoderParams params = {};

  int setLong(uint32_t settingIndex, int64_t value);
  int setDouble(uint32_t settingIndex, double value);
  int setLongArray(uint32_t settingIndex, const int64_t* values, uint32_t count);
  int getType(uint32_t settingIndex, uint32_t* arrayLength) const;
  int getLong(uint32_t settingIndex, int64_t* value) const;
  int getDouble(uint32_t settingIndex, double* value) const;
  int getLongArray(uint32_t settingIndex, int64_t* values, uint32_t* count) const;
};

}  // namespace cvx
