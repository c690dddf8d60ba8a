#include "platform/vpx/VpxEncoder.h"

#include <vpx/vp8cx.h>
#include <vpx/vpx_encoder.h>

#include "platform/vpx/VpxHandles.h"

namespace cvx {

static_assert(VPX_IMG_FMT_I420 == kVpxImageFormatI420, "our view's format code is the library's I420");
static_assert(VPX_CODEC_CX_FRAME_PKT == 0, "frame packets are kind 0");
static_assert(VPX_DL_REALTIME == 1, "real-time deadline");

struct VpxEncoder::State {
  vpx_codec_enc_cfg_t cfg{};
  vpx_codec_ctx_t codec{};
  // Points at `codec` while the library holds it; declared after it, so it goes first.
  VpxCodecPtr initialized;
  vpx_codec_iter_t iterator = nullptr;
};

VpxEncoder::VpxEncoder() : state(std::make_unique<State>()) {}

VpxEncoder::~VpxEncoder() = default;

int VpxEncoder::configDefault() {
  return static_cast<int>(vpx_codec_enc_config_default(vpx_codec_vp8_cx(), &state->cfg, 0));
}

void VpxEncoder::setFrameSize(uint32_t width, uint32_t height) {
  state->cfg.g_w = width;
  state->cfg.g_h = height;
}

void VpxEncoder::setTargetBitrate(uint32_t kilobitsPerSecond) { state->cfg.rc_target_bitrate = kilobitsPerSecond; }
void VpxEncoder::setKeyFrameMaxDistance(uint32_t frames) { state->cfg.kf_max_dist = frames; }
uint32_t VpxEncoder::getTargetBitrate() const { return state->cfg.rc_target_bitrate; }
uint32_t VpxEncoder::getKeyFrameMaxDistance() const { return state->cfg.kf_max_dist; }
uint32_t VpxEncoder::getWidth() const { return state->cfg.g_w; }
uint32_t VpxEncoder::getHeight() const { return state->cfg.g_h; }
uint32_t VpxEncoder::getPass() const { return static_cast<uint32_t>(state->cfg.g_pass); }
uint32_t VpxEncoder::getTimebaseNumerator() const { return static_cast<uint32_t>(state->cfg.g_timebase.num); }
uint32_t VpxEncoder::getTimebaseDenominator() const { return static_cast<uint32_t>(state->cfg.g_timebase.den); }

bool VpxEncoder::isInitialized() const { return state->initialized != nullptr; }

int VpxEncoder::init() {
  if (isInitialized()) return 0;
  const vpx_codec_err_t result =
      vpx_codec_enc_init_ver(&state->codec, vpx_codec_vp8_cx(), &state->cfg, 0, VPX_ENCODER_ABI_VERSION);
  if (result == VPX_CODEC_OK) state->initialized.reset(&state->codec);
  return static_cast<int>(result);
}

int VpxEncoder::encode(const VpxImageView& view, int64_t pts, uint32_t duration, uint32_t flags) {
  state->iterator = nullptr;
  if (!isInitialized()) return static_cast<int>(VPX_CODEC_ERROR);
  // The image must describe the size the encoder was set up for; a picture of
  // another size would be read past its planes.
  if (view.planes[0] == nullptr || view.planes[1] == nullptr || view.planes[2] == nullptr ||
      view.d_w != state->cfg.g_w || view.d_h != state->cfg.g_h || view.fmt != kVpxImageFormatI420) {
    return static_cast<int>(VPX_CODEC_INVALID_PARAM);
  }
  vpx_image_t image{};
  image.fmt = VPX_IMG_FMT_I420;
  image.w = view.w;
  image.h = view.h;
  image.d_w = view.d_w;
  image.d_h = view.d_h;
  image.x_chroma_shift = view.x_chroma_shift;
  image.y_chroma_shift = view.y_chroma_shift;
  image.bps = view.bps;
  image.user_priv = view.user_priv;
  for (int i = 0; i < 4; ++i) {
    image.planes[i] = view.planes[i];
    image.stride[i] = view.stride[i];
  }
  return static_cast<int>(vpx_codec_encode(&state->codec, &image, pts, duration, flags, VPX_DL_REALTIME));
}

int VpxEncoder::flush() {
  state->iterator = nullptr;
  if (!isInitialized()) return static_cast<int>(VPX_CODEC_ERROR);
  return static_cast<int>(vpx_codec_encode(&state->codec, nullptr, 0, 0, 0, VPX_DL_REALTIME));
}

bool VpxEncoder::nextFramePacket(const uint8_t*& data, std::size_t& size, bool& keyFrame, int64_t& pts) {
  if (!isInitialized()) return false;
  while (const vpx_codec_cx_pkt_t* packet = vpx_codec_get_cx_data(&state->codec, &state->iterator)) {
    if (packet->kind != VPX_CODEC_CX_FRAME_PKT) continue;
    data = static_cast<const uint8_t*>(packet->data.frame.buf);
    size = packet->data.frame.sz;
    keyFrame = (packet->data.frame.flags & VPX_FRAME_IS_KEY) != 0;
    pts = packet->data.frame.pts;
    return true;
  }
  return false;
}

std::string VpxEncoder::errorText(int code) const {
  std::string text = vpx_codec_err_to_string(static_cast<vpx_codec_err_t>(code));
  if (isInitialized()) {
    if (const char* detail = vpx_codec_error_detail(&state->codec)) text += std::string(": ") + detail;
  }
  return text;
}

}  // namespace cvx
