#pragma once

#include <jni.h>

#include <cstdint>
#include <vector>

#include "audio/samples/AudioFrameEncoded.h"
#include "video/encoders/VideoFrameEncoded.h"

namespace cvx {

// Compressed input: a new malloc block of `header` + `length` bytes holding
// the host's bytes behind `header` bytes of room. Null for a null array, an
// offset/length pair outside the array (no Java exception is left pending),
// or no memory. `total` receives header + length.
uint8_t* copyHostBytes(JNIEnv* env, jbyteArray data, jlong offset, jlong length, uint32_t header, uint32_t& total);

// Frees a block handed in by copyHostBytes under the export's "[free]" handler.
// Returns false when the free raised.
bool freeHostBytes(uint8_t* block, const char* label);

// Encoded output: appends one TranscoderPacket per frame with bytes to the
// host's list (type 9 video, 8 audio), each with the one copy of the frame's
// block that crosses into Java. Frames without bytes are skipped, and so is a
// frame whose Java objects cannot be made. If the list or the packet class
// cannot be used, nothing is delivered and the frames are lost. The blocks
// stay with the frames, which release them when they go.
void deliverPackets(JNIEnv* env, jobject list, const std::vector<VideoFrameEncoded>& frames);
void deliverPackets(JNIEnv* env, jobject list, const std::vector<AudioFrameEncoded>& frames);

}  // namespace cvx
