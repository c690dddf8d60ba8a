#pragma once

#include <jni.h>

#include <cstdint>
#include <utility>
#include <vector>

#include "audio/samples/AudioFrameEncoded.h"
#include "media/ByteBlocks.h"
#include "native/JniSupport.h"
#include "video/encoders/VideoFrameEncoded.h"

namespace cvx {

// Compressed input: a new block of `header` + `length` bytes holding the
// host's bytes behind `header` bytes of room. Null for a null array, an
// offset/length pair outside the array (no Java exception is left pending),
// or no memory. `total` receives header + length.
MallocBlock copyHostBytes(JNIEnv* env, jbyteArray data, jlong offset, jlong length, uint32_t header,
                          uint32_t& total);

// Frees a block of copyHostBytes under the export's "[free]" handler.
// Returns false when the free raised.
bool freeHostBytes(MallocBlock block, const char* label);

// How an export takes compressed bytes: a codec configuration (and any video
// frame) is copied before the handle is tested, so a zero handle still costs
// the copy; an audio frame is copied only for a session, behind the room for
// a header that the session's decoder writes in front of it.
enum class HostBytes { kCopyFirst, kBehindHeaderRoom };

// The frame of an export that takes compressed bytes: copies them, hands
// block and total length to the session method under the export's handler
// (a zero handle answers -1), and frees the block under `freeLabel` unless
// the call kept it.
template <class Call>
jlong forwardHostBytes(JNIEnv* env, jlong handle, HostBytes kind, jbyteArray data, jlong offset, jlong length,
                       const char* label, const char* freeLabel, Call&& call) {
  uint32_t header = 0;
  if (kind == HostBytes::kBehindHeaderRoom) {
    TranscoderSession* session = sessionFromHandle(handle);
    if (session == nullptr) return -1;
    header = session->getFrameHeaderSize();
  }
  uint32_t total = 0;
  MallocBlock block = copyHostBytes(env, data, offset, length, header, total);
  if (!block) return -1;
  jlong status = callSession(handle, label, -1, -1, [&](TranscoderSession& s) { return call(s, block, total); });
  if (!freeHostBytes(std::move(block), freeLabel)) status = -1;
  return status;
}

// Encoded output: appends one TranscoderPacket per frame with bytes to the
// host's list (type 9 video, 8 audio), each with the one copy of the frame's
// block that crosses into Java. Frames without bytes are skipped, and so is a
// frame whose Java objects cannot be made. If the list or the packet class
// cannot be used, nothing is delivered and the frames are lost. The blocks
// stay with the frames, which release them when they go.
void deliverPackets(JNIEnv* env, jobject list, const std::vector<VideoFrameEncoded>& frames);
void deliverPackets(JNIEnv* env, jobject list, const std::vector<AudioFrameEncoded>& frames);

// The frame of an export whose session method hands over encoded frames: a
// zero handle answers -1; the frames are delivered to `packets` when the
// method succeeded, and go with the local list, delivered or not.
template <class Frame, class Call>
jlong forwardPackets(JNIEnv* env, jlong handle, const char* label, jobject packets, Call&& call) {
  TranscoderSession* session = sessionFromHandle(handle);
  if (session == nullptr) return -1;
  std::vector<Frame> frames;
  return guardExport(label, -1, [&]() -> jlong {
    const uint32_t result = call(*session, frames);
    if (result == 0) deliverPackets(env, packets, frames);
    return widenStatus(result);
  });
}

}  // namespace cvx
