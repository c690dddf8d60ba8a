// A stand-in for the driver's hardware encoder library: the encode API's
// entries over x264, encoding on a "GPU" thread of its own so that bitstream
// locks really wait. It checks what a real driver checks (structure
// versions, sizes, buffer ownership), traces the configuration it was given,
// and fails any call the test's script names.
#include <algorithm>
#include <condition_variable>
#include <cstdint>
#include <cstring>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <ffnvcodec/nvEncodeAPI.h>

extern "C" {
#include <x264.h>
}

#include "FakeDriverScript.h"

#define FAKE_EXPORT extern "C" __attribute__((visibility("default")))

namespace {

bool same(const GUID& a, const GUID& b) { return std::memcmp(&a, &b, sizeof(GUID)) == 0; }

struct InputBuffer {
  uint32_t width = 0;
  uint32_t height = 0;
  uint32_t pitch = 0;
  std::vector<uint8_t> data;  // NV12: luma rows, then chroma rows
  bool locked = false;
};

struct Bitstream {
  std::vector<uint8_t> data;
  NV_ENC_PIC_TYPE type = NV_ENC_PIC_TYPE_P;
  uint64_t timeStamp = 0;
  bool done = false;
  bool pending = false;
};

struct Job {
  InputBuffer* input;
  Bitstream* output;
  uint32_t flags;
  uint64_t timeStamp;
};

struct Session {
  std::shared_ptr<const fakenv::Script> script;
  std::map<std::string, int> counts;
  x264_t* x264 = nullptr;
  x264_param_t param{};
  uint32_t width = 0;
  uint32_t height = 0;
  std::vector<std::unique_ptr<InputBuffer>> inputs;
  std::vector<std::unique_ptr<Bitstream>> outputs;

  std::mutex mutex;
  std::condition_variable changed;
  std::deque<Job> jobs;
  bool stopping = false;
  std::thread gpu;

