#include "audio/encoders/AudioEncoderAAC.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <new>
#include <sstream>

#include "logging/Guarded.h"
#include "media/ByteBlocks.h"
#include "media/CodecNumbers.h"

namespace cvx {

namespace {

constexpr const char* kInitPrefix = "AudioEncoderAAC.initialize[{context}]: ";
constexpr uint32_t kFrameSamples = kAacFrameSamples;
constexpr size_t kMessageBytes = 256;

void printMessage(const char* format, ...) {
  char text[kMessageBytes];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  std::printf("%s\n", text);
}

void printProgress(int32_t value, const char* format, ...) {
  char text[kMessageBytes];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  std::printf(" %d - %s\n", value, text);
}

}  // namespace

AudioEncoderAAC::MessageFunction AudioEncoderAAC::resolveMessageCallback(const char* name) {
  if (name == nullptr) return nullptr;
  if (std::strcmp(name, "err_printf") == 0 || std::strcmp(name, "wrn_printf") == 0 ||
      std::strcmp(name, "inf_printf") == 0) {
    return reinterpret_cast<MessageFunction>(&printMessage);
  }
  if (std::strcmp(name, "prg_printf") == 0) return reinterpret_cast<MessageFunction>(&printProgress);
  return nullptr;
}

AudioEncoderAAC::AudioEncoderAAC() { codec = kAudioCodecAAC; }

AudioEncoderAAC::~AudioEncoderAAC() noexcept(false) { close(); }

uint32_t AudioEncoderAAC::bitrateIndex(uint32_t bitsPerSecond) {
  const uint32_t kbps = bitsPerSecond / 1000u;
  for (uint32_t index = kAacBitrateIndexCount; index-- > 0;) {
    if (kAacBitrateTableKbps[index] <= kbps) return index;
  }
  return 0;
}

uint32_t AudioEncoderAAC::frameBytes() const { return aacSettings.bitsPerSample / 8u * aacSettings.channels; }

int AudioEncoderAAC::initialize() {
  return guarded("AudioEncoderAAC::initialize: ", [&] {
    // A second start replaces the first encoder, whose frame size may differ;
    // what was queued for it goes with it.
    handle.reset();
    releaseSamples();
    aacOutAudioDefaults(&aacSettings, 0);
    aacSettings.bitsPerSample = 16;
    aacSettings.channels = channels;
    // Saturated: a product past 32 bits limits nothing.
    const double product = 6.0 * static_cast<double>(sampleRate) * static_cast<double>(channels);
    const uint32_t limit = product < static_cast<double>(UINT32_MAX) ? static_cast<uint32_t>(product) : UINT32_MAX;
    if (bitrate > limit) {
      std::ostringstream line;
      line << kInitPrefix << "Bitrate is too high for sample rate. Bitrate adjust from " << bitrate << " to " << limit;
      logError(line.str());
      bitrate = limit;
    }
    aacSettings.bitrateIndex = bitrateIndex(bitrate);
    {
      std::ostringstream line;
      line << kInitPrefix << "channels:" << channels << " sampleRate:" << sampleRate << " bitRate:" << bitrate;
      logInfo(line.str());
    }
    if (aacOutAudioChkSettings(nullptr, &aacSettings, 0, sampleRate, 0, nullptr) != 0) {
      logError(std::string(kInitPrefix) + "Error aacOutAudioChkSettings");
      return -2;
    }
    handle.reset(aacOutAudioNew(nullptr, &aacSettings, 0, 0, sampleRate));
    if (handle == nullptr) {
      logError(std::string(kInitPrefix) + "Error aacOutAudioNew");
      return -3;
    }
    if (aacOutAudioInit(handle.get(), outputStream.getStream()) != 0) {
      logError(std::string(kInitPrefix) + "Error aacOutAudioInit");
      return -4;
    }
    outputStream.setChannels(channels);
    outputStream.setSampleRate(sampleRate);
    pcmBuffer = tryAllocateBytes(uint64_t{kFrameSamples} * frameBytes());
    if (pcmBuffer == nullptr) {
      logError(std::string(kInitPrefix) + "no memory for a frame of samples");
      return -1;
    }
    return 0;
  });
}

int AudioEncoderAAC::getHeaders(std::vector<AudioFrameEncoded>&) {
  return guarded("AudioEncoderAAC::getHeaders: ", [] { return 0; });
}

int AudioEncoderAAC::addSampleBuffer(AudioSampleBuffer& buffer, std::vector<AudioFrameEncoded>& out) {
  return guarded("AudioEncoderAAC::addSampleBuffer: ", [&] {
    if (refusedAfterEnd("AudioEncoderAAC")) return -1;
    const uint32_t bytesPerFrame = frameBytes();
    // A buffer without a block has no samples to give.
    if (handle == nullptr || pcmBuffer == nullptr || bytesPerFrame == 0 || buffer.getBuffer() == nullptr) return -1;
    if (firstBuffer) {
      outputStream.setChannels(buffer.getChannels());
      outputStream.setSampleRate(buffer.getSampleRate());
      firstBuffer = false;
    }
    // Samples a block claims beyond its capacity are not there to be read.
    const uint32_t capacity = buffer.getBufferSize() / bytesPerFrame;
    const uint32_t count = buffer.getSampleCount() < capacity ? buffer.getSampleCount() : capacity;
    if (queuedSamples == 0 && buffer.getSampleCount() == kFrameSamples) {
      outputStream.addTimecode(buffer.getTimecode());
      aacOutAudioPutBytes(handle.get(), buffer.getBuffer(), count * bytesPerFrame);
      outputStream.getEncodedFrames(out);
      return 0;
    }
    // The copy keeps only the samples that will be read: a host's block may
    // be far larger than what it holds, and copies wait for a frame to fill.
    AudioSampleBuffer& copy = sampleQueue.emplace_back();
    if (!copy.copyLeading(buffer, count * bytesPerFrame)) {
      sampleQueue.pop_back();
      throw std::bad_alloc();
    }
    copy.setSampleCount(count);
    queuedSamples += count > copy.getSamplesRead() ? count - copy.getSamplesRead() : 0;
    encodeQueuedFrames();
    outputStream.getEncodedFrames(out);
    return 0;
  });
}

uint64_t AudioEncoderAAC::getQueuedBytes() const {
  uint64_t bytes = 0;
  for (const AudioSampleBuffer& copy : sampleQueue) bytes += copy.getBufferSize();
  return bytes;
}

uint32_t AudioEncoderAAC::takeQueuedSamples(uint32_t wanted, uint64_t& position) {
  const uint32_t bytesPerFrame = frameBytes();
  uint32_t got = 0;
  while (got < wanted && !sampleQueue.empty()) {
    AudioSampleBuffer& b = sampleQueue.front();
    const uint32_t left = b.getSampleCount() > b.getSamplesRead() ? b.getSampleCount() - b.getSamplesRead() : 0;
    const uint32_t take = left < wanted - got ? left : wanted - got;
    std::memcpy(pcmBuffer.get() + static_cast<size_t>(got) * bytesPerFrame,
                b.getBuffer() + static_cast<size_t>(b.getSamplesRead()) * bytesPerFrame,
                static_cast<size_t>(take) * bytesPerFrame);
    if (got == 0) position = b.getTimecode() + b.getSamplesRead();
    b.addSamplesRead(take);
    queuedSamples -= take;
    got += take;
    if (b.getSamplesRead() >= b.getSampleCount()) sampleQueue.pop_front();
  }
  return got;
}

void AudioEncoderAAC::encodeQueuedFrames() {
  while (queuedSamples >= kFrameSamples) {
    uint64_t position = 0;
    if (takeQueuedSamples(kFrameSamples, position) < kFrameSamples) {
      // The count and the queue disagree; what is left cannot make a frame.
      queuedSamples = 0;
      break;
    }
    outputStream.addTimecode(position);
    aacOutAudioPutBytes(handle.get(), pcmBuffer.get(), kFrameSamples * frameBytes());
  }
}

int AudioEncoderAAC::endOfStream(std::vector<AudioFrameEncoded>& out) {
  return guarded("AudioEncoderAAC::endOfStream: ", [&] {
    if (!markEnded() || handle == nullptr || pcmBuffer == nullptr) return 0;
    uint64_t position = 0;
    const uint32_t rest = takeQueuedSamples(kFrameSamples, position);
    if (rest > 0) {
      outputStream.addTimecode(position);
      aacOutAudioPutBytes(handle.get(), pcmBuffer.get(), rest * frameBytes());
    }
    sampleQueue.clear();
    queuedSamples = 0;
    outputStream.continuePositions(kFrameSamples);
    aacOutAudioDone(handle.get(), 0);
    outputStream.getEncodedFrames(out);
    return 0;
  });
}

void AudioEncoderAAC::releaseSamples() {
  pcmBuffer.reset();
  sampleQueue.clear();
  queuedSamples = 0;
}

int AudioEncoderAAC::close() {
  releaseSamples();
  return guarded("AudioEncoderAAC::close[close]: ", [&] {
    if (handle != nullptr) {
      // Encodes what the library still holds into the stream, then releases it.
      aacOutAudioDone(handle.get(), 0);
      handle.reset();
    }
    return 0;
  });
}

}  // namespace cvx
