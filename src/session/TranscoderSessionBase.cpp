#include "session/TranscoderSessionBase.h"

namespace cvx {

namespace {

// Front to back: encoders go in the order they were made, each under the
// handler of its wrapper.
template <class Wrappers>
void deleteInIndexOrder(Wrappers& wrappers) {
  for (auto& wrapper : wrappers) wrapper.encoder.reset();
  wrappers.clear();
}

}  // namespace

// The codecs go before the members: they may still refer to buffers, and
// they log to the collector.
TranscoderSessionBase::~TranscoderSessionBase() {
  videoDecoder.reset();
  audioDecoder.reset();
  deleteInIndexOrder(videoEncoders);
  deleteInIndexOrder(audioEncoders);
}

IVideoEncoder* TranscoderSessionBase::getVideoEncoder(uint32_t index) {
  return index < videoEncoders.size() ? videoEncoders[index].encoder.get() : nullptr;
}

IAudioEncoder* TranscoderSessionBase::getAudioEncoder(uint32_t index) {
  return index < audioEncoders.size() ? audioEncoders[index].encoder.get() : nullptr;
}

AudioSampleBuffer* TranscoderSessionBase::getAudioBuffer(uint32_t index) {
  return index < audioBuffers.size() ? audioBuffers[index].get() : nullptr;
}

VideoFrameBuffer* TranscoderSessionBase::getDecoderFrame(uint32_t index) {
  const VideoFrameBufferSetItem* item = decoderFrames.get(index);
  return item != nullptr ? item->getBuffer() : nullptr;
}

VideoFrameBufferSet* TranscoderSessionBase::getEncoderBufferSet(uint32_t index) {
  return index < encoderSets.size() ? encoderSets[index].get() : nullptr;
}

VideoFrameBuffer* TranscoderSessionBase::getEncoderFrame(uint32_t setIndex, uint32_t itemIndex) {
  VideoFrameBufferSet* set = getEncoderBufferSet(setIndex);
  const VideoFrameBufferSetItem* item = set != nullptr ? set->get(itemIndex) : nullptr;
  return item != nullptr ? item->getBuffer() : nullptr;
}

VideoOverlayFrames* TranscoderSessionBase::getRenditionOverlays(uint32_t index) {
  return index < renditionOverlays.size() ? renditionOverlays[index].get() : nullptr;
}

void TranscoderSessionBase::replaceVideoDecoder(std::unique_ptr<IVideoDecoder> decoder) {
  videoDecoder.reset(decoder.release());
}

void TranscoderSessionBase::replaceAudioDecoder(std::unique_ptr<IAudioDecoder> decoder) {
  audioDecoder.reset(decoder.release());
}

uint32_t TranscoderSessionBase::appendVideoEncoder(std::unique_ptr<IVideoEncoder> encoder) {
  videoEncoders.push_back(VideoEncoderWrapper{VideoEncoderWrapper::Owner(encoder.release())});
  return static_cast<uint32_t>(videoEncoders.size() - 1);
}

uint32_t TranscoderSessionBase::appendAudioEncoder(std::unique_ptr<IAudioEncoder> encoder) {
  audioEncoders.push_back(AudioEncoderWrapper{AudioEncoderWrapper::Owner(encoder.release())});
  return static_cast<uint32_t>(audioEncoders.size() - 1);
}

}  // namespace cvx
