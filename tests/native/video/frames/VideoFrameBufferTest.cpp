#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "platform/imagescaler/ScaleImage.h"
#include "video/encoders/VideoEncoderVPX.h"
#include "video/encoders/VideoFrameEncoded.h"
#include "video/frames/PictureLimits.h"
#include "video/frames/PictureMemoryBudget.h"
#include "video/frames/VideoFrameBuffer.h"

namespace cvx {
namespace {

struct LayoutCase {
  const char* name;
  uint32_t fourcc;
  uint32_t width, height;
  uint64_t size;
  int32_t stride;
  int32_t frameStartOffset;
};

TEST(VideoFrameBufferLayout, SizesStridesAndOffsetsPerCode) {
  const LayoutCase cases[] = {
      {"YV12", kFourCCYV12, 64, 48, 64 * 48 * 12 / 8, 64, 0},
      {"I420", kFourCCI420, 30, 10, 450, 30, 0},
      {"YUY2", kFourCCYUY2, 64, 48, 128 * 48, 128, 0},
      {"YUYV", kFourCCYUYV, 10, 2, 40, 20, 0},
      {"UYVY", kFourCCUYVY, 10, 2, 40, 20, 0},
      {"v210", kFourCCv210, 1920, 2, 5120 * 2, 5120, 0},
      {"v210 small", kFourCCv210, 6, 1, 128, 128, 0},
      {"BGR3", kFourCCBGR3, 10, 4, 120, -30, 90},
      {"BGRA", kFourCCBGRA, 10, 4, 160, -40, 120},
      {"BGR4", kFourCCBGR4, 10, 4, 160, -40, 120},
      {"H264", kFourCCH264, 1920, 1080, 32768, 32768, 0},
      {"XYZ12", kFourCCXYZ12, 10, 4, 240, 60, 0},
      {"YV16", kFourCCYV16, 64, 48, 0, 64, 0},
      {"NV12", kFourCCNV12, 64, 48, 0, 64, 0},
  };
  for (const LayoutCase& c : cases) {
    SCOPED_TRACE(c.name);
    int32_t stride = 7, offset = 7;
    EXPECT_EQ(VideoFrameBuffer::calcBufferLayout(c.width, c.height, c.fourcc, stride, offset), c.size);
    EXPECT_EQ(stride, c.stride);
    EXPECT_EQ(offset, c.frameStartOffset);
  }
}

TEST(VideoFrameBufferLayout, PlaneAddressesFollowThePlaneRule) {
  using Planes = std::vector<const uint8_t*>;
  VideoFrameBuffer yv12, i420, bgra, yv16;
  ASSERT_EQ(yv12.allocBuffer(64, 48, kFourCCYV12), 0);
  ASSERT_EQ(i420.allocBuffer(64, 48, kFourCCI420), 0);
  ASSERT_EQ(bgra.allocBuffer(10, 4, kFourCCBGRA), 0);
  ASSERT_EQ(yv16.allocBuffer(64, 48, kFourCCYV16), 0);
  // YV12: plane 1 first in memory, holding V; the VP8 view is Y, U, V, so its U is plane 2.
  const uint8_t* bytes = yv12.getBytes();
  EXPECT_EQ((Planes{yv12.getPlane(0), yv12.getPlane(1), yv12.getPlane(2), yv12.getPlane(3)}),
            (Planes{bytes, bytes + 64 * 48, bytes + 64 * 48 + 64 * 48 / 4, nullptr}));
  EXPECT_EQ((std::vector<int32_t>{yv12.getPlaneStride(1), yv12.getPlaneStride(2)}), (std::vector<int32_t>{32, 32}));
  const VpxImageView* view = yv12.getVpxImage();
  EXPECT_EQ((std::vector<uint32_t>{view->fmt, view->d_w, view->d_h, static_cast<uint32_t>(view->bps), view->x_chroma_shift}),
            (std::vector<uint32_t>{kVpxImageFormatI420, 64, 48, 12, 1}));
  EXPECT_EQ((Planes{view->planes[0], view->planes[1], view->planes[2]}), (Planes{bytes, yv12.getPlane(2), yv12.getPlane(1)}));
  EXPECT_EQ((Planes{i420.getVpxImage()->planes[1], i420.getVpxImage()->planes[2]}), (Planes{i420.getPlane(1), i420.getPlane(2)}));
  // BGRA: bottom-up, plane 0 at the last row.
  EXPECT_EQ(bgra.getStride(), -40);
  EXPECT_EQ(bgra.getPlaneStride(0), -40);
  EXPECT_EQ((Planes{bgra.getPlane(0), bgra.getPlane(1)}), (Planes{bgra.getBytes() + 120, nullptr}));
  // YV16: a zero-byte block and no planes pointing past it.
  EXPECT_EQ(yv16.getByteCount(), 0u);
  EXPECT_EQ((Planes{yv16.getPlane(0), yv16.getPlane(1)}), (Planes{nullptr, nullptr}));
  EXPECT_EQ(yv16.blackFill(), 0);
}

TEST(VideoFrameBufferLayout, SameSizeKeepsCodeAndBlock) {
  VideoFrameBuffer buffer;
  ASSERT_EQ(buffer.allocBuffer(32, 16, kFourCCYV12), 0);
  uint8_t* block = buffer.getBytes();
  ASSERT_EQ(buffer.allocBuffer(32, 16, kFourCCBGRA), 0);
  EXPECT_EQ(buffer.getBytes(), block);
  EXPECT_EQ(buffer.getFourCC(), kFourCCYV12);
  EXPECT_EQ(buffer.getStride(), 32);
  ASSERT_EQ(buffer.allocBuffer(64, 16), 0);
  EXPECT_EQ(buffer.getFourCC(), kFourCCYV12);
  EXPECT_EQ(buffer.getByteCount(), 64u * 16 * 12 / 8);
  EXPECT_EQ(buffer.freeBuffer(), 0);
  EXPECT_EQ(buffer.freeBuffer(), 0);
  EXPECT_EQ(buffer.getBytes(), nullptr);
}

TEST(VideoFrameBufferSettings, CropCanBeClearedSourceRectCannot) {
  VideoFrameBuffer buffer;
  EXPECT_EQ(buffer.getScaleMode(), 3);
  const uint32_t crop[4] = {1, 2, 3, 4};
  buffer.setCrop(crop, 4);
  EXPECT_TRUE(buffer.isCropEnabled());
  buffer.setCrop(nullptr, 0);
  EXPECT_FALSE(buffer.isCropEnabled());
  EXPECT_EQ(buffer.getCrop()[3], 4u);
  const uint32_t rect[4] = {5, 6, 7, 8};
  buffer.setSrcRect(rect, 4);
  buffer.setSrcRect(nullptr, 0);
  EXPECT_TRUE(buffer.isSrcRectEnabled());
}

TEST(VideoFrameBufferPixels, BlackFillPaintsEveryCodeBlack) {
  struct Case {
    const char* name;
    uint32_t fourcc;
    std::vector<uint8_t> pattern;  // the repeating bytes of black
  } cases[] = {
      {"I420 luma", kFourCCI420, {16}},
      {"YUY2", kFourCCYUY2, {16, 128, 16, 128}},
      {"UYVY", kFourCCUYVY, {128, 16, 128, 16}},
      {"BGRA", kFourCCBGRA, {0, 0, 0, 255}},
      {"BGR3", kFourCCBGR3, {0, 0, 0}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    VideoFrameBuffer buffer;
    ASSERT_EQ(buffer.allocBuffer(20, 10, c.fourcc), 0);
    std::memset(buffer.getBytes(), 0x77, buffer.getByteCount());
    ASSERT_EQ(buffer.blackFill(), 0);
    const uint64_t checked = c.fourcc == kFourCCI420 ? 200 : buffer.getByteCount();
    for (uint64_t i = 0; i < checked; ++i) ASSERT_EQ(buffer.getBytes()[i], c.pattern[i % c.pattern.size()]) << i;
  }
}

TEST(VideoFrameBufferPixels, GetFrameBGRASizeQueryAndCapacity) {
  VideoFrameBuffer frame;
  ASSERT_EQ(frame.allocBuffer(16, 8, kFourCCI420), 0);
  frame.blackFill();
  frame.setTimecode(1234);
  uint64_t size = 0;
  uint32_t width = 0, height = 100;
  int64_t timecode = 0;
  EXPECT_EQ(frame.getFrameBGRA(nullptr, 0, &size, &width, &height, &timecode), 0);
  EXPECT_EQ((std::vector<int64_t>{width, height, static_cast<int64_t>(size), timecode}), (std::vector<int64_t>{16, 8, 16 * 8 * 4, 1234}));

  std::vector<uint8_t> small(size - 1, 0x55);
  EXPECT_EQ(frame.getFrameBGRA(small.data(), small.size(), &size, &width, &height, nullptr), -1);
  for (uint8_t b : small) ASSERT_EQ(b, 0x55);

  width = 8, height = 4;
  std::vector<uint8_t> scaled(8 * 4 * 4, 0x55);
  EXPECT_EQ(frame.getFrameBGRA(scaled.data(), scaled.size(), &size, &width, &height, nullptr), 0);
  EXPECT_EQ(size, scaled.size());
  for (size_t i = 0; i < scaled.size(); i += 4) {
    ASSERT_LE(scaled[i], 1);
    ASSERT_EQ(scaled[i + 3], 255);
  }
}

// The VP8 encoder reads a chroma row and column past the plane rule's block when a side is odd (ASan).
TEST(VideoFrameBufferVpxView, OddSizedPicturesEncodeWithinTheirBlocks) {
  const uint32_t sizes[][2] = {{16, 5}, {15, 5}, {17, 3}, {2, 1}, {1, 1}, {3, 7}, {64, 47}};
  for (uint32_t fourcc : {kFourCCI420, kFourCCYV12}) {
    for (const auto& size : sizes) {
      const uint32_t w = size[0], h = size[1];
      SCOPED_TRACE(testing::Message() << w << "x" << h << (fourcc == kFourCCI420 ? " I420" : " YV12"));
      VideoFrameBuffer frame;
      ASSERT_EQ(frame.allocBuffer(w, h, fourcc), 0);
      EXPECT_EQ(frame.getByteCount(), uint64_t{w} * h * 12 / 8) << "the layout's size stays";
      EXPECT_EQ(frame.getPlane(2), frame.getBytes() + w * h + w * h / 4);
      EXPECT_EQ(frame.getPlaneStride(1), static_cast<int32_t>(w / 2));
      std::memset(frame.getBytes(), 128, VideoFrameBuffer::calcBlockBytes(w, h, fourcc));
      VideoEncoderVPX encoder;
      encoder.setDefaults(0, 0);
      encoder.setFrameSize(w, h);
      encoder.setBitrate(100000);
      ASSERT_EQ(encoder.initialize(), 0);
      std::vector<VideoFrameEncoded> out;
      for (int i = 0; i < 2; ++i) {
        ASSERT_EQ(encoder.addFrame(frame, 0), 0);
        encoder.getEncodedFrames(out);
      }
      EXPECT_EQ(out.size(), 2u) << "both pictures were encoded";
    }
  }
  EXPECT_EQ(VideoFrameBuffer::calcBlockBytes(16, 5, kFourCCI420), 124u);  // 120 + one chroma row's overhang
  EXPECT_EQ(VideoFrameBuffer::calcBlockBytes(16, 4, kFourCCI420), 96u);
  EXPECT_EQ(VideoFrameBuffer::calcBlockBytes(16, 5, kFourCCBGRA), 320u);
}

// A refused size or block leaves a buffer empty and inert: nothing may point at the block it lost.
TEST(VideoFrameBufferLimits, RefusedBlocksLeaveTheBufferEmptyAndInert) {
  PictureMemoryBudget budget(100000);
  struct Case { const char* name; uint32_t width, height, fourcc; } cases[] = {
      {"wider than the limit", kMaxPictureSide + 1, 16, kFourCCI420},
      {"a width that wraps 32 bits", 0xFFFFFFFFu, 16, kFourCCBGRA},
      {"more pixels than the limit", kMaxPictureSide, kMaxPictureSide, kFourCCBGRA},
      {"more than the budget", 320, 240, kFourCCBGRA},
  };
  VideoFrameBuffer source;
  ASSERT_EQ(source.allocBuffer(64, 48, kFourCCI420), 0);
  std::memset(source.getBytes(), 90, source.getByteCount());
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    VideoFrameBuffer buffer;
    buffer.setMemoryBudget(&budget);
    ASSERT_EQ(buffer.allocBuffer(32, 16, kFourCCI420), 0);  // a block first, freed by the refusal
    EXPECT_LT(budget.getAvailable(), 100000u);
    buffer.setScaleMode(kScaleModeLetterbox);
    EXPECT_EQ(buffer.allocBuffer(c.width, c.height, c.fourcc), -1);
    EXPECT_EQ(budget.getAvailable(), 100000u) << "the old block's bytes went back";
    EXPECT_EQ(buffer.getWidth() + buffer.getHeight(), 0u);
    EXPECT_EQ(buffer.getBytes(), nullptr);
    for (int p = 0; p < 4; ++p) {
      EXPECT_EQ(buffer.getPlane(p), nullptr);
      EXPECT_EQ(buffer.getVpxImage()->planes[p], nullptr);
    }
    EXPECT_EQ(buffer.scaleFrom(source, true), -1);
    VideoFrameBuffer target;
    ASSERT_EQ(target.allocBuffer(16, 16, kFourCCBGRA), 0);
    EXPECT_EQ(target.scaleFrom(buffer, true), -1);
    uint64_t size = 1;
    uint32_t width = 8, height = 8;
    EXPECT_EQ(buffer.getFrameBGRA(nullptr, 0, &size, &width, &height, nullptr), 0);
    EXPECT_EQ(size, 0u) << "no picture to read";
    std::vector<uint8_t> bgra(8 * 8 * 4);
    EXPECT_EQ(buffer.getFrameBGRA(bgra.data(), bgra.size(), &size, &width, &height, nullptr), -1);
    EXPECT_EQ(VideoFrameBuffer::copyYV12ToNV12(buffer, source), -1);
    // The same size later, once there is room again, gets its block.
    EXPECT_EQ(buffer.allocBuffer(32, 16, kFourCCI420), 0);
    EXPECT_NE(buffer.getPlane(0), nullptr);
  }
  // A read at a size past the limits is refused the same way.
  uint64_t size = 1;
  uint32_t width = kMaxPictureSide + 1, height = 2;
  EXPECT_EQ(source.getFrameBGRA(nullptr, 0, &size, &width, &height, nullptr), 0);
  EXPECT_EQ(size, 0u);
}

// A view of the 8 x 4 NV12 pixels of `nv12` with their interleaved plane as plane 1.
int attachNV12View(VideoFrameBuffer& view, VideoFrameBuffer& nv12) {
  uint8_t* planes[4] = {nv12.getBytes(), nv12.getBytes() + 32, nullptr, nullptr};
  const int32_t strides[4] = {8, 4, 4, 0};
  return view.attachExternal(8, 4, kFourCCYV12, planes, strides, nv12.getByteCount());
}

TEST(VideoFrameBufferCopies, YV12ToNV12AndBack) {
  VideoFrameBuffer yv12, nv12Work, back;
  ASSERT_EQ(yv12.allocBuffer(8, 4, kFourCCYV12), 0);
  ASSERT_EQ(nv12Work.allocBuffer(8, 4, kFourCCYV12), 0);
  ASSERT_EQ(back.allocBuffer(8, 4, kFourCCYV12), 0);
  uint8_t* bytes = yv12.getBytes();
  for (int i = 0; i < 32; ++i) bytes[i] = static_cast<uint8_t>(i);
  for (int i = 0; i < 8; ++i) bytes[32 + i] = static_cast<uint8_t>(100 + i);  // V
  for (int i = 0; i < 8; ++i) bytes[40 + i] = static_cast<uint8_t>(200 + i);  // U
  ASSERT_EQ(VideoFrameBuffer::copyYV12ToNV12(nv12Work, yv12), 0);
  const uint8_t* nv = nv12Work.getBytes();
  EXPECT_EQ(nv[5], 5);
  EXPECT_EQ(nv[32], 200);  // U, even byte
  EXPECT_EQ(nv[33], 100);  // V, odd byte
  EXPECT_EQ(nv[32 + 8 + 7], 107);

  VideoFrameBuffer view;
  ASSERT_EQ(attachNV12View(view, nv12Work), 0);
  ASSERT_EQ(VideoFrameBuffer::copyNV12ToYV12(back, view), 0);
  EXPECT_EQ(std::memcmp(back.getBytes(), yv12.getBytes(), 48), 0);
  view.freeBuffer();  // borrowed: nothing is freed
  EXPECT_EQ(nv12Work.getBytes()[0], 0);
}

TEST(VideoFrameBufferCopies, SmallerSourcePlacesChromaByEachRule) {
  VideoFrameBuffer small, large, smallBack;
  ASSERT_EQ(small.allocBuffer(4, 2, kFourCCYV12), 0);
  ASSERT_EQ(large.allocBuffer(8, 4, kFourCCYV12), 0);
  std::memset(small.getBytes(), 9, small.getByteCount());
  std::memset(large.getBytes(), 0, large.getByteCount());
  ASSERT_EQ(VideoFrameBuffer::copyYV12ToNV12(large, small), 0);
  // Interleaved chroma after the destination's full luma plane (8 x 4).
  EXPECT_EQ(large.getBytes()[32], 9);
  EXPECT_EQ(large.getBytes()[8], 9);  // row 1 goes by the destination stride
  EXPECT_EQ(large.getBytes()[4], 0);  // only the smaller stride is copied

  VideoFrameBuffer view;
  ASSERT_EQ(attachNV12View(view, large), 0);
  ASSERT_EQ(smallBack.allocBuffer(4, 2, kFourCCYV12), 0);
  std::memset(smallBack.getBytes(), 0, smallBack.getByteCount());
  ASSERT_EQ(VideoFrameBuffer::copyNV12ToYV12(smallBack, view), 0);
  // Chroma right after the two copied rows of 4.
  EXPECT_EQ(std::vector<uint8_t>(smallBack.getBytes() + 8, smallBack.getBytes() + 10), (std::vector<uint8_t>{9, 9}));

  VideoFrameBuffer nv12;
  ASSERT_EQ(nv12.allocBuffer(8, 4, kFourCCNV12), 0);  // no layout: zero bytes, too small either way
  EXPECT_EQ(VideoFrameBuffer::copyYV12ToNV12(nv12, large), -1);
  EXPECT_EQ(VideoFrameBuffer::copyNV12ToYV12(large, nv12), -1);
}

}  // namespace
}  // namespace cvx