  bool fails(const char* call) {
    const int time = ++counts[call];
    fakenv::trace(call);
    return script->fails(call, time);
  }
  template <typename Buffers>
  static auto find(Buffers& buffers, const void* p) {
    return std::find_if(buffers.begin(), buffers.end(), [p](const auto& b) { return b.get() == p; });
  }
  bool owns(const void* p) { return find(inputs, p) != inputs.end() || find(outputs, p) != outputs.end(); }
  void encode(const Job& job);
  void run();
};

void Session::encode(const Job& job) {
  x264_picture_t in;
  x264_picture_init(&in);
  in.img.i_csp = X264_CSP_NV12;
  in.img.i_plane = 2;
  in.img.plane[0] = job.input->data.data();
  in.img.i_stride[0] = static_cast<int>(job.input->pitch);
  in.img.plane[1] = job.input->data.data() + static_cast<size_t>(job.input->pitch) * job.input->height;
  in.img.i_stride[1] = static_cast<int>(job.input->pitch);
  in.i_pts = static_cast<int64_t>(job.timeStamp);
  if (job.flags & NV_ENC_PIC_FLAG_FORCEIDR) {
    in.i_type = X264_TYPE_IDR;
  } else if (job.flags & NV_ENC_PIC_FLAG_FORCEINTRA) {
    in.i_type = X264_TYPE_I;
  }
  x264_nal_t* nals = nullptr;
  int count = 0;
  x264_picture_t out;
  const int bytes = x264_encoder_encode(x264, &nals, &count, &in, &out);
  Bitstream& b = *job.output;
  b.data.clear();
  if (nals != nullptr && bytes > 0) b.data.assign(nals[0].p_payload, nals[0].p_payload + bytes);
  b.type = out.i_type == X264_TYPE_IDR ? NV_ENC_PIC_TYPE_IDR
           : out.i_type == X264_TYPE_I ? NV_ENC_PIC_TYPE_I
           : IS_X264_TYPE_B(out.i_type) ? NV_ENC_PIC_TYPE_B
                                        : NV_ENC_PIC_TYPE_P;
  b.timeStamp = job.timeStamp;
}

void Session::run() {
  std::unique_lock<std::mutex> guard(mutex);
  for (;;) {
    changed.wait(guard, [this] { return stopping || !jobs.empty(); });
    if (jobs.empty()) return;
    const Job job = jobs.front();
    jobs.pop_front();
    guard.unlock();
    if (script->encodeDelayMs > 0) std::this_thread::sleep_for(std::chrono::milliseconds(script->encodeDelayMs));
    encode(job);
    guard.lock();
    job.output->done = true;
    changed.notify_all();
  }
}

Session* sessionOf(void* encoder) { return static_cast<Session*>(encoder); }

std::string profileName(const GUID& g) {
  if (same(g, NV_ENC_H264_PROFILE_BASELINE_GUID)) return "baseline";
  if (same(g, NV_ENC_H264_PROFILE_MAIN_GUID)) return "main";
  if (same(g, NV_ENC_H264_PROFILE_HIGH_GUID)) return "high";
  return "other";
}

NVENCSTATUS NVENCAPI openSessionEx(NV_ENC_OPEN_ENCODE_SESSION_EX_PARAMS* params, void** encoder) {
  if (params == nullptr || encoder == nullptr) return NV_ENC_ERR_INVALID_PTR;
  auto session = std::make_unique<Session>();
  session->script = fakenv::currentScript();
  if (session->fails("nvEncOpenEncodeSessionEx")) return NV_ENC_ERR_NO_ENCODE_DEVICE;
  if (params->version != NV_ENC_OPEN_ENCODE_SESSION_EX_PARAMS_VER || params->apiVersion != NVENCAPI_VERSION) {
    return NV_ENC_ERR_INVALID_VERSION;
  }
  if (params->deviceType != NV_ENC_DEVICE_TYPE_CUDA || params->device == nullptr) return NV_ENC_ERR_INVALID_DEVICE;
  *encoder = session.release();
  return NV_ENC_SUCCESS;
}

NVENCSTATUS NVENCAPI getPresetConfigEx(void* encoder, GUID codec, GUID preset, NV_ENC_TUNING_INFO,
                                       NV_ENC_PRESET_CONFIG* config) {
  Session* s = sessionOf(encoder);
  if (s == nullptr || config == nullptr) return NV_ENC_ERR_INVALID_PTR;
  if (s->fails("nvEncGetEncodePresetConfigEx")) return NV_ENC_ERR_UNSUPPORTED_PARAM;
  if (config->version != NV_ENC_PRESET_CONFIG_VER || config->presetCfg.version != NV_ENC_CONFIG_VER) {
    return NV_ENC_ERR_INVALID_VERSION;
  }
  if (!same(codec, NV_ENC_CODEC_H264_GUID) || !same(preset, NV_ENC_PRESET_P4_GUID)) {
    return NV_ENC_ERR_UNSUPPORTED_PARAM;
  }
  config->presetCfg.gopLength = 250;
  config->presetCfg.frameIntervalP = 1;
  config->presetCfg.rcParams.rateControlMode = NV_ENC_PARAMS_RC_CBR;
  config->presetCfg.encodeCodecConfig.h264Config.idrPeriod = 250;
  return NV_ENC_SUCCESS;
}

NVENCSTATUS NVENCAPI initializeEncoder(void* encoder, NV_ENC_INITIALIZE_PARAMS* init) {
  Session* s = sessionOf(encoder);
  if (s == nullptr || init == nullptr || init->encodeConfig == nullptr) return NV_ENC_ERR_INVALID_PTR;
  if (s->fails("nvEncInitializeEncoder")) return NV_ENC_ERR_INVALID_PARAM;
  if (init->version != NV_ENC_INITIALIZE_PARAMS_VER || init->encodeConfig->version != NV_ENC_CONFIG_VER) {
    return NV_ENC_ERR_INVALID_VERSION;
  }
  const NV_ENC_CONFIG& c = *init->encodeConfig;
  const NV_ENC_CONFIG_H264& h = c.encodeCodecConfig.h264Config;
  std::ostringstream line;
  line << "init " << init->encodeWidth << "x" << init->encodeHeight << " dar " << init->darWidth << ":"
       << init->darHeight << " fps " << init->frameRateNum << "/" << init->frameRateDen << " rc "
       << c.rcParams.rateControlMode << " minqp " << c.rcParams.enableMinQP << " avg " << c.rcParams.averageBitRate
       << " max " << c.rcParams.maxBitRate << " qp " << c.rcParams.constQP.qpIntra << "/"
       << c.rcParams.constQP.qpInterP << "/" << c.rcParams.constQP.qpInterB << " gop " << c.gopLength << " idr "
       << h.idrPeriod << " p " << c.frameIntervalP << " field " << c.frameFieldMode << " profile "
       << profileName(c.profileGUID) << " level " << h.level << " entropy " << h.entropyCodingMode << " deblock "
       << h.disableDeblockingFilterIDC << " nosps " << h.disableSPSPPS << " repeatsps " << h.repeatSPSPPS
       << " aud " << h.outputAUD;
  fakenv::trace(line.str());
  if (init->encodeWidth < 16 || init->encodeHeight < 16 || init->encodeWidth > 4096 || init->encodeHeight > 4096 ||
      init->frameRateNum == 0 || init->frameRateDen == 0) {
    return NV_ENC_ERR_INVALID_PARAM;
  }
  // This fake GPU makes no B-frames.
  if (c.frameIntervalP != 1) return NV_ENC_ERR_UNSUPPORTED_PARAM;
  x264_param_t& p = s->param;
  x264_param_default_preset(&p, "veryfast", "zerolatency");
  p.i_threads = 1;
  p.i_width = static_cast<int>(init->encodeWidth);
  p.i_height = static_cast<int>(init->encodeHeight);
  p.i_csp = X264_CSP_I420;
  p.i_fps_num = init->frameRateNum;
  p.i_fps_den = init->frameRateDen;
  p.b_vfr_input = 0;
  p.b_aud = h.outputAUD;
  p.b_repeat_headers = h.disableSPSPPS ? 0 : 1;
  p.b_annexb = 1;
  p.i_log_level = X264_LOG_NONE;
  // Key frames only on schedule or on request, so a test can count them.
  p.i_scenecut_threshold = 0;
  p.i_keyint_max = c.gopLength == NVENC_INFINITE_GOPLENGTH ? X264_KEYINT_MAX_INFINITE : static_cast<int>(c.gopLength);
  p.i_keyint_min = 1;
  if (c.rcParams.rateControlMode == NV_ENC_PARAMS_RC_CONSTQP) {
    p.rc.i_rc_method = X264_RC_CQP;
    p.rc.i_qp_constant = static_cast<int>(c.rcParams.constQP.qpInterP);
  } else if (c.rcParams.averageBitRate == 0) {
    // No rate given: the driver picks one; this fake a constant quality.
    p.rc.i_rc_method = X264_RC_CRF;
    p.rc.f_rf_constant = 23;
  } else {
    p.rc.i_rc_method = X264_RC_ABR;
    p.rc.i_bitrate = static_cast<int>(c.rcParams.averageBitRate / 1000);
    p.rc.i_vbv_max_bitrate = static_cast<int>(c.rcParams.maxBitRate / 1000);
    p.rc.i_vbv_buffer_size = p.rc.i_vbv_max_bitrate;
  }
  p.b_cabac = h.entropyCodingMode == NV_ENC_H264_ENTROPY_CODING_MODE_CAVLC ? 0 : 1;
  p.b_deblocking_filter = h.disableDeblockingFilterIDC == 1 ? 0 : 1;
  if (x264_param_apply_profile(&p, profileName(c.profileGUID).c_str()) != 0) return NV_ENC_ERR_UNSUPPORTED_PARAM;
  s->x264 = x264_encoder_open(&p);
  if (s->x264 == nullptr) return NV_ENC_ERR_INVALID_PARAM;
  s->width = init->encodeWidth;
  s->height = init->encodeHeight;
  s->gpu = std::thread(&Session::run, s);
  return NV_ENC_SUCCESS;
}

NVENCSTATUS NVENCAPI createInputBuffer(void* encoder, NV_ENC_CREATE_INPUT_BUFFER* params) {
  Session* s = sessionOf(encoder);
  if (s == nullptr || params == nullptr) return NV_ENC_ERR_INVALID_PTR;
  if (s->fails("nvEncCreateInputBuffer")) return NV_ENC_ERR_OUT_OF_MEMORY;
  if (params->version != NV_ENC_CREATE_INPUT_BUFFER_VER) return NV_ENC_ERR_INVALID_VERSION;
  if (s->x264 == nullptr) return NV_ENC_ERR_ENCODER_NOT_INITIALIZED;
  if (params->bufferFmt != NV_ENC_BUFFER_FORMAT_NV12 || params->width < s->width || params->height < s->height) {
    return NV_ENC_ERR_INVALID_PARAM;
  }
  auto b = std::make_unique<InputBuffer>();
  b->width = params->width;
  b->height = params->height;
  // Wider than the picture, as a driver's surfaces are.
  b->pitch = (params->width + 63) & ~63u;
  b->data.assign(static_cast<size_t>(b->pitch) * (b->height + b->height / 2), 0);
  params->inputBuffer = b.get();
  s->inputs.push_back(std::move(b));
  return NV_ENC_SUCCESS;
}

NVENCSTATUS NVENCAPI destroyInputBuffer(void* encoder, NV_ENC_INPUT_PTR buffer) {
  Session* s = sessionOf(encoder);
  if (s == nullptr || !s->owns(buffer)) return NV_ENC_ERR_INVALID_PTR;
  s->inputs.erase(s->find(s->inputs, buffer));
  return NV_ENC_SUCCESS;
}

NVENCSTATUS NVENCAPI createBitstreamBuffer(void* encoder, NV_ENC_CREATE_BITSTREAM_BUFFER* params) {
  Session* s = sessionOf(encoder);
  if (s == nullptr || params == nullptr) return NV_ENC_ERR_INVALID_PTR;
  if (s->fails("nvEncCreateBitstreamBuffer")) return NV_ENC_ERR_OUT_OF_MEMORY;
  if (params->version != NV_ENC_CREATE_BITSTREAM_BUFFER_VER) return NV_ENC_ERR_INVALID_VERSION;
  auto b = std::make_unique<Bitstream>();
  params->bitstreamBuffer = b.get();
  s->outputs.push_back(std::move(b));
  return NV_ENC_SUCCESS;
}

NVENCSTATUS NVENCAPI destroyBitstreamBuffer(void* encoder, NV_ENC_OUTPUT_PTR buffer) {
  Session* s = sessionOf(encoder);
  if (s == nullptr || !s->owns(buffer)) return NV_ENC_ERR_INVALID_PTR;
  std::lock_guard<std::mutex> guard(s->mutex);
  const auto it = s->find(s->outputs, buffer);
  if ((*it)->pending && !(*it)->done) return NV_ENC_ERR_ENCODER_BUSY;
  s->outputs.erase(it);
  return NV_ENC_SUCCESS;
}

NVENCSTATUS NVENCAPI lockInputBuffer(void* encoder, NV_ENC_LOCK_INPUT_BUFFER* params) {
  Session* s = sessionOf(encoder);
  if (s == nullptr || params == nullptr || !s->owns(params->inputBuffer)) return NV_ENC_ERR_INVALID_PTR;
  if (params->version != NV_ENC_LOCK_INPUT_BUFFER_VER) return NV_ENC_ERR_INVALID_VERSION;
  auto* b = static_cast<InputBuffer*>(params->inputBuffer);
  if (b->locked) return NV_ENC_ERR_LOCK_BUSY;
  b->locked = true;
  params->bufferDataPtr = b->data.data();
  params->pitch = b->pitch;
  return NV_ENC_SUCCESS;
}

NVENCSTATUS NVENCAPI unlockInputBuffer(void* encoder, NV_ENC_INPUT_PTR buffer) {
  Session* s = sessionOf(encoder);
  if (s == nullptr || !s->owns(buffer)) return NV_ENC_ERR_INVALID_PTR;
  static_cast<InputBuffer*>(buffer)->locked = false;
  return NV_ENC_SUCCESS;
}

NVENCSTATUS NVENCAPI encodePicture(void* encoder, NV_ENC_PIC_PARAMS* params) {
  Session* s = sessionOf(encoder);
  if (s == nullptr || params == nullptr) return NV_ENC_ERR_INVALID_PTR;
  if (params->version != NV_ENC_PIC_PARAMS_VER) return NV_ENC_ERR_INVALID_VERSION;
  if (params->encodePicFlags & NV_ENC_PIC_FLAG_EOS) return NV_ENC_SUCCESS;
  if (s->fails("nvEncEncodePicture")) return NV_ENC_ERR_GENERIC;
  if (!s->owns(params->inputBuffer) || !s->owns(params->outputBitstream)) return NV_ENC_ERR_INVALID_PTR;
  auto* input = static_cast<InputBuffer*>(params->inputBuffer);
  if (input->locked || params->inputWidth != s->width || params->inputHeight != s->height ||
      params->inputPitch != input->pitch || params->bufferFmt != NV_ENC_BUFFER_FORMAT_NV12) {
    return NV_ENC_ERR_INVALID_PARAM;
  }
  if (params->encodePicFlags & NV_ENC_PIC_FLAG_FORCEIDR) fakenv::trace("idr " + std::to_string(params->frameIdx));
  auto* output = static_cast<Bitstream*>(params->outputBitstream);
  std::lock_guard<std::mutex> guard(s->mutex);
  if (output->pending) return NV_ENC_ERR_ENCODER_BUSY;
  output->pending = true;
  output->done = false;
  s->jobs.push_back(Job{input, output, params->encodePicFlags, params->inputTimeStamp});
  s->changed.notify_all();
  return NV_ENC_SUCCESS;
}

NVENCSTATUS NVENCAPI lockBitstream(void* encoder, NV_ENC_LOCK_BITSTREAM* params) {
  Session* s = sessionOf(encoder);
  if (s == nullptr || params == nullptr || !s->owns(params->outputBitstream)) return NV_ENC_ERR_INVALID_PTR;
  if (params->version != NV_ENC_LOCK_BITSTREAM_VER) return NV_ENC_ERR_INVALID_VERSION;
  auto* b = static_cast<Bitstream*>(params->outputBitstream);
  std::unique_lock<std::mutex> guard(s->mutex);
  if (!b->pending) return NV_ENC_ERR_INVALID_PARAM;
  s->changed.wait(guard, [b] { return b->done; });
  guard.unlock();
  if (s->fails("nvEncLockBitstream")) return NV_ENC_ERR_GENERIC;
  params->bitstreamBufferPtr = b->data.data();
  params->bitstreamSizeInBytes = static_cast<uint32_t>(b->data.size());
  params->pictureType = b->type;
  params->outputTimeStamp = b->timeStamp;
  return NV_ENC_SUCCESS;
}

NVENCSTATUS NVENCAPI unlockBitstream(void* encoder, NV_ENC_OUTPUT_PTR buffer) {
  Session* s = sessionOf(encoder);
  if (s == nullptr || !s->owns(buffer)) return NV_ENC_ERR_INVALID_PTR;
  std::lock_guard<std::mutex> guard(s->mutex);
  auto* b = static_cast<Bitstream*>(buffer);
  b->pending = false;
  b->done = false;
  return NV_ENC_SUCCESS;
}

NVENCSTATUS NVENCAPI getSequenceParams(void* encoder, NV_ENC_SEQUENCE_PARAM_PAYLOAD* payload) {
  Session* s = sessionOf(encoder);
  if (s == nullptr || payload == nullptr || payload->outSPSPPSPayloadSize == nullptr) return NV_ENC_ERR_INVALID_PTR;
  if (payload->version != NV_ENC_SEQUENCE_PARAM_PAYLOAD_VER) return NV_ENC_ERR_INVALID_VERSION;
  if (s->x264 == nullptr) return NV_ENC_ERR_ENCODER_NOT_INITIALIZED;
  x264_nal_t* nals = nullptr;
  int count = 0;
  std::vector<uint8_t> headers;
  {
    // x264 is driven by the GPU thread too.
    std::lock_guard<std::mutex> guard(s->mutex);
    if (x264_encoder_headers(s->x264, &nals, &count) < 0) return NV_ENC_ERR_GENERIC;
  }
  for (int i = 0; i < count; ++i) {
    if (nals[i].i_type == NAL_SPS || nals[i].i_type == NAL_PPS) {
      headers.insert(headers.end(), nals[i].p_payload, nals[i].p_payload + nals[i].i_payload);
    }
  }
  *payload->outSPSPPSPayloadSize = static_cast<uint32_t>(headers.size());
  if (payload->spsppsBuffer == nullptr || payload->inBufferSize < headers.size()) return NV_ENC_ERR_NOT_ENOUGH_BUFFER;
  std::memcpy(payload->spsppsBuffer, headers.data(), headers.size());
  return NV_ENC_SUCCESS;
}

NVENCSTATUS NVENCAPI destroyEncoder(void* encoder) {
  std::unique_ptr<Session> s(sessionOf(encoder));
  if (s == nullptr) return NV_ENC_ERR_INVALID_PTR;
  fakenv::trace("nvEncDestroyEncoder");
  if (s->gpu.joinable()) {
    {
      std::lock_guard<std::mutex> guard(s->mutex);
      s->stopping = true;
    }
    s->changed.notify_all();
    s->gpu.join();
  }
  if (s->x264 != nullptr) x264_encoder_close(s->x264);
  return NV_ENC_SUCCESS;
}

}  // namespace

