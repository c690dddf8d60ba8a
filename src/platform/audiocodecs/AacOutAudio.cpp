#include "platform/audiocodecs/AacOutAudio.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>

extern "C" {
#include <libavutil/channel_layout.h>
}

#include "platform/audiocodecs/AacSampleRates.h"
#include "platform/audiocodecs/SampleConversion.h"
#include "platform/libav/LibavCodecs.h"

namespace cvx {

using AacMessageFunction = void (*)(const char* format, ...);

class AacOutAudio {
 public:
  AvStatus status;
  AvCodecContextPtr context;
  AvFramePtr frame;
  AvPacketPtr packet;
  bufstream_tt* output = nullptr;
  uint32_t channels = 0;
  uint32_t staged = 0;  // sample frames waiting in `frame`
  bool ended = false;
  AacMessageFunction errPrintf = nullptr;

  void error(const char* text) const {
    if (errPrintf != nullptr) errPrintf("%s", text);
  }
  bool encodeStaged();
  bool drain();
};

namespace {

constexpr uint32_t kObjectTypeLowComplexity = 2;
constexpr uint32_t kBitsPerSample = 16;

bool validChannels(uint32_t channels) { return channels >= 1 && channels <= 8 && channels != 7; }

bool validSampleRate(uint32_t sampleRate) {
  for (uint32_t rate : kAacSampleRates) {
    if (rate == sampleRate) return true;
  }
  return false;
}

int check(const AacEncoderSettings* settings, uint32_t sampleRate) {
  if (settings == nullptr) return kAacInvalidArgument;
  if (!validChannels(settings->channels)) return kAacInvalidChannels;
  if (!validSampleRate(sampleRate)) return kAacInvalidSampleRate;
  if (settings->bitsPerSample != kBitsPerSample || settings->objectType != kObjectTypeLowComplexity ||
      settings->bitrateIndex >= kAacBitrateIndexCount) {
    return kAacInvalidFormat;
  }
  return kAacOk;
}

const char* checkText(int result) {
  switch (result) {
    case kAacInvalidArgument: return "aac encoder: no settings";
    case kAacInvalidChannels: return "aac encoder: channel count must be 1 to 6 or 8";
    case kAacInvalidSampleRate: return "aac encoder: sample rate is not an AAC rate";
    case kAacInvalidFormat: return "aac encoder: only 16-bit AAC-LC with a bit rate index below 29";
    default: return "aac encoder: settings refused";
  }
}

AacMessageFunction resolveError(AacCallbackResolver resolver) {
  return resolver == nullptr ? nullptr : reinterpret_cast<AacMessageFunction>(resolver("err_printf"));
}

}  // namespace

bool AacOutAudio::drain() {
  for (;;) {
    const AvOutcome outcome = status.check(avcodec_receive_packet(context.get(), packet.get()), "avcodec_receive_packet");
    if (outcome == AvOutcome::Again || outcome == AvOutcome::End) return true;
    if (outcome != AvOutcome::Ok) {
      error(status.lastErrorText());
      return false;
    }
    const uint32_t size = static_cast<uint32_t>(packet->size);
    if (output->copybytes(output, packet->data, size) != size) {
      status.fail("copybytes", "the output stream had no room for the access unit");
      error(status.lastErrorText());
    }
    output->auxinfo(output, 0, bufstream_info::kAudioFrameEnd, nullptr, 0);
    av_packet_unref(packet.get());
  }
}

bool AacOutAudio::encodeStaged() {
  frame->nb_samples = static_cast<int>(staged);
  staged = 0;
  const AvOutcome sent = status.check(avcodec_send_frame(context.get(), frame.get()), "avcodec_send_frame");
  if (sent != AvOutcome::Ok) {
    error(status.lastErrorText());
    return false;
  }
  return drain();
}

void aacOutAudioDefaults(AacEncoderSettings* settings, uint32_t) {
  if (settings == nullptr) return;
  std::memset(settings, 0, sizeof(*settings));
  settings->channels = 2;
  settings->objectType = kObjectTypeLowComplexity;
  settings->bitrateIndex = 19;  // 128 kbit/s
  settings->bitsPerSample = kBitsPerSample;
}

int aacOutAudioChkSettings(AacCallbackResolver resolver, const AacEncoderSettings* settings, uint32_t,
                           uint32_t sampleRate, uint32_t, void*) {
  const int result = check(settings, sampleRate);
  if (result != kAacOk) {
    AacMessageFunction errPrintf = resolveError(resolver);
    if (errPrintf != nullptr) errPrintf("%s", checkText(result));
  }
  return result;
}

AacOutAudio* aacOutAudioNew(AacCallbackResolver resolver, const AacEncoderSettings* settings, uint32_t, uint32_t,
                            uint32_t sampleRate) {
  if (aacOutAudioChkSettings(resolver, settings, 0, sampleRate, 0, nullptr) != kAacOk) return nullptr;
  std::unique_ptr<AacOutAudio> encoder(new (std::nothrow) AacOutAudio());
  if (!encoder) return nullptr;
  encoder->errPrintf = resolveError(resolver);
  const AVCodec* codec = findLibavEncoder(LibavCodec::Aac);
  if (codec == nullptr) {
    encoder->error("aac encoder: the library has no AAC encoder");
    return nullptr;
  }
  encoder->context.reset(avcodec_alloc_context3(codec));
  encoder->frame.reset(av_frame_alloc());
  encoder->packet.reset(av_packet_alloc());
  if (!encoder->context || !encoder->frame || !encoder->packet) return nullptr;

  AVCodecContext& context = *encoder->context;
  context.sample_fmt = AV_SAMPLE_FMT_FLTP;
  context.sample_rate = static_cast<int>(sampleRate);
  context.time_base = AVRational{1, static_cast<int>(sampleRate)};
  context.profile = FF_PROFILE_AAC_LOW;
  av_channel_layout_default(&context.ch_layout, static_cast<int>(settings->channels));
  const uint32_t kbps = kAacBitrateTableKbps[settings->bitrateIndex];
  if (kbps == 0) {
    context.flags |= AV_CODEC_FLAG_QSCALE;
    context.global_quality = FF_QP2LAMBDA;
  } else {
    context.bit_rate = static_cast<int64_t>(kbps) * 1000;
  }
  if (encoder->status.check(avcodec_open2(&context, codec, nullptr), "avcodec_open2") != AvOutcome::Ok) {
    encoder->error(encoder->status.lastErrorText());
    return nullptr;
  }
  if (context.frame_size != static_cast<int>(kAacFrameSamples)) {
    encoder->error("aac encoder: the library does not take frames of 1024 samples");
    return nullptr;
  }
  AVFrame& frame = *encoder->frame;
  frame.format = AV_SAMPLE_FMT_FLTP;
  frame.nb_samples = static_cast<int>(kAacFrameSamples);
  frame.sample_rate = context.sample_rate;
  if (av_channel_layout_copy(&frame.ch_layout, &context.ch_layout) < 0 ||
      encoder->status.check(av_frame_get_buffer(&frame, 0), "av_frame_get_buffer") != AvOutcome::Ok) {
    return nullptr;
  }
  encoder->channels = settings->channels;
  return encoder.release();
}

int aacOutAudioInit(AacOutAudio* encoder, bufstream_tt* output) {
  if (encoder == nullptr || output == nullptr || output->copybytes == nullptr || output->auxinfo == nullptr) {
    return kAacInvalidArgument;
  }
  encoder->output = output;
  return kAacOk;
}

int aacOutAudioPutBytes(AacOutAudio* encoder, const uint8_t* data, uint32_t size) {
  if (encoder == nullptr || encoder->output == nullptr || encoder->ended || (data == nullptr && size > 0)) {
    return kAacInvalidArgument;
  }
  const uint32_t frameBytes = encoder->channels * 2u;
  uint32_t samples = size / frameBytes;
  while (samples > 0) {
    if (encoder->staged == 0) {
      // The codec may still hold the last frame's samples.
      encoder->frame->nb_samples = static_cast<int>(kAacFrameSamples);
      if (encoder->status.check(av_frame_make_writable(encoder->frame.get()), "av_frame_make_writable") !=
          AvOutcome::Ok) {
        return kAacLibraryFailure;
      }
    }
    const uint32_t room = kAacFrameSamples - encoder->staged;
    const uint32_t take = samples < room ? samples : room;
    readInterleavedS16(data, take, encoder->channels, *encoder->frame, encoder->staged);
    encoder->staged += take;
    data += static_cast<size_t>(take) * frameBytes;
    samples -= take;
    if (encoder->staged == kAacFrameSamples && !encoder->encodeStaged()) return kAacLibraryFailure;
  }
  return kAacOk;
}

void aacOutAudioDone(AacOutAudio* encoder, int abort) {
  if (encoder == nullptr || encoder->ended) return;
  encoder->ended = true;
  if (abort != 0 || encoder->output == nullptr) return;
  if (encoder->staged > 0) encoder->encodeStaged();
  if (encoder->status.check(avcodec_send_frame(encoder->context.get(), nullptr), "avcodec_send_frame") ==
      AvOutcome::Ok) {
    encoder->drain();
  }
}

void aacOutAudioFree(AacOutAudio* encoder) { delete encoder; }

const char* aacOutAudioLastError(const AacOutAudio* encoder) {
  return encoder == nullptr ? "" : encoder->status.lastErrorText();
}

}  // namespace cvx
