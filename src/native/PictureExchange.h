#pragma once

#include <jni.h>

#include <cstdint>
#include <functional>
#include <memory>

namespace cvx {

class VideoOverlayFrame;

// One BGRA read from the session: with a null buffer it only answers the size
// (bytes, width, height, timecode); with a buffer it converts into it, never
// writing more than `capacity`. Returns the session's status.
using PictureRead = std::function<uint32_t(uint8_t* buffer, uint64_t capacity, uint64_t& size, uint32_t& width,
                                           uint32_t& height, int64_t& timecode)>;

// Fills a host frame object (fields fourcc, bytes, stride, frameStartOffset,
// width, height, timecode) with a top-down BGRA copy: the size is asked
// first, so the Java array is made at its exact size and converted into in
// place. An object without the fields, a bad index or a picture of no size
// leaves the object as it was.
void readPicture(JNIEnv* env, jobject frame, const PictureRead& read);

// Makes an overlay from a host object (the frame fields plus dstX, dstY,
// dstWidth, dstHeight, dstAlign). Null when the object lacks a field other
// than dstAlign, or no memory could be had for its pixels.
std::unique_ptr<VideoOverlayFrame> readOverlay(JNIEnv* env, jobject overlay);

}  // namespace cvx
