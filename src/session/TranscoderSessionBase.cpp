#include "session/TranscoderSessionBase.h"

#include <exception>

#include "audio/decoders/IAudioDecoder.h"
#include "audio/encoders/IAudioEncoder.h"
#include "logging/StdoutLine.h"
#include "video/decoders/IVideoDecoder.h"
#include "video/encoders/IVideoEncoder.h"

namespace cvx {

TranscoderSessionBase::~TranscoderSessionBase() {
  deleteVideoDecoder();
  deleteAudioDecoder();
  for (VideoEncoderWrapper& wrapper : videoEncoders) {
    try {
      IVideoEncoder* encoder = wrapper.encoder;
      wrapper.encoder = nullptr;
      delete encoder;
    } catch (const std::exception& e) {
      writeStdoutLine("TranscoderSessionBase#VideoEncoderWrapper::destructor[videoEncoders]: ", e);
    }
  }
  videoEncoders.clear();
  for (AudioEncoderWrapper& wrapper : audioEncoders) {
    try {
      IAudioEncoder* encoder = wrapper.encoder;
      wrapper.encoder = nullptr;
      delete encoder;
    } catch (const std::exception& e) {
      writeStdoutLine("TranscoderSessionBase#AudioEncoderWrapper::destructor[videoEncoders]: ", e);
    }
  }
  audioEncoders.clear();
  for (AudioSampleBufferSetItem& item : audioBuffers) {
    delete item.buffer;
    item.buffer = nullptr;
  }
  audioBuffers.clear();
}

void TranscoderSessionBase::deleteVideoDecoder() {
  try {
    IVideoDecoder* decoder = videoDecoder;
    videoDecoder = nullptr;
    delete decoder;
  } catch (const std::exception& e) {
    writeStdoutLine("TranscoderSessionBase::destructor[videoDecoder]: ", e);
  }
}

void TranscoderSessionBase::deleteAudioDecoder() {
  try {
    IAudioDecoder* decoder = audioDecoder;
    audioDecoder = nullptr;
    delete decoder;
  } catch (const std::exception& e) {
    writeStdoutLine("TranscoderSessionBase::destructor[audioDecoder]: ", e);
  }
}

IVideoEncoder* TranscoderSessionBase::getVideoEncoder(uint32_t index) {
  return index < videoEncoders.size() ? videoEncoders[index].encoder : nullptr;
}

IAudioEncoder* TranscoderSessionBase::getAudioEncoder(uint32_t index) {
  return index < audioEncoders.size() ? audioEncoders[index].encoder : nullptr;
}

AudioSampleBuffer* TranscoderSessionBase::getAudioBuffer(uint32_t index) {
  return index < audioBuffers.size() ? audioBuffers[index].buffer : nullptr;
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

void TranscoderSessionBase::replaceVideoDecoder(IVideoDecoder* decoder) {
  if (decoder == videoDecoder) return;
  deleteVideoDecoder();
  videoDecoder = decoder;
}

void TranscoderSessionBase::replaceAudioDecoder(IAudioDecoder* decoder) {
  if (decoder == audioDecoder) return;
  deleteAudioDecoder();
  audioDecoder = decoder;
}

uint32_t TranscoderSessionBase::appendVideoEncoder(IVideoEncoder* encoder) {
  const uint32_t index = static_cast<uint32_t>(videoEncoders.size());
  videoEncoders.push_back(VideoEncoderWrapper{encoder});
  return index;
}

uint32_t TranscoderSessionBase::appendAudioEncoder(IAudioEncoder* encoder) {
  const uint32_t index = static_cast<uint32_t>(audioEncoders.size());
  audioEncoders.push_back(AudioEncoderWrapper{encoder});
  return index;
}

}  // namespace cvx
