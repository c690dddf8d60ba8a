#include "platform/bufstream/BufStreamSink.h"

#include <cstdio>
#include <cstring>

#include "media/ByteBlocks.h"

namespace cvx {

BufStreamSink::BufStreamSink(uint32_t capacity, const char* label) : bufferSize(capacity) {
  stream.usableBytes = &usableBytes;
  stream.request = &request;
  stream.confirm = &confirm;
  stream.copybytes = &copybytes;
  stream.freeRoom = &freeRoom;
  stream.auxinfo = &auxinfo;
  stream.self = &self;
  stream.dataWords[2] = 1;
  stream.privateData = this;
  buffer = tryAllocateBytes(capacity);
  if (buffer == nullptr) {
    // Without a buffer every write is refused; the stream stays usable.
    std::printf("%sstd::bad_alloc\n", label);
    std::fflush(stdout);
  }
}

BufStreamSink::~BufStreamSink() = default;

BufStreamSink* BufStreamSink::from(bufstream_tt* bs) { return static_cast<BufStreamSink*>(bs->privateData); }

uint32_t BufStreamSink::usableBytes(bufstream_tt* bs) { return from(bs)->bufferUsed; }

uint8_t* BufStreamSink::request(bufstream_tt* bs, uint32_t) {
  BufStreamSink* s = from(bs);
  if (s->buffer == nullptr || s->bufferUsed >= s->bufferSize) return nullptr;
  return s->buffer.get() + s->bufferUsed;
}

uint32_t BufStreamSink::confirm(bufstream_tt* bs, uint32_t numBytes) {
  BufStreamSink* s = from(bs);
  // A confirmation beyond the room a request could have offered stops there.
  const uint32_t room = s->bufferSize - s->bufferUsed;
  s->bufferUsed += numBytes < room ? numBytes : room;
  return numBytes;
}

uint32_t BufStreamSink::copybytes(bufstream_tt* bs, uint8_t* data, uint32_t numBytes) {
  BufStreamSink* s = from(bs);
  if (s->buffer == nullptr || numBytes > s->bufferSize - s->bufferUsed) return 0;
  std::memcpy(s->buffer.get() + s->bufferUsed, data, numBytes);
  s->bufferUsed += numBytes;
  return numBytes;
}

uint32_t BufStreamSink::freeRoom(bufstream_tt* bs) {
  BufStreamSink* s = from(bs);
  return s->bufferSize - s->bufferUsed;
}

uint32_t BufStreamSink::auxinfo(bufstream_tt* bs, uint32_t, uint32_t infoId, void* infoPtr, uint32_t infoSize) {
  from(bs)->onAuxInfo(infoId, infoPtr, infoSize);
  return 0;
}

void* BufStreamSink::self(bufstream_tt* bs) { return bs->privateData; }

}  // namespace cvx
