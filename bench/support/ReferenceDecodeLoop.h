#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

namespace cvx {

// A bare libavcodec send/receive loop over H.264 access units, with nothing of
// the stream's bookkeeping around it: the yardstick the stream is measured by.
class ReferenceDecodeLoop {
 public:
  ReferenceDecodeLoop();
  ~ReferenceDecodeLoop();
  ReferenceDecodeLoop(const ReferenceDecodeLoop&) = delete;
  ReferenceDecodeLoop& operator=(const ReferenceDecodeLoop&) = delete;

  bool open(int threads);
  // Decodes one access unit; each picture that comes out is copied into
  // `target` as I420 of `width` x `height` when `target` is set. Returns the
  // number of pictures, or -1 when the codec failed.
  int decode(const uint8_t* data, size_t size, uint8_t* target, int width, int height);
  // Drains the pictures held for reordering; the loop is open again afterwards.
  int flush(uint8_t* target, int width, int height);

 private:
  int receive(uint8_t* target, int width, int height);

  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace cvx
