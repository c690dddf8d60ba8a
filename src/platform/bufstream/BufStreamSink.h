#pragma once

#include <cstdint>
#include <memory>

#include "platform/bufstream/BufStream.h"

namespace cvx {

// The writing half of a stream record that a library encodes into: a fixed
// buffer that gathers one frame's bytes through request/confirm or
// copybytes. Subclasses react to the library's auxinfo codes, where frames
// begin and end. A frame that does not fit is cut at what the buffer holds;
// nothing is ever written past it.
class BufStreamSink {
 public:
  BufStreamSink(const BufStreamSink&) = delete;
  BufStreamSink& operator=(const BufStreamSink&) = delete;

  // The record handed to the library; valid as long as this object.
  bufstream_tt* getStream() { return &stream; }
  uint32_t getBufferUsed() const { return bufferUsed; }

 protected:
  // `label` prefixes the stdout line when the buffer cannot be had.
  BufStreamSink(uint32_t capacity, const char* label);
  virtual ~BufStreamSink();

  // Called for every auxinfo the library sends; answers 0.
  virtual void onAuxInfo(uint32_t infoId, void* infoPtr, uint32_t infoSize) = 0;

  const uint32_t bufferSize;
  std::unique_ptr<uint8_t[]> buffer;
  uint32_t bufferUsed = 0;

 private:
  static BufStreamSink* from(bufstream_tt* bs);
  static uint32_t usableBytes(bufstream_tt* bs);
  static uint8_t* request(bufstream_tt* bs, uint32_t numBytes);
  static uint32_t confirm(bufstream_tt* bs, uint32_t numBytes);
  static uint32_t copybytes(bufstream_tt* bs, uint8_t* data, uint32_t numBytes);
  static uint32_t freeRoom(bufstream_tt* bs);
  static uint32_t auxinfo(bufstream_tt* bs, uint32_t offset, uint32_t infoId, void* infoPtr, uint32_t infoSize);
  static void* self(bufstream_tt* bs);

  bufstream_tt stream{};
};

}  // namespace cvx
