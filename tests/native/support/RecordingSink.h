#pragma once

#include <cstdint>
#include <cstring>
#include <vector>

#include "platform/bufstream/BufStream.h"
#include "platform/bufstream/TimeStampInfo.h"

namespace cvx::test {

// A sink that keeps each encoded picture as framed and counts calls out of start / stamp / bytes / end order.
class RecordingSink {
 public:
  struct Picture {
    time_stamp_info stamp{};
    bool stamped = false;
    std::vector<uint8_t> bytes;
  };

  RecordingSink() {
    stream.usableBytes = [](bufstream_tt*) -> uint32_t { return 0; };
    stream.copybytes = &RecordingSink::copy;
    stream.auxinfo = &RecordingSink::aux;
    stream.privateData = this;
  }

  bufstream_tt* sink() { return &stream; }

  std::vector<Picture> pictures;
  int orderFaults = 0;
  uint32_t refuseCopies = 0;  // copybytes answers 0 while nonzero

 private:
  static RecordingSink& of(bufstream_tt* bs) { return *static_cast<RecordingSink*>(bs->privateData); }

  static uint32_t copy(bufstream_tt* bs, uint8_t* data, uint32_t n) {
    RecordingSink& self = of(bs);
    if (self.refuseCopies > 0) {
      --self.refuseCopies;
      return 0;
    }
    if (!self.open || !self.current.stamped) {
      ++self.orderFaults;
    }
    self.current.bytes.insert(self.current.bytes.end(), data, data + n);
    return n;
  }

  static uint32_t aux(bufstream_tt* bs, uint32_t, uint32_t code, void* info, uint32_t size) {
    RecordingSink& self = of(bs);
    if (code == 256) {
      self.orderFaults += self.open ? 1 : 0;
      self.open = true;
      self.current = Picture{};
    } else if (code == 0xf000000) {
      if (!self.open || self.current.stamped || !self.current.bytes.empty() || size != sizeof(time_stamp_info)) {
        ++self.orderFaults;
      }
      std::memcpy(&self.current.stamp, info, sizeof(time_stamp_info));
      self.current.stamped = true;
    } else if (code == 0xf0001) {
      self.orderFaults += self.open ? 0 : 1;
      self.open = false;
      if (!self.current.bytes.empty()) {
        self.pictures.push_back(self.current);
      }
    }
    return 0;
  }

  bufstream_tt stream{};
  bool open = false;
  Picture current;
};

}  // namespace cvx::test
