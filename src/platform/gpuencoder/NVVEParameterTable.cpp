#include "platform/gpuencoder/NVVEParameterTable.h"

#include "platform/gpuencoder/NvCuvEnc.h"

namespace cvx {

namespace {

constexpr int32_t kNoIdrPeriod = 0x7fffffff;  // key frames only when asked for
constexpr int kMaxPInterval = 5;              // up to four B-frames between P-frames

bool inRange(int32_t v, int32_t low, int32_t high) { return v >= low && v <= high; }
bool flag(const int32_t* v) { return inRange(v[0], 0, 1); }
bool qp(const int32_t* v) { return inRange(v[0], 0, 51); }
bool size(const int32_t* v) { return inRange(v[0], 1, 8192) && inRange(v[1], 1, 8192); }

NV_ENC_CONFIG_H264& h264(EncoderSetup& s) { return s.config.encodeCodecConfig.h264Config; }

// Profile in the low byte, level in the next: 0xFF picks the level.
bool profileLevel(const int32_t* v) {
  const int profile = v[0] & 0xFF;
  const int level = (v[0] >> 8) & 0xFF;
  return (profile == 66 || profile == 77 || profile == 100) && (level == 0xFF || inRange(level, 9, 52)) &&
         (v[0] >> 16) == 0;
}

void applyProfileLevel(const int32_t* v, EncoderSetup& s) {
  const int profile = v[0] & 0xFF;
  const int level = (v[0] >> 8) & 0xFF;
  s.config.profileGUID = profile == 66   ? NV_ENC_H264_PROFILE_BASELINE_GUID
                         : profile == 77 ? NV_ENC_H264_PROFILE_MAIN_GUID
                                         : NV_ENC_H264_PROFILE_HIGH_GUID;
  h264(s).level = level == 0xFF ? static_cast<uint32_t>(NV_ENC_LEVEL_AUTOSELECT) : static_cast<uint32_t>(level);
}

// 0 constant QP, 1 variable rate, 2 constant rate, 3 variable rate that
// keeps the QP levels as its floor.
void applyRateControl(const int32_t* v, EncoderSetup& s) {
  NV_ENC_RC_PARAMS& rc = s.config.rcParams;
  rc.rateControlMode = v[0] == 0 ? NV_ENC_PARAMS_RC_CONSTQP : v[0] == 2 ? NV_ENC_PARAMS_RC_CBR : NV_ENC_PARAMS_RC_VBR;
  rc.enableMinQP = v[0] == 3 ? 1 : 0;
}

void applyIdrPeriod(const int32_t* v, EncoderSetup& s) {
  const uint32_t period = v[0] == kNoIdrPeriod ? NVENC_INFINITE_GOPLENGTH : static_cast<uint32_t>(v[0]);
  s.config.gopLength = period;
  h264(s).idrPeriod = period;
}

// The frame rate comes denominator first.
void applyFrameRate(const int32_t* v, EncoderSetup& s) {
  s.init.frameRateDen = static_cast<uint32_t>(v[0]);
  s.init.frameRateNum = static_cast<uint32_t>(v[1]);
}

bool positivePair(const int32_t* v) { return v[0] > 0 && v[1] > 0; }

// 0 off, 1 on, 2 on but across slice edges.
void applyDeblock(const int32_t* v, EncoderSetup& s) {
  h264(s).disableDeblockingFilterIDC = v[0] == 0 ? 1 : v[0] == 1 ? 0 : 2;
}

constexpr NVVEParameterRow kRows[] = {
    {NVVE_OUT_SIZE, "NVVE_OUT_SIZE", 2, false, size,
     [](const int32_t* v, EncoderSetup& s) {
       s.init.encodeWidth = s.init.maxEncodeWidth = static_cast<uint32_t>(v[0]);
       s.init.encodeHeight = s.init.maxEncodeHeight = static_cast<uint32_t>(v[1]);
     },
     {0, 0, 0}},
    {NVVE_IN_SIZE, "NVVE_IN_SIZE", 2, false, size,
     [](const int32_t* v, EncoderSetup& s) {
       s.inputWidth = v[0];
       s.inputHeight = v[1];
     },
     {0, 0, 0}},
    // Width, height and a kind; as a display ratio the encoder takes any kind.
    {NVVE_ASPECT_RATIO, "NVVE_ASPECT_RATIO", 3, false, [](const int32_t* v) { return v[0] >= 0 && v[1] >= 0; },
     [](const int32_t* v, EncoderSetup& s) {
       s.init.darWidth = static_cast<uint32_t>(v[0]);
       s.init.darHeight = static_cast<uint32_t>(v[1]);
     },
     {0, 0, 0}},
    {NVVE_FIELD_ENC_MODE, "NVVE_FIELD_ENC_MODE", 1, false, [](const int32_t* v) { return inRange(v[0], 0, 3); },
     [](const int32_t* v, EncoderSetup& s) {
       s.config.frameFieldMode =
           v[0] == 0 ? NV_ENC_PARAMS_FRAME_FIELD_MODE_FRAME : NV_ENC_PARAMS_FRAME_FIELD_MODE_FIELD;
     },
     {0, 0, 0}},
    {NVVE_P_INTERVAL, "NVVE_P_INTERVAL", 1, false, [](const int32_t* v) { return inRange(v[0], 1, kMaxPInterval); },
     [](const int32_t* v, EncoderSetup& s) { s.config.frameIntervalP = v[0]; }, {1, 0, 0}},
    {NVVE_IDR_PERIOD, "NVVE_IDR_PERIOD", 1, false, [](const int32_t* v) { return v[0] >= 1; }, applyIdrPeriod,
     {72, 0, 0}},
    {NVVE_DYNAMIC_GOP, "NVVE_DYNAMIC_GOP", 1, false, flag, nullptr, {0, 0, 0}},
    {NVVE_RC_TYPE, "NVVE_RC_TYPE", 1, false, [](const int32_t* v) { return inRange(v[0], 0, 3); }, applyRateControl,
     {3, 0, 0}},
    {NVVE_AVG_BITRATE, "NVVE_AVG_BITRATE", 1, false, nullptr,
     [](const int32_t* v, EncoderSetup& s) { s.config.rcParams.averageBitRate = static_cast<uint32_t>(v[0]); },
     {0, 0, 0}},
    {NVVE_PEAK_BITRATE, "NVVE_PEAK_BITRATE", 1, false, nullptr,
     [](const int32_t* v, EncoderSetup& s) { s.config.rcParams.maxBitRate = static_cast<uint32_t>(v[0]); },
     {0, 0, 0}},
    {NVVE_QP_LEVEL_INTRA, "NVVE_QP_LEVEL_INTRA", 1, false, qp,
     [](const int32_t* v, EncoderSetup& s) {
       s.config.rcParams.constQP.qpIntra = s.config.rcParams.minQP.qpIntra = static_cast<uint32_t>(v[0]);
     },
     {25, 0, 0}},
    {NVVE_QP_LEVEL_INTER_P, "NVVE_QP_LEVEL_INTER_P", 1, false, qp,
     [](const int32_t* v, EncoderSetup& s) {
       s.config.rcParams.constQP.qpInterP = s.config.rcParams.minQP.qpInterP = static_cast<uint32_t>(v[0]);
     },
     {28, 0, 0}},
    {NVVE_QP_LEVEL_INTER_B, "NVVE_QP_LEVEL_INTER_B", 1, false, qp,
     [](const int32_t* v, EncoderSetup& s) {
       s.config.rcParams.constQP.qpInterB = s.config.rcParams.minQP.qpInterB = static_cast<uint32_t>(v[0]);
     },
     {31, 0, 0}},
    {NVVE_FRAME_RATE, "NVVE_FRAME_RATE", 2, false, positivePair, applyFrameRate, {1, 30, 0}},
    {NVVE_DEBLOCK_MODE, "NVVE_DEBLOCK_MODE", 1, false, [](const int32_t* v) { return inRange(v[0], 0, 2); },
     applyDeblock, {1, 0, 0}},
    {NVVE_PROFILE_LEVEL, "NVVE_PROFILE_LEVEL", 1, false, profileLevel, applyProfileLevel, {0xFF4D, 0, 0}},
    // The force flags act on the next frame submitted, not on the setup.
    {NVVE_FORCE_INTRA, "NVVE_FORCE_INTRA (DS)", 1, false, flag, nullptr, {0, 0, 0}},
    {NVVE_FORCE_IDR, "NVVE_FORCE_IDR   (DS)", 1, false, flag, nullptr, {0, 0, 0}},
    {NVVE_CLEAR_STAT, "NVVE_CLEAR_STAT  (DS)", 1, false, flag, nullptr, {0, 0, 0}},
    {NVVE_SET_DEINTERLACE, "NVVE_SET_DEINTERLACE", 1, false, nullptr, nullptr, {0, 0, 0}},
    {NVVE_PRESETS, "NVVE_PRESETS", 1, false, nullptr, nullptr, {-1, 0, 0}},
    // 0 lets the encoder choose: CABAC but for the baseline profile.
    {NVVE_DISABLE_CABAC, "NVVE_DISABLE_CABAC", 1, false, flag,
     [](const int32_t* v, EncoderSetup& s) {
       h264(s).entropyCodingMode =
           v[0] != 0 ? NV_ENC_H264_ENTROPY_CODING_MODE_CAVLC : NV_ENC_H264_ENTROPY_CODING_MODE_AUTOSELECT;
     },
     {0, 0, 0}},
    {NVVE_CONFIGURE_NALU_FRAMING_TYPE, "NVVE_CONFIGURE_NALU_FRAMING_TYPE", 1, false,
     [](const int32_t* v) { return v[0] == 0 || v[0] == 4; },
     [](const int32_t* v, EncoderSetup& s) { s.naluFraming = v[0]; }, {4, 0, 0}},
    {NVVE_DISABLE_SPS_PPS, "NVVE_DISABLE_SPS_PPS", 1, false, flag,
     [](const int32_t* v, EncoderSetup& s) {
       h264(s).disableSPSPPS = v[0] != 0 ? 1 : 0;
       h264(s).repeatSPSPPS = v[0] != 0 ? 0 : 1;
     },
     {0, 0, 0}},
    // The hardware always encodes in full, whatever the level asked for.
    {NVVE_GPU_OFFLOAD_LEVEL, "NVVE_GPU_OFFLOAD_LEVEL", 1, false, nullptr, nullptr, {kNVVEOffloadFull, 0, 0}},
    {NVVE_GPU_OFFLOAD_LEVEL_MAX, "NVVE_GPU_OFFLOAD_LEVEL_MAX", 1, true, nullptr, nullptr, {kNVVEOffloadFull, 0, 0}},
    {NVVE_GET_GPU_COUNT, "NVVE_GET_GPU_COUNT", 1, true, nullptr, nullptr, {0, 0, 0}},
    {NVVE_GET_GPU_ATTRIBUTES, "NVVE_GET_GPU_ATTRIBUTES", 0, true, nullptr, nullptr, {0, 0, 0}},
    // Read when the hardware encoder opens: the CUDA device it opens on.
    {NVVE_FORCE_GPU_SELECTION, "NVVE_FORCE_GPU_SELECTION", 1, false, [](const int32_t* v) { return v[0] >= 0; },
     nullptr, {0, 0, 0}},
};

constexpr bool rowsFitTheSlots() {
  for (const NVVEParameterRow& row : kRows) {
    if (row.id <= 0 || row.id >= kNVVEParameterSlots || row.words > kNVVEMaxWords) return false;
  }
  return true;
}
static_assert(rowsFitTheSlots(), "a parameter number or value past the stored slots");

}  // namespace

const NVVEParameterRow* findNVVEParameter(int id) {
  for (const NVVEParameterRow& row : kRows) {
    if (row.id == id) return &row;
  }
  return nullptr;
}

const char* nvveParameterName(int id) {
  const NVVEParameterRow* row = findNVVEParameter(id);
  return row != nullptr ? row->name : "NVVE_UNKNOWN";
}

const NVVEParameterRow* nvveParameterRows(std::size_t& count) {
  count = sizeof(kRows) / sizeof(kRows[0]);
  return kRows;
}

}  // namespace cvx
