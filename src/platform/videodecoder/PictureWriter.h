#pragma once

#include <cstdint>

struct AVFrame;

namespace cvx {

struct FrameRecord;

enum class PictureWriteResult { Written, NoPicture, SizeMismatch, UnsupportedLayout, UnsupportedPixelFormat };

// Copies a decoded picture once, straight into the planes of a frame record,
// in the order of the record's code: YV12 holds V before U, I420 U before V.
// Writes nothing unless the record has the picture's size; never writes past
// the record's width and height (odd sizes lose their last chroma row).
PictureWriteResult writePicture(const AVFrame& picture, const FrameRecord& record);

}  // namespace cvx
