#pragma once

#include <cstdint>
#include <memory>

namespace cvx {

class IImageScaler;

// Bits of VideoOverlayFrame's dstAlign. Left and top are what stands when
// neither of the other two of an axis is set; centre wins over right, middle
// over bottom.
constexpr int32_t kOverlayAlignLeft = 1;
constexpr int32_t kOverlayAlignCentre = 2;
constexpr int32_t kOverlayAlignRight = 4;
constexpr int32_t kOverlayAlignTop = 16;
constexpr int32_t kOverlayAlignMiddle = 32;
constexpr int32_t kOverlayAlignBottom = 64;

// One picture that the host lays over the video, with its placement. A BGRA
// picture with any transparent pixel is turned into VUYA when it is set, so
// that drawing needs no colour conversion of the overlay.
class VideoOverlayFrame {
 public:
  VideoOverlayFrame();
  VideoOverlayFrame(const VideoOverlayFrame&) = delete;
  VideoOverlayFrame& operator=(const VideoOverlayFrame&) = delete;

  void setPlacement(int32_t dstX, int32_t dstY, uint32_t dstWidth, uint32_t dstHeight,
                    int32_t dstAlign);
  // Takes the pixels. A BGRA picture of width x height tightly packed rows
  // whose alpha is below 255 anywhere becomes VUYA with the same alpha;
  // stride, byteCount and frameStartOffset stay as given.
  void setFrame(uint32_t fourcc, std::unique_ptr<uint8_t[]> bytes, uint32_t byteCount,
                int32_t stride, int32_t frameStartOffset, uint32_t width, uint32_t height);

  uint32_t getFourCC() const { return fourcc_; }
  const uint8_t* getBytes() const { return bytes_.get(); }
  uint32_t getByteCount() const { return byteCount_; }
  int32_t getStride() const { return stride_; }
  int32_t getFrameStartOffset() const { return frameStartOffset_; }
  uint32_t getWidth() const { return width_; }
  uint32_t getHeight() const { return height_; }
  int32_t getDstX() const { return dstX_; }
  int32_t getDstY() const { return dstY_; }
  uint32_t getDstWidth() const { return dstWidth_; }
  uint32_t getDstHeight() const { return dstHeight_; }
  int32_t getDstAlign() const { return dstAlign_; }
  bool isAlpha() const;
  // True when the pixels cover every row that the code, stride and size
  // need, read from the start of the array with a positive stride; the size
  // is within the overlay limits, the size on the frame within the picture
  // limits, and frameStartOffset inside the array. Anything else is not drawn.
  bool isDrawable() const;

  // Borrowed; the default is the platform's scaler.
  void setImageScaler(IImageScaler* scaler);

 private:
  void convertToVuya();

  uint32_t fourcc_;
  std::unique_ptr<uint8_t[]> bytes_;
  uint32_t byteCount_ = 0;
  uint64_t heldBytes_ = 0;  // what bytes_ really spans, which VUYA may change
  int32_t stride_ = 0;
  int32_t frameStartOffset_ = 0;
  uint32_t width_ = 0;
  uint32_t height_ = 0;
  int32_t dstX_ = 0;
  int32_t dstY_ = 0;
  uint32_t dstWidth_ = 0;
  uint32_t dstHeight_ = 0;
  int32_t dstAlign_ = kOverlayAlignLeft | kOverlayAlignTop;
  IImageScaler* scaler_;
};

}  // namespace cvx
