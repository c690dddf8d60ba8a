#include "platform/audiocodecs/AudioDecoderStream.h"

#include <cstring>
#include <memory>
#include <new>

#include "platform/audiocodecs/SampleConversion.h"

namespace cvx {
namespace {

// The codec of each frame syntax by its layer; layer 0 is ADTS.
LibavCodec codecForLayer(uint32_t layer) {
  switch (layer) {
    case 1: return LibavCodec::MpegAudioLayer1;
    case 2: return LibavCodec::MpegAudioLayer2;
    case 3: return LibavCodec::MpegAudioLayer3;
    default: return LibavCodec::Aac;
  }
}

// Room for the largest frame and the padding the codec reads past it.
constexpr size_t kPacketBytes = AudioFrameSplitter::kMaxFrameBytes + AudioFrameSplitter::kPaddingBytes;

uint32_t defaultLayer(AudioStreamKind kind) {
  switch (kind) {
    case AudioStreamKind::Aac: return 0;
    case AudioStreamKind::MpegAudio: return 2;
    case AudioStreamKind::Mp3: return 3;
  }
  return 0;
}


bufstream_tt* openStream(AudioStreamKind kind) {
  std::unique_ptr<AudioDecoderStream> stream(new (std::nothrow) AudioDecoderStream(kind));
  if (!stream || !stream->usable()) return nullptr;
  // Owned by the record from here on: its free entry deletes the object.
  return stream.release()->stream();
}

}  // namespace

bufstream_tt* openAacDecoderStream() { return openStream(AudioStreamKind::Aac); }
bufstream_tt* openMpegAudioDecoderStream(void*, void*, void*) { return openStream(AudioStreamKind::MpegAudio); }
bufstream_tt* openMp3DecoderStream(void*, void*, void*) { return openStream(AudioStreamKind::Mp3); }

AudioDecoderStream::AudioDecoderStream(AudioStreamKind kind)
    : kind_(kind), splitter_(kind == AudioStreamKind::Aac ? AudioFraming::Adts : AudioFraming::MpegAudio) {
  packet_.reset(av_packet_alloc());
  frame_.reset(av_frame_alloc());
  packetBuffer_.reset(av_buffer_alloc(kPacketBytes));
  usable_ = packet_ && frame_ && packetBuffer_ && openCodec(codecForLayer(defaultLayer(kind)));
}

AudioDecoderStream* AudioDecoderStream::from(bufstream_tt* stream) {
  return static_cast<AudioDecoderStream*>(owner(stream));
}

LibavCodec AudioDecoderStream::codecFor(const AudioFrameHeader& header) const {
  return codecForLayer(kind_ == AudioStreamKind::Aac ? 0 : header.layer);
}

bool AudioDecoderStream::openCodec(LibavCodec codec) {
  context_.reset();
  context_ = openLibavDecoder(codec, status_);
  codec_ = codec;
  return context_ != nullptr;
}

uint32_t AudioDecoderStream::copyBytes(const uint8_t* data, uint32_t size) {
  state_ = 0;
  uint8_t* target = output_ != nullptr ? output_->outputBuffer : nullptr;
  const uint32_t capacity = target != nullptr ? output_->outputSize : 0;
  if (output_ != nullptr) output_->outputSize = 0;
  const bool probe = target == nullptr;

  uint32_t taken = 0;
  uint32_t written = 0;
  bool decoded = false;
  bool refused = false;
  while (data != nullptr && taken < size) {
    const AudioFrameSplitter::Result step = splitter_.take(data + taken, size - taken);
    taken += step.taken;
    refused = refused || step.skipped;
    if (!step.frameReady) break;
    const bool ok = decodeFrame(target, capacity, written);
    splitter_.nextFrame();
    decoded = decoded || ok;
    refused = refused || !ok;
    // With somewhere to put samples, one frame per call keeps blocks and
    // frames in step; a probe reads everything.
    if (!probe) break;
  }
  if (output_ != nullptr && !probe) output_->outputSize = written;
  if (!decoded && refused) state_ |= audio_decoder_state::kNoFrame;
  if (taken == size && synced_) state_ |= audio_decoder_state::kInputUsed;
  return taken;
}

bool AudioDecoderStream::decodeFrame(uint8_t* target, uint32_t capacity, uint32_t& written) {
  const LibavCodec codec = codecFor(splitter_.header());
  if ((codec != codec_ || !context_) && !openCodec(codec)) return false;
  if (!reusablePacketBuffer(packetBuffer_, kPacketBytes, status_)) return false;
  const uint32_t size = splitter_.frameSize();
  std::memcpy(packetBuffer_->data, splitter_.frame(), size + AudioFrameSplitter::kPaddingBytes);
  if (!pointPacketAt(*packet_, packetBuffer_, size, status_)) return false;
  const AvOutcome sent = status_.check(avcodec_send_packet(context_.get(), packet_.get()), "avcodec_send_packet");
  av_packet_unref(packet_.get());
  if (sent != AvOutcome::Ok && sent != AvOutcome::Again) return false;

  bool any = false;
  for (;;) {
    const AvOutcome received = status_.check(avcodec_receive_frame(context_.get(), frame_.get()), "avcodec_receive_frame");
    if (received == AvOutcome::Again || received == AvOutcome::End) break;
    if (received != AvOutcome::Ok) return any;
    any = true;
    learn(*frame_);
    const uint32_t bytesPerSample = static_cast<uint32_t>(frame_->ch_layout.nb_channels) * 2u;
    if (target != nullptr && bytesPerSample > 0) {
      const uint32_t room = (capacity - written) / bytesPerSample;
      const int64_t count = writeInterleavedS16(*frame_, target + written, room);
      if (count < 0) {
        status_.fail("sample conversion", "the decoder gave a sample format the stream does not take");
      } else {
        if (count < frame_->nb_samples) status_.fail("output", "the output block holds fewer samples than the frame");
        written += static_cast<uint32_t>(count) * bytesPerSample;
      }
    }
    av_frame_unref(frame_.get());
  }
  synced_ = synced_ || any;
  return true;
}

void AudioDecoderStream::learn(const AVFrame& frame) {
  const AudioFrameHeader& header = splitter_.header();
  frameInfo_ = AacFrameInfo{};
  frameInfo_.objectType = header.objectType;
  frameInfo_.sampleRate = static_cast<uint32_t>(frame.sample_rate);
  frameInfo_.channels = static_cast<uint32_t>(frame.ch_layout.nb_channels);
  frameInfo_.samplesPerFrame = static_cast<uint32_t>(frame.nb_samples);
  frameInfo_.bitRate = context_ ? static_cast<uint32_t>(context_->bit_rate) : 0;
  streamRecord_.channels = frameInfo_.channels;
  streamRecord_.sampleRate = frameInfo_.sampleRate;
  streamRecord_.layer = header.layer;
  streamRecord_.bitRate = frameInfo_.bitRate;
  streamRecord_.samplesPerFrame = frameInfo_.samplesPerFrame;
}

void AudioDecoderStream::reset() {
  splitter_.reset();
  if (context_) avcodec_flush_buffers(context_.get());
  output_ = nullptr;
  state_ = 0;
  synced_ = false;
  frameInfo_ = AacFrameInfo{};
  streamRecord_ = MpegAudioStreamRecord{};
}

void AudioDecoderStream::done(int) { reset(); }

uint32_t AudioDecoderStream::auxInfo(uint32_t, uint32_t infoId, void* infoPtr, uint32_t infoSize) {
  using namespace audio_decoder_info;
  switch (infoId) {
    case kReset:
      reset();
      return kAudioInfoOk;
    case kInitialize:
      if (infoPtr != nullptr && infoSize < kAacDecoderSettingsBytes) return kAudioInfoFailed;
      // The output is 16-bit whatever the settings say; a fresh codec is what
      // initialising means here.
      splitter_.reset();
      synced_ = false;
      return openCodec(context_ ? codec_ : codecForLayer(defaultLayer(kind_))) ? kAudioInfoOk : kAudioInfoFailed;
    case kSettings:
      return infoPtr != nullptr && infoSize >= kMp3SettingsBytes ? kAudioInfoOk : kAudioInfoFailed;
    case kSetOutput:
      if (infoPtr != nullptr && infoSize < kOutputDescriptorBytes) return kAudioInfoFailed;
      output_ = static_cast<AudioOutputDescriptor*>(infoPtr);
      return kAudioInfoOk;
    case kState:
      return state_;
    case kFrameInfo:
      if (infoPtr == nullptr) return kAudioInfoFailed;
      if (kind_ == AudioStreamKind::Aac) {
        if (infoSize < sizeof(AacFrameInfo)) return kAudioInfoFailed;
        std::memcpy(infoPtr, &frameInfo_, sizeof(AacFrameInfo));
      } else {
        *static_cast<const MpegAudioStreamRecord**>(infoPtr) = &streamRecord_;
      }
      return synced_ ? kAudioInfoOk : kAudioInfoFailed;
    case kFetchLastError:
      if (infoPtr == nullptr) return kAudioInfoFailed;
      *static_cast<const char**>(infoPtr) = status_.lastErrorText();
      return kAudioInfoOk;
    default:
      return kAudioInfoFailed;
  }
}

}  // namespace cvx
