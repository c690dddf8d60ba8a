#pragma once

#include <mfx/mfxvideo.h>

#include <cstdint>
#include <deque>
#include <vector>

typedef struct x264_t x264_t;

namespace fake {

// H.264 from NV12 surfaces through x264, one access unit per frame, in the
// shape the SDK writes: a delimiter, the parameter sets of key frames, an SEI
// and the slices; four-byte start codes but for slices (and, by setting, a
// key frame's SEI). A frame's unit comes out at once, or, with the setting
// "delayFrames", that many frames later; a null surface then gives out the
// units held, one a call.
class Encoder {
 public:
  explicit Encoder(const mfxVideoParam& par);
  ~Encoder();
  Encoder(const Encoder&) = delete;
  Encoder& operator=(const Encoder&) = delete;

  bool isOpen() const { return handle != nullptr; }
  // The parameters as the SDK reports them, with the buffer size it needs.
  mfxVideoParam params() const;
  // Encodes the surface with the type `ctrl` asks for and writes the unit due
  // into `bs`; -5, keeping the unit for the next call, when it does not fit;
  // -10 when no unit is due.
  mfxStatus encode(mfxEncodeCtrl* ctrl, mfxFrameSurface1* surface, mfxBitstream* bs);

 private:
  struct Unit {
    std::vector<uint8_t> bytes;
    mfxU64 timeStamp = 0;
  };
  Unit shape(const void* nals, int count, bool key) const;

  mfxVideoParam initParams;
  x264_t* handle = nullptr;
  std::deque<Unit> held;
  Unit pending;
};

}  // namespace fake