FAKE_EXPORT NVENCSTATUS NvEncodeAPIGetMaxSupportedVersion(uint32_t* version) {
  *version = (NVENCAPI_MAJOR_VERSION << 4) | NVENCAPI_MINOR_VERSION;
  return NV_ENC_SUCCESS;
}

FAKE_EXPORT NVENCSTATUS NvEncodeAPICreateInstance(NV_ENCODE_API_FUNCTION_LIST* list) {
  // This library keeps its own copy of the script, read as a session opens.
  fakenv::reloadScript();
  fakenv::trace("NvEncodeAPICreateInstance");
  if (list == nullptr) return NV_ENC_ERR_INVALID_PTR;
  if (list->version != NV_ENCODE_API_FUNCTION_LIST_VER) return NV_ENC_ERR_INVALID_VERSION;
  if (fakenv::currentScript()->fails("NvEncodeAPICreateInstance", 1)) return NV_ENC_ERR_NO_ENCODE_DEVICE;
  list->nvEncOpenEncodeSessionEx = openSessionEx;
  list->nvEncGetEncodePresetConfigEx = getPresetConfigEx;
  list->nvEncInitializeEncoder = initializeEncoder;
  list->nvEncCreateInputBuffer = createInputBuffer;
  list->nvEncDestroyInputBuffer = destroyInputBuffer;
  list->nvEncCreateBitstreamBuffer = createBitstreamBuffer;
  list->nvEncDestroyBitstreamBuffer = destroyBitstreamBuffer;
  list->nvEncLockInputBuffer = lockInputBuffer;
  list->nvEncUnlockInputBuffer = unlockInputBuffer;
  list->nvEncEncodePicture = encodePicture;
  list->nvEncLockBitstream = lockBitstream;
  list->nvEncUnlockBitstream = unlockBitstream;
  list->nvEncGetSequenceParams = getSequenceParams;
  list->nvEncDestroyEncoder = destroyEncoder;
  return NV_ENC_SUCCESS;
}
