#pragma once

#include <cstdint>

#include "platform/bufstream/BufStream.h"

namespace cvx {

// The feeding half of a stream record: an object a decoder class drives with
// copybytes and auxinfo, ended with done and destroyed with free. The record
// owns the object from the moment it is handed out: its free entry deletes
// it. Nothing is ever read or written through the sink entries.
class BufStreamSource {
 public:
  BufStreamSource(const BufStreamSource&) = delete;
  BufStreamSource& operator=(const BufStreamSource&) = delete;
  virtual ~BufStreamSource() = default;

  bufstream_tt* stream() { return &record; }

  virtual uint32_t copyBytes(const uint8_t* data, uint32_t size) = 0;
  virtual uint32_t auxInfo(uint32_t offset, uint32_t infoId, void* infoPtr, uint32_t infoSize) = 0;
  virtual void done(int abort) = 0;

 protected:
  BufStreamSource();
  // The object behind a record this class set up.
  static BufStreamSource* owner(bufstream_tt* bs) { return static_cast<BufStreamSource*>(bs->privateData); }

 private:
  bufstream_tt record{};
};

}  // namespace cvx
