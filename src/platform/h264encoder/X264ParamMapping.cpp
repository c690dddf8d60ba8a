#include "platform/h264encoder/X264ParamMapping.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <string>

#include "platform/h264encoder/H264ParamSummary.h"

namespace cvx {

namespace {

// A tuning field holding this value keeps what the speed preset chose.
constexpr int32_t kPresetChooses = -1;

constexpr int32_t kMaxDimension = 16384;
constexpr int32_t kMaxQuantiser = 51;  // 8-bit video
constexpr int32_t kPresetCount = 10;
constexpr int32_t kProfileCount = 3;
constexpr uint32_t kMinBitrate = 1000;

// Our tune numbers 1..7 index these; 0 is no tune.
constexpr const char* kTuneNames[] = {nullptr, "film", "animation", "grain", "stillimage", "psnr", "ssim", "fastdecode"};
constexpr int32_t kTuneCount = static_cast<int32_t>(sizeof kTuneNames / sizeof kTuneNames[0]);

static_assert(X264_RC_CQP == 0 && X264_RC_CRF == 1 && X264_RC_ABR == 2, "the summary reports the library's rate methods");
static_assert(X264_LOG_NONE == -1 && X264_LOG_DEBUG == 3, "logLevel passes through unchanged");
static_assert(X264_B_PYRAMID_NORMAL == 2 && X264_ME_TESA == 4 && X264_DIRECT_PRED_AUTO == 3,
              "bPyramid, meMethod and directMode pass through unchanged");
static_assert(X264_KEYINT_MIN_AUTO == 0 && X264_THREADS_AUTO == 0, "0 means automatic for these fields");

enum RateMode : int32_t { kRateQuantiser = 0, kRateFactor = 1, kRateAverage = 2, kRateConstant = 3 };

float hundredths(int32_t value) { return static_cast<float>(value) / 100.0f; }
int32_t toHundredths(float value) { return static_cast<int32_t>(std::lround(value * 100.0f)); }

// Bits per second in the record, kbit/s in the library; the record's rates
// are unsigned because the maximum rate is computed in unsigned 32 bits.
int kbit(int32_t bitsPerSecond) {
  return static_cast<int>((static_cast<uint32_t>(bitsPerSecond) + 500u) / 1000u);
}

int deblockOffset(int tuned, int32_t offset) { return std::clamp(tuned + offset, -6, 6); }

int32_t keyIntervalFrames(int32_t value, double frameRate) {
  if (value > 0) {
    return value;
  }
  if (value == 0) {
    return X264_KEYINT_MAX_INFINITE;
  }
  // Negative: tenths of a second at the record's frame rate.
  return std::max<int32_t>(1, static_cast<int32_t>(std::lround(-value / 10.0 * frameRate)));
}

void applyRateControl(x264_param_t& p, int32_t mode, const H264EncoderSettings& s) {
  const int maxKbps = mode == kRateConstant ? kbit(s.bitrate) : kbit(s.maxBitrate);
  switch (mode) {
    case kRateQuantiser:
      p.rc.i_rc_method = X264_RC_CQP;
      p.rc.i_qp_constant = s.quantiser;
      return;
    case kRateFactor:
      p.rc.i_rc_method = X264_RC_CRF;
      p.rc.f_rf_constant = hundredths(s.rateFactorX100);
      break;
    default:
      p.rc.i_rc_method = X264_RC_ABR;
      p.rc.i_bitrate = kbit(s.bitrate);
      break;
  }
  if (maxKbps > 0) {
    p.rc.i_vbv_max_bitrate = maxKbps;
    // Without a size the library ignores the maximum: one second at the maximum.
    p.rc.i_vbv_buffer_size = s.vbvBufferBits > 0 ? kbit(s.vbvBufferBits) : maxKbps;
  }
  if (s.vbvInitPercent > 0) {
    p.rc.f_vbv_buffer_init = hundredths(s.vbvInitPercent);
  }
}

using ApplyField = void (*)(x264_param_t& p, int32_t value, const H264EncoderSettings& s);

// One row per field of the record that means something in this build.
// `apply` null: the field is read by the step named in `meaning`.
// Fields absent from the table (spare<position>) are stored and read back
// with no effect.
struct FieldRow {
  size_t offset;
  int32_t setting;
  bool presetChooses;  // kPresetChooses keeps the speed preset's value
  ApplyField apply;
  const char* meaning;
};

#define AT(field) offsetof(H264EncoderSettings, field)
#define APPLY(body) \
  +[](x264_param_t & p, [[maybe_unused]] int32_t v, [[maybe_unused]] const H264EncoderSettings& s) { body; }

// clang-format off
constexpr FieldRow kFieldTable[] = {
  {AT(profile),              10000, false, nullptr, "profile: 0 baseline, 1 main, 2 high; applied last, it overrides B-frames, CABAC and 8x8 transform"},
  {AT(rateTolerancePercent), 10001, false, APPLY(if (v > 0) p.rc.f_rate_tolerance = hundredths(v)), "bit rate tolerance in percent, 0 the library's (100)"},
  {AT(keyIntervalMax),       10002, false, APPLY(p.i_keyint_max = keyIntervalFrames(v, s.frameRate)), "maximum key frame interval: frames; 0 none, only requested key frames; negative: tenths of a second"},
  {AT(idrOnRequest),         10003, false, nullptr, "requested key frames: 1 IDR, 0 key frame after openGop (recovery point I with an open GOP); read per picture"},
  {AT(keyIntervalMin),       10004, false, APPLY(p.i_keyint_min = v), "minimum distance of automatic key frames, 0 automatic"},
  {AT(interlaced),           10005, false, APPLY(p.b_interlaced = v != 0; p.b_tff = v == 1), "0 progressive, 1 interlaced top field first, 2 bottom field first"},
  {AT(width),                10006, false, nullptr, "picture width, even"},
  {AT(height),               10007, false, nullptr, "picture height, even"},
  {AT(frameRate),            10008, false, nullptr, "frames per second (double); also the base of negative key intervals"},
  {AT(levelIdc),             10009, false, APPLY(p.i_level_idc = v > 0 ? v : -1), "level times ten (31 = 3.1), 0 automatic"},
  {AT(speedPreset),          10010, false, nullptr, "speed preset 0 ultrafast .. 9 placebo; chooses the base of every -1 field"},
  {AT(zeroLatency),          10011, false, nullptr, "1 zero latency: no B-frames, no lookahead, sliced threads; wins over those fields"},
  {AT(tune),                 10012, false, nullptr, "0 none, 1 film, 2 animation, 3 grain, 4 stillimage, 5 psnr, 6 ssim, 7 fastdecode"},
  {AT(threads),              10013, false, APPLY(p.i_threads = v), "encoder threads, 0 automatic"},
  {AT(slicedThreads),        10014, true,  APPLY(p.b_sliced_threads = v), "1 threads share a picture by slices (no added delay), 0 threads take whole pictures"},
  {AT(lookaheadThreads),     10015, false, APPLY(p.i_lookahead_threads = v), "lookahead threads, 0 automatic"},
  {AT(sliceCount),           10016, false, APPLY(p.i_slice_count = v), "slices per picture, 0 the library's choice"},
  {AT(rateMode),             10017, false, APPLY(applyRateControl(p, v, s)), "0 constant quantiser, 1 rate factor (+VBV if maxBitrate), 2 average bit rate (+VBV if maxBitrate), 3 constant bit rate"},
  {AT(quantiser),            10018, false, nullptr, "quantiser of rate mode 0, 0..51"},
  {AT(bitrate),              10019, false, nullptr, "bits per second of rate modes 2 and 3"},
  {AT(maxBitrate),           10020, false, nullptr, "VBV maximum bits per second of rate modes 1 and 2, 0 none"},
  {AT(vbvBufferBits),        10021, false, nullptr, "VBV buffer in bits, 0 one second at the maximum rate"},
  {AT(vbvInitPercent),       10022, false, nullptr, "VBV initial fullness in percent, 0 the library's (90)"},
  {AT(rateFactorX100),       10023, false, nullptr, "rate factor of rate mode 1, hundredths"},
  {AT(qpMin),                10024, true,  APPLY(p.rc.i_qp_min = v), "smallest quantiser"},
  {AT(qpMax),                10025, true,  APPLY(p.rc.i_qp_max = v), "largest quantiser"},
  {AT(qpStep),               10026, true,  APPLY(p.rc.i_qp_step = v), "largest quantiser change between pictures"},
  {AT(ipRatioX100),          10027, true,  APPLY(p.rc.f_ip_factor = hundredths(v)), "I to P quantiser ratio, hundredths"},
  {AT(pbRatioX100),          10028, true,  APPLY(p.rc.f_pb_factor = hundredths(v)), "P to B quantiser ratio, hundredths"},
  {AT(aqMode),               10029, true,  APPLY(p.rc.i_aq_mode = v), "adaptive quantisation 0 off, 1 variance, 2 auto-variance, 3 biased"},
  {AT(aqStrengthX100),       10030, true,  APPLY(p.rc.f_aq_strength = hundredths(v)), "adaptive quantisation strength, hundredths"},
  {AT(mbTree),               10031, true,  APPLY(p.rc.b_mb_tree = v), "macroblock tree rate control"},
  {AT(rcLookahead),          10032, true,  APPLY(p.rc.i_lookahead = v), "rate control lookahead in pictures"},
  {AT(nalHrd),               10033, false, APPLY(p.i_nal_hrd = v), "HRD signalling 0 none, 1 VBR, 2 CBR (needs VBV)"},
  {AT(cabac),                10034, true,  APPLY(p.b_cabac = v), "1 CABAC, 0 CAVLC"},
  {AT(deblock),              10035, true,  APPLY(p.b_deblocking_filter = v), "in-loop deblocking filter"},
  {AT(deblockOffsets),       10036, false, APPLY(p.i_deblocking_filter_alphac0 = deblockOffset(p.i_deblocking_filter_alphac0, v)), "[0] deblocking strength, [1] threshold: added to the tune's offsets, -6..6; [2..3] spare"},
  {AT(deblockOffsets) + 4,   10036, false, APPLY(p.i_deblocking_filter_beta = deblockOffset(p.i_deblocking_filter_beta, v)), "(element 1 of 10036)"},
  {AT(transform8x8),         10037, true,  APPLY(p.analyse.b_transform_8x8 = v), "8x8 transform (high profile)"},
  {AT(vui),                  10038, true,  APPLY(p.vui.i_vidformat = v), "[0] video format, [1] full range, [2] colour primaries, [3] transfer (H.264 annex E)"},
  {AT(vui) + 4,              10038, true,  APPLY(p.vui.b_fullrange = v), "(element 1 of 10038)"},
  {AT(vui) + 8,              10038, true,  APPLY(p.vui.i_colorprim = v), "(element 2 of 10038)"},
  {AT(vui) + 12,             10038, true,  APPLY(p.vui.i_transfer = v), "(element 3 of 10038)"},
  {AT(colourMatrix),         10039, true,  APPLY(p.vui.i_colmatrix = v), "matrix coefficients (H.264 annex E)"},
  {AT(weightedPredP),        10040, true,  APPLY(p.analyse.i_weighted_pred = v), "weighted prediction of P pictures 0 off, 1 simple, 2 smart"},
  {AT(sarWidth),             10041, false, APPLY(p.vui.i_sar_width = v), "sample aspect width, 0 unset"},
  {AT(sarHeight),            10042, false, APPLY(p.vui.i_sar_height = v), "sample aspect height, 0 unset"},
  {AT(repeatHeaders),        10043, false, APPLY(p.b_repeat_headers = v), "1 parameter sets before every key frame (needed to join a live stream)"},
  {AT(logLevel),             10044, false, APPLY(p.i_log_level = v), "library log level -1 none, 0 errors, 1 warnings, 2 info, 3 debug"},
  {AT(meMethod),             10045, true,  APPLY(p.analyse.i_me_method = v), "motion search 0 diamond, 1 hexagon, 2 uneven multi-hexagon, 3 exhaustive, 4 transformed exhaustive"},
  {AT(meRange),              10046, true,  APPLY(p.analyse.i_me_range = v), "motion search range"},
  {AT(subpelRefine),         10047, true,  APPLY(p.analyse.i_subpel_refine = v), "sub-pixel refinement 0..11"},
  {AT(trellis),              10048, true,  APPLY(p.analyse.i_trellis = v), "trellis quantisation 0 off, 1 final, 2 all decisions"},
  {AT(psy),                  10049, true,  APPLY(p.analyse.b_psy = v), "psycho-visual optimisations"},
  {AT(psyRdX100),            10050, true,  APPLY(p.analyse.f_psy_rd = hundredths(v)), "psy rate distortion strength, hundredths"},
  {AT(psyTrellisX100),       10051, true,  APPLY(p.analyse.f_psy_trellis = hundredths(v)), "psy trellis strength, hundredths"},
  {AT(fastPSkip),            10052, true,  APPLY(p.analyse.b_fast_pskip = v), "early skip decision in P pictures"},
  {AT(interPartitions),      10053, true,  APPLY(p.analyse.inter = static_cast<unsigned>(v)), "inter partitions searched: bits 0x1 i4x4, 0x2 i8x8, 0x10 p8x8, 0x20 p4x4, 0x100 b8x8"},
  {AT(directMode),           10054, true,  APPLY(p.analyse.i_direct_mv_pred = v), "direct prediction 0 none, 1 spatial, 2 temporal, 3 automatic"},
  {AT(weightedBipred),       10055, true,  APPLY(p.analyse.b_weighted_bipred = v), "implicit weighting of B pictures"},
  {AT(mixedRefs),            10056, true,  APPLY(p.analyse.b_mixed_references = v), "reference per partition"},
  {AT(chromaMe),             10057, true,  APPLY(p.analyse.b_chroma_me = v), "chroma in motion search"},
  {AT(dctDecimate),          10058, true,  APPLY(p.analyse.b_dct_decimate = v), "coefficient decimation in P pictures"},
  {AT(noiseReduction),       10059, true,  APPLY(p.analyse.i_noise_reduction = v), "noise reduction strength"},
  {AT(deadzoneInter),        10060, true,  APPLY(p.analyse.i_luma_deadzone[0] = v), "inter luma dead zone"},
  {AT(deadzoneIntra),        10061, true,  APPLY(p.analyse.i_luma_deadzone[1] = v), "intra luma dead zone"},
  {AT(chromaQpOffset),       10062, false, APPLY(p.analyse.i_chroma_qp_offset = v), "chroma quantiser offset"},
  {AT(sceneCut),             10068, true,  APPLY(p.i_scenecut_threshold = v), "scene-cut detection threshold, 0 off: no key frames of the library's own on content"},
  {AT(bFrames),              10069, true,  APPLY(p.i_bframe = v), "most consecutive B-frames, 0 none"},
  {AT(bAdapt),               10070, true,  APPLY(p.i_bframe_adaptive = v), "adaptive B-frame placement 0 off, 1 fast, 2 trellis"},
  {AT(bBias),                10071, false, APPLY(p.i_bframe_bias = v), "bias towards B-frames -100..100"},
  {AT(bPyramid),             10072, true,  APPLY(p.i_bframe_pyramid = v), "B-frames as references 0 none, 1 strict, 2 normal"},
  {AT(openGop),              10073, false, APPLY(p.b_open_gop = v), "1 open GOP: key frames become recovery point I pictures; 0 closed"},
  {AT(refFrames),            10074, true,  APPLY(p.i_frame_reference = v), "reference frames 1..16"},
  {AT(constrainedIntra),     10075, false, APPLY(p.b_constrained_intra = v), "constrained intra prediction"},
  {AT(cabacInitIdc),         10076, false, APPLY(p.i_cabac_init_idc = v), "CABAC initialisation table 0..2"},
  {AT(qCompressX100),        10077, true,  APPLY(p.rc.f_qcompress = hundredths(v)), "quantiser curve compression, hundredths"},
  {AT(intraRefresh),         10098, false, APPLY(p.b_intra_refresh = v), "1 periodic intra refresh instead of key frames; 0 off"},
};
// clang-format on
#undef APPLY
#undef AT

int32_t fieldValue(const H264EncoderSettings& settings, size_t offset) {
  int32_t value = 0;
  std::memcpy(&value, reinterpret_cast<const uint8_t*>(&settings) + offset, sizeof value);
  return value;
}

void setField(H264EncoderSettings& settings, size_t offset, int32_t value) {
  std::memcpy(reinterpret_cast<uint8_t*>(&settings) + offset, &value, sizeof value);
}

int validate(const H264EncoderSettings& s, const H264Messages& messages) {
  if (s.width <= 0 || s.height <= 0 || s.width > kMaxDimension || s.height > kMaxDimension || (s.width & 1) != 0 ||
      (s.height & 1) != 0) {
    messages.error("H.264 encoder: picture size %dx%d is not positive and even", s.width, s.height);
    return kH264InvalidSize;
  }
  if (!std::isfinite(s.frameRate) || s.frameRate <= 0.0 || s.frameRate > 1000.0) {
    messages.error("H.264 encoder: frame rate %f is out of range", s.frameRate);
    return kH264InvalidFrameRate;
  }
  if (s.profile < 0 || s.profile >= kProfileCount || (s.profile == 0 && s.interlaced != 0)) {
    messages.error("H.264 encoder: profile %d does not fit (interlaced %d)", s.profile, s.interlaced);
    return kH264InvalidProfile;
  }
  if (s.speedPreset < 0 || s.speedPreset >= kPresetCount || s.tune < 0 || s.tune >= kTuneCount ||
      s.interlaced < 0 || s.interlaced > 2) {
    messages.error("H.264 encoder: preset %d, tune %d or interlace %d out of range", s.speedPreset, s.tune,
                   s.interlaced);
    return kH264InvalidChoice;
  }
  const bool rateOk = (s.rateMode == kRateQuantiser && s.quantiser >= 0 && s.quantiser <= kMaxQuantiser) ||
                      (s.rateMode == kRateFactor && s.rateFactorX100 >= 0 && s.rateFactorX100 <= kMaxQuantiser * 100) ||
                      ((s.rateMode == kRateAverage || s.rateMode == kRateConstant) &&
                       static_cast<uint32_t>(s.bitrate) >= kMinBitrate);
  if (!rateOk) {
    messages.error("H.264 encoder: rate mode %d lacks a usable quantiser, rate factor or bit rate", s.rateMode);
    return kH264InvalidRateControl;
  }
  return kH264Ok;
}

void setFrameRate(x264_param_t& p, double frameRate) {
  // NTSC-style rates are exact in 1001ths.
  const long long in1001 = std::llround(frameRate * 1001.0);
  if (in1001 % 1000 == 0 && std::fabs(in1001 / 1001.0 - frameRate) < 1e-4) {
    p.i_fps_num = static_cast<uint32_t>(in1001);
    p.i_fps_den = 1001;
  } else {
    p.i_fps_num = static_cast<uint32_t>(std::llround(frameRate * 1000.0));
    p.i_fps_den = 1000;
  }
}

std::string tuneText(const H264EncoderSettings& s) {
  std::string text = s.tune > 0 ? kTuneNames[s.tune] : "";
  if (s.zeroLatency != 0) {
    text += text.empty() ? "zerolatency" : ",zerolatency";
  }
  return text;
}

}  // namespace

int checkX264(int result, const char* operation, int failureStatus, const H264Messages& messages) {
  if (result >= 0) {
    return kH264Ok;
  }
  messages.error("H.264 encoder: %s failed (%d)", operation, result);
  return failureStatus;
}

int buildX264Params(const H264EncoderSettings& settings, const H264Messages& messages, X264Params& params) {
  params.reset();
  x264_param_t& param = params.get();
  const int valid = validate(settings, messages);
  if (valid != kH264Ok) {
    return valid;
  }
  const std::string tune = tuneText(settings);
  int status = checkX264(x264_param_default_preset(&param, x264_preset_names[settings.speedPreset],
                                                   tune.empty() ? nullptr : tune.c_str()),
                         "x264_param_default_preset", kH264LibraryRejected, messages);
  if (status != kH264Ok) {
    return status;
  }
  // We never run two passes, so the statistics file names are of no use;
  // and an encoder that refuses its parameters leaks the copies it made of
  // them, once per refusal. Without names there is nothing to copy.
  param.rc.psz_stat_out = nullptr;
  param.rc.psz_stat_in = nullptr;
  for (const FieldRow& row : kFieldTable) {
    const int32_t value = fieldValue(settings, row.offset);
    if (row.apply != nullptr && !(row.presetChooses && value == kPresetChooses)) {
      row.apply(param, value, settings);
    }
  }
  if (settings.zeroLatency != 0) {
    // Nothing may hold a picture back, whatever the fields above asked for.
    param.i_bframe = 0;
    param.rc.i_lookahead = 0;
    param.i_sync_lookahead = 0;
    param.b_sliced_threads = 1;
    param.rc.b_mb_tree = 0;
  }
  param.i_width = settings.width;
  param.i_height = settings.height;
  setFrameRate(param, settings.frameRate);
  param.i_csp = X264_CSP_I420;
  param.i_bitdepth = 8;
  // We write the delimiters ourselves and carry time stamps outside the
  // library, so its rate control must run on the frame rate alone.
  param.b_annexb = 1;
  param.b_aud = 0;
  param.b_vfr_input = 0;
  param.pf_log = &H264Messages::libraryLog;
  param.p_log_private = nullptr;
  return checkX264(x264_param_apply_profile(&param, x264_profile_names[settings.profile]), "x264_param_apply_profile",
                   kH264LibraryRejected, messages);
}

void pointX264Picture(x264_picture_t& picture, const uint8_t* plane0, int32_t stride, uint32_t width,
                      uint32_t height, uint32_t fourcc) {
  const size_t lumaBytes = static_cast<size_t>(width) * height;
  auto* luma = const_cast<uint8_t*>(plane0);  // the library reads input planes only
  picture.img.i_csp = fourcc == kFourCCYV12 ? X264_CSP_YV12 : X264_CSP_I420;
  picture.img.i_plane = 3;
  picture.img.plane[0] = luma;
  picture.img.plane[1] = luma + lumaBytes;
  picture.img.plane[2] = luma + lumaBytes + lumaBytes / 4;
  picture.img.i_stride[0] = stride;
  picture.img.i_stride[1] = stride / 2;
  picture.img.i_stride[2] = stride / 2;
}

void fillLiveDefaults(H264EncoderSettings& s, uint32_t familyProfile, uint32_t speedPreset) {
  s = H264EncoderSettings{};
  for (const FieldRow& row : kFieldTable) {
    if (row.presetChooses) {
      setField(s, row.offset, kPresetChooses);
    }
  }
  const int32_t family = static_cast<int32_t>(std::min<uint32_t>(familyProfile, kProfileCount - 1));
  s.profile = family;
  s.zeroLatency = family == 0 ? 1 : 0;
  s.speedPreset = static_cast<int32_t>(std::min<uint32_t>(speedPreset, kPresetCount - 1));
  s.frameRate = 30.0;
  s.rateTolerancePercent = 100;
  s.keyIntervalMax = -20;
  s.idrOnRequest = 1;
  s.rateMode = kRateAverage;
  s.quantiser = 23;
  s.rateFactorX100 = 2300;
  s.bitrate = 1000000;
  s.maxBitrate = 1100000;
  s.repeatHeaders = 1;
  s.logLevel = X264_LOG_WARNING;
}

int h264OutVideoDescribe(const H264EncoderSettings* settings, H264ParamSummary* summary) {
  if (settings == nullptr || summary == nullptr) {
    return kH264InvalidArgument;
  }
  const H264Messages silent;
  X264Params params;
  const int status = buildX264Params(*settings, silent, params);
  const x264_param_t& p = params.get();
  if (status != kH264Ok) {
    return status;
  }
  H264ParamSummary& o = *summary;
  o = H264ParamSummary{};
  o.width = p.i_width;
  o.height = p.i_height;
  o.fpsNum = p.i_fps_num;
  o.fpsDen = p.i_fps_den;
  o.threads = p.i_threads;
  o.slicedThreads = p.b_sliced_threads;
  o.lookaheadThreads = p.i_lookahead_threads;
  o.sliceCount = p.i_slice_count;
  o.levelIdc = p.i_level_idc;
  o.interlaced = p.b_interlaced;
  o.topFieldFirst = p.b_tff;
  o.keyIntervalMax = p.i_keyint_max;
  o.keyIntervalMin = p.i_keyint_min;
  o.sceneCut = p.i_scenecut_threshold;
  o.intraRefresh = p.b_intra_refresh;
  o.openGop = p.b_open_gop;
  o.bFrames = p.i_bframe;
  o.bAdapt = p.i_bframe_adaptive;
  o.bBias = p.i_bframe_bias;
  o.bPyramid = p.i_bframe_pyramid;
  o.refFrames = p.i_frame_reference;
  o.cabac = p.b_cabac;
  o.cabacInitIdc = p.i_cabac_init_idc;
  o.deblock = p.b_deblocking_filter;
  o.deblockAlpha = p.i_deblocking_filter_alphac0;
  o.deblockBeta = p.i_deblocking_filter_beta;
  o.transform8x8 = p.analyse.b_transform_8x8;
  o.constrainedIntra = p.b_constrained_intra;
  o.weightedPredP = p.analyse.i_weighted_pred;
  o.weightedBipred = p.analyse.b_weighted_bipred;
  o.directMode = p.analyse.i_direct_mv_pred;
  o.rateMethod = p.rc.i_rc_method;
  o.quantiser = p.rc.i_qp_constant;
  o.rateFactorX100 = toHundredths(p.rc.f_rf_constant);
  o.bitrateKbps = p.rc.i_bitrate;
  o.vbvMaxKbps = p.rc.i_vbv_max_bitrate;
  o.vbvBufferKbit = p.rc.i_vbv_buffer_size;
  o.vbvInitPercent = toHundredths(p.rc.f_vbv_buffer_init);
  o.rateTolerancePercent = toHundredths(p.rc.f_rate_tolerance);
  o.qpMin = p.rc.i_qp_min;
  o.qpMax = p.rc.i_qp_max;
  o.qpStep = p.rc.i_qp_step;
  o.ipRatioX100 = toHundredths(p.rc.f_ip_factor);
  o.pbRatioX100 = toHundredths(p.rc.f_pb_factor);
  o.qCompressX100 = toHundredths(p.rc.f_qcompress);
  o.aqMode = p.rc.i_aq_mode;
  o.aqStrengthX100 = toHundredths(p.rc.f_aq_strength);
  o.mbTree = p.rc.b_mb_tree;
  o.rcLookahead = p.rc.i_lookahead;
  o.syncLookahead = p.i_sync_lookahead;
  o.nalHrd = p.i_nal_hrd;
  o.meMethod = p.analyse.i_me_method;
  o.meRange = p.analyse.i_me_range;
  o.subpelRefine = p.analyse.i_subpel_refine;
  o.trellis = p.analyse.i_trellis;
  o.psy = p.analyse.b_psy;
  o.psyRdX100 = toHundredths(p.analyse.f_psy_rd);
  o.psyTrellisX100 = toHundredths(p.analyse.f_psy_trellis);
  o.fastPSkip = p.analyse.b_fast_pskip;
  o.interPartitions = static_cast<int32_t>(p.analyse.inter);
  o.mixedRefs = p.analyse.b_mixed_references;
  o.chromaMe = p.analyse.b_chroma_me;
  o.dctDecimate = p.analyse.b_dct_decimate;
  o.noiseReduction = p.analyse.i_noise_reduction;
  o.deadzoneInter = p.analyse.i_luma_deadzone[0];
  o.deadzoneIntra = p.analyse.i_luma_deadzone[1];
  o.chromaQpOffset = p.analyse.i_chroma_qp_offset;
  o.vidFormat = p.vui.i_vidformat;
  o.fullRange = p.vui.b_fullrange;
  o.colourPrimaries = p.vui.i_colorprim;
  o.transfer = p.vui.i_transfer;
  o.colourMatrix = p.vui.i_colmatrix;
  o.sarWidth = p.vui.i_sar_width;
  o.sarHeight = p.vui.i_sar_height;
  o.repeatHeaders = p.b_repeat_headers;
  o.logLevel = p.i_log_level;
  o.annexB = p.b_annexb;
  o.accessUnitDelimiters = p.b_aud;
  o.vfrInput = p.b_vfr_input;
  return kH264Ok;
}

}  // namespace cvx
