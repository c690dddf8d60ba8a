#include "FakeEncoder.h"

#include <cstring>

extern "C" {
#include <x264.h>
}

#include "FakeState.h"

namespace fake {

namespace {

// A user data SEI: 16 bytes of identifier and one byte, then the stop bit.
constexpr uint8_t kSei[] = {6,   5,   17,  'c', 'v', 'x', '-', 'f', 'a', 'k', 'e', '-',
                            'r', 'u', 'n', 't', 'i', 'm', 'e', 0x42, 0x80};

void put(std::vector<uint8_t>& out, int startCode, const uint8_t* nal, std::size_t size) {
  if (startCode == 4) out.push_back(0);
  out.insert(out.end(), {0, 0, 1});
  out.insert(out.end(), nal, nal + size);
}

// x264's payload without its start code.
void payload(const x264_nal_t& nal, const uint8_t*& data, std::size_t& size) {
  data = nal.p_payload;
  size = static_cast<std::size_t>(nal.i_payload);
  while (size > 0 && data[0] == 0) {
    ++data;
    --size;
  }
  if (size > 0) {
    ++data;  // the 01
    --size;
  }
}

}  // namespace

Encoder::Encoder(const mfxVideoParam& par) : initParams(par) {
  const mfxInfoMFX& m = par.mfx;
  x264_param_t p;
  if (x264_param_default_preset(&p, "veryfast", "zerolatency") != 0) return;
  p.i_log_level = X264_LOG_NONE;
  p.i_threads = 1;
  p.i_width = m.FrameInfo.CropW;
  p.i_height = m.FrameInfo.CropH;
  p.i_csp = X264_CSP_NV12;
  p.i_fps_num = m.FrameInfo.FrameRateExtN > 0 ? m.FrameInfo.FrameRateExtN : 25;
  p.i_fps_den = m.FrameInfo.FrameRateExtD > 0 ? m.FrameInfo.FrameRateExtD : 1;
  // In encoded order the application decides every frame's type.
  p.i_keyint_max = X264_KEYINT_MAX_INFINITE;
  p.i_scenecut_threshold = 0;
  p.i_bframe = 0;
  p.b_repeat_headers = 1;
  p.b_annexb = 1;
  p.b_aud = 0;
  if (m.NumRefFrame > 0) p.i_frame_reference = m.NumRefFrame;
  p.rc.i_rc_method = X264_RC_ABR;
  p.rc.i_bitrate = m.TargetKbps > 0 ? m.TargetKbps : 1000;
  p.rc.i_vbv_max_bitrate = m.MaxKbps > m.TargetKbps ? m.MaxKbps : p.rc.i_bitrate * 11 / 10;
  p.rc.i_vbv_buffer_size = p.rc.i_vbv_max_bitrate;
  const char* profile = m.CodecProfile == 66 ? "baseline" : m.CodecProfile == 77 ? "main" : "high";
  if (x264_param_apply_profile(&p, profile) != 0) return;
  handle = x264_encoder_open(&p);
}

Encoder::~Encoder() {
  if (handle != nullptr) x264_encoder_close(handle);
}

mfxVideoParam Encoder::params() const {
  mfxVideoParam par = initParams;
  const long long configured = setting("bufferSizeKB");
  const mfxU16 fromRate = static_cast<mfxU16>(par.mfx.TargetKbps / 4 > 16 ? par.mfx.TargetKbps / 4 : 16);
  par.mfx.BufferSizeInKB = configured > 0 ? static_cast<mfxU16>(configured) : fromRate;
  return par;
}

Encoder::Unit Encoder::shape(const void* nalArray, int count, bool key) const {
  const auto* nals = static_cast<const x264_nal_t*>(nalArray);
  Unit unit;
  std::vector<uint8_t>& pending = unit.bytes;
  const uint8_t delimiter[] = {9, static_cast<uint8_t>(key ? 0x10 : 0x30)};
  put(pending, 4, delimiter, sizeof(delimiter));
  const uint8_t* data = nullptr;
  std::size_t size = 0;
  if (key) {
    for (int i = 0; i < count; ++i) {
      if (nals[i].i_type != NAL_SPS && nals[i].i_type != NAL_PPS) continue;
      payload(nals[i], data, size);
      put(pending, 4, data, size);
    }
  }
  if (setting("omitSei") == 0) put(pending, key ? static_cast<int>(setting("keySeiStartCode")) : 4, kSei, sizeof(kSei));
  for (int i = 0; i < count; ++i) {
    if (nals[i].i_type != NAL_SLICE && nals[i].i_type != NAL_SLICE_IDR) continue;
    payload(nals[i], data, size);
    put(pending, 3, data, size);
  }
  return unit;
}

mfxStatus Encoder::encode(mfxEncodeCtrl* ctrl, mfxFrameSurface1* surface, mfxBitstream* bs) {
  if (handle == nullptr) return MFX_ERR_NOT_INITIALIZED;
  if (bs == nullptr) return MFX_ERR_NULL_PTR;
  if (pending.bytes.empty()) {
    if (surface != nullptr) {
      const mfxU16 type = ctrl != nullptr ? ctrl->FrameType : 0;
      record("EncodeFrameAsync.FrameType", type);
      const uint32_t pitch = uint32_t{surface->Data.PitchHigh} << 16 | surface->Data.PitchLow;
      x264_picture_t in;
      x264_picture_init(&in);
      in.img.i_csp = X264_CSP_NV12;
      in.img.i_plane = 2;
      in.img.plane[0] = surface->Data.Y;
      in.img.plane[1] = surface->Data.UV;
      in.img.i_stride[0] = static_cast<int>(pitch);
      in.img.i_stride[1] = static_cast<int>(pitch);
      in.i_pts = surface->Data.FrameOrder;
      in.i_type = (type & MFX_FRAMETYPE_IDR) ? X264_TYPE_IDR : (type & MFX_FRAMETYPE_I) ? X264_TYPE_I : X264_TYPE_P;
      x264_picture_t out;
      x264_nal_t* nals = nullptr;
      int count = 0;
      if (x264_encoder_encode(handle, &nals, &count, &in, &out) < 0) return MFX_ERR_UNKNOWN;
      if (count == 0) return MFX_ERR_MORE_DATA;
      held.push_back(shape(nals, count, out.b_keyframe != 0));
      held.back().timeStamp = surface->Data.TimeStamp;
    }
    const long long delay = setting("delayFrames");
    if (held.empty() || (surface != nullptr && static_cast<long long>(held.size()) <= delay)) return MFX_ERR_MORE_DATA;
    pending = std::move(held.front());
    held.pop_front();
  }
  const std::size_t end = std::size_t{bs->DataOffset} + bs->DataLength;
  if (bs->Data == nullptr || end + pending.bytes.size() > bs->MaxLength) return MFX_ERR_NOT_ENOUGH_BUFFER;
  std::memcpy(bs->Data + end, pending.bytes.data(), pending.bytes.size());
  bs->DataLength += static_cast<mfxU32>(pending.bytes.size());
  bs->TimeStamp = pending.timeStamp;
  pending = Unit{};
  return MFX_ERR_NONE;
}

}  // namespace fake
