#include "audio/encoders/AudioEncoderBufferStream.h"

#include <cstdlib>
#include <cstring>
#include <exception>
#include <new>

#include "logging/StdoutLine.h"

namespace cvx {

AudioEncoderBufferStream::AudioEncoderBufferStream() : lock(createConcurrentLock()) {
  stream.usableBytes = &usableBytes;
  stream.request = &request;
  stream.confirm = &confirm;
  stream.copybytes = &copybytes;
  stream.freeRoom = &freeRoom;
  stream.auxinfo = &auxinfo;
  stream.self = &self;
  stream.dataWords[2] = 1;
  stream.privateData = this;
  try {
    buffer = static_cast<uint8_t*>(std::malloc(kBufferSize));
    if (buffer == nullptr) throw std::bad_alloc();
  } catch (const std::exception& e) {
    writeStdoutLine("AudioEncoderBufferStream::constructor: ", e);
  }
}

AudioEncoderBufferStream::~AudioEncoderBufferStream() {
  try {
    delete lock;
  } catch (const std::exception& e) {
    writeStdoutLine("AudioEncoderBufferStream::delete[lock]: ", e);
  }
  lock = nullptr;
  std::free(buffer);
  buffer = nullptr;
  // Frames nobody took still own their blocks.
  for (AudioFrameEncoded& frame : frames) std::free(frame.buffer);
  frames.clear();
}

AudioEncoderBufferStream* AudioEncoderBufferStream::from(bufstream_tt* bs) {
  return static_cast<AudioEncoderBufferStream*>(bs->privateData);
}

uint32_t AudioEncoderBufferStream::usableBytes(bufstream_tt* bs) { return from(bs)->bufferUsed; }

uint8_t* AudioEncoderBufferStream::request(bufstream_tt* bs, uint32_t) {
  AudioEncoderBufferStream* s = from(bs);
  if (s->buffer == nullptr || s->bufferUsed >= kBufferSize) return nullptr;
  return s->buffer + s->bufferUsed;
}

uint32_t AudioEncoderBufferStream::confirm(bufstream_tt* bs, uint32_t numBytes) {
  AudioEncoderBufferStream* s = from(bs);
  // A confirmation beyond the room a request could have offered is cut there.
  const uint32_t room = kBufferSize - s->bufferUsed;
  s->bufferUsed += numBytes < room ? numBytes : room;
  return numBytes;
}

uint32_t AudioEncoderBufferStream::copybytes(bufstream_tt* bs, uint8_t* data, uint32_t numBytes) {
  AudioEncoderBufferStream* s = from(bs);
  if (s->buffer == nullptr || numBytes > kBufferSize - s->bufferUsed) return 0;
  std::memcpy(s->buffer + s->bufferUsed, data, numBytes);
  s->bufferUsed += numBytes;
  return numBytes;
}

uint32_t AudioEncoderBufferStream::freeRoom(bufstream_tt* bs) { return kBufferSize - from(bs)->bufferUsed; }

uint32_t AudioEncoderBufferStream::auxinfo(bufstream_tt* bs, uint32_t, uint32_t infoId, void*, uint32_t) {
  if (infoId == kEndOfFrame) from(bs)->closeFrame();
  return 0;
}

void* AudioEncoderBufferStream::self(bufstream_tt* bs) { return bs->privateData; }

void AudioEncoderBufferStream::addTimecode(uint64_t position) {
  try {
    ConcurrentLockGuard guard(lock);
    timecodes.push_back(position);
  } catch (const std::exception& e) {
    writeStdoutLine("AudioEncoderBufferStream::addTimecode: ", e);
  }
}

void AudioEncoderBufferStream::closeFrame() {
  try {
    if (bufferUsed == 0) return;
    auto* block = static_cast<uint8_t*>(std::malloc(bufferUsed));
    if (block == nullptr) {
      // The frame is lost; its position stays queued, as the library's
      // frame order is all there is to pair by.
      bufferUsed = 0;
      return;
    }
    std::memcpy(block, buffer, bufferUsed);
    {
      ConcurrentLockGuard guard(lock);
      uint64_t timecode = 0;
      if (!timecodes.empty()) {
        timecode = timecodes.front();
        timecodes.pop_front();
      }
      try {
        frames.push_back(AudioFrameEncoded{block, bufferUsed, timecode, channels, sampleRate});
      } catch (...) {
        std::free(block);
        throw;
      }
    }
    bufferUsed = 0;
  } catch (const std::exception& e) {
    writeStdoutLine("AudioEncoderBufferStream::closeFrame: ", e);
  }
}

uint32_t AudioEncoderBufferStream::getEncodedFrameCount() {
  try {
    ConcurrentLockGuard guard(lock);
    return static_cast<uint32_t>(frames.size());
  } catch (const std::exception& e) {
    writeStdoutLine("AudioEncoderBufferStream::getEncodedFrameCount: ", e);
    return 0;
  }
}

int AudioEncoderBufferStream::getEncodedFrames(std::vector<AudioFrameEncoded>& out) {
  try {
    ConcurrentLockGuard guard(lock);
    out.insert(out.end(), frames.begin(), frames.end());
    frames.clear();
    return 0;
  } catch (const std::exception& e) {
    writeStdoutLine("AudioEncoderBufferStream::getEncodedFrames: ", e);
    return -1;
  }
}

std::size_t AudioEncoderBufferStream::getPendingTimecodeCount() {
  ConcurrentLockGuard guard(lock);
  return timecodes.size();
}

}  // namespace cvx
