#include "video/encoders/VideoEncoderBufferStream.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <vector>

#include "support/AnnexB.h"

namespace cvx {
namespace {

using Bytes = std::vector<uint8_t>;

Bytes unit(uint8_t header, std::size_t payload, uint8_t fill = 0x42) {
  Bytes b = {0, 0, 0, 1, header};
  b.insert(b.end(), payload, fill);
  return b;
}

Bytes concat(std::initializer_list<Bytes> parts) {
  Bytes out;
  for (const Bytes& p : parts) out.insert(out.end(), p.begin(), p.end());
  return out;
}

TEST(AnnexBConversion, TypesFollowTheLastUnitThatHasASay) {
  struct Case { const char* name; Bytes block; uint32_t type; } cases[] = {
      {"key delimiter", concat({{0, 0, 0, 1, 9, 0x10}, unit(0x41, 20)}), 1},
      {"B delimiter", concat({{0, 0, 0, 1, 9, 0x50}, unit(0x01, 20)}), 3},
      {"P delimiter", concat({{0, 0, 0, 1, 9, 0x30}, unit(0x41, 20)}), 2},
      {"IDR after B delimiter", concat({{0, 0, 0, 1, 9, 0x50}, unit(0x65, 20)}), 1},
      {"parameter sets", concat({unit(0x67, 10), unit(0x68, 4), unit(0x65, 30)}), 1},
      {"no start code", Bytes(40, 0x42), 2},
      {"shorter than seven bytes", {0, 0, 0, 1, 0x65, 0x42}, 2},
  };
  for (Case& c : cases) {
    SCOPED_TRACE(c.name);
    Bytes block = c.block;
    EXPECT_EQ(VideoEncoderBufferStream::convertAnnexBToLengthPrefixed(block.data(), static_cast<uint32_t>(block.size())),
              c.type);
  }
}

TEST(AnnexBConversion, WritesEachUnitsLengthInPlaceOfItsStartCode) {
  Bytes block = concat({unit(0x67, 9), unit(0x68, 3), unit(0x65, 1000)});
  VideoEncoderBufferStream::convertAnnexBToLengthPrefixed(block.data(), static_cast<uint32_t>(block.size()));
  EXPECT_EQ(test::prefixedNalTypes(block.data(), block.size()), (std::vector<int>{7, 8, 5}));

  Bytes threeByteCode = concat({unit(0x41, 12), {0, 0, 1, 0x01}, Bytes(12, 0x42)});
  VideoEncoderBufferStream::convertAnnexBToLengthPrefixed(threeByteCode.data(), static_cast<uint32_t>(threeByteCode.size()));
  EXPECT_EQ(test::prefixedNalTypes(threeByteCode.data(), threeByteCode.size()), std::vector<int>{1})
      << "a three-byte start code stays payload";
}

class VideoEncoderBufferStreamTest : public ::testing::Test {
 protected:
  void frame(const Bytes& bytes, int64_t startTenths, bool withTimeStamp = true) {
    bs->auxinfo(bs, 0, 256, nullptr, 0);
    if (withTimeStamp) {
      time_stamp_info info{startTenths, startTenths + 333, 0, 0};
      bs->auxinfo(bs, 0, 0xf000000, &info, sizeof(info));
    }
    Bytes copy = bytes;
    ASSERT_EQ(bs->copybytes(bs, copy.data(), static_cast<uint32_t>(copy.size())), copy.size());
    bs->auxinfo(bs, 0, 0xf0001, nullptr, 0);
  }
  std::vector<VideoFrameEncoded> take() {
    std::vector<VideoFrameEncoded> out;
    EXPECT_EQ(stream.getEncodedFrames(out), 0);
    return out;
  }
  VideoEncoderBufferStream stream;
  bufstream_tt* bs = stream.getStream();
};

TEST_F(VideoEncoderBufferStreamTest, FramesCarryTheirOwnTimeStampsAndTypes) {
  EXPECT_EQ(stream.getTimecode(), -1);
  frame(concat({{0, 0, 0, 1, 9, 0x10}, unit(0x65, 50)}), 400);
  frame(concat({{0, 0, 0, 1, 9, 0x30}, unit(0x41, 50)}), 1334);
  frame(concat({{0, 0, 0, 1, 9, 0x50}, unit(0x01, 50)}), 1334, false);
  frame(concat({{0, 0, 0, 1, 9, 0x50}, unit(0x01, 50)}), 5);
  frame(concat({{0, 0, 0, 1, 9, 0x50}, unit(0x01, 50)}), -5);
  EXPECT_EQ(stream.getEncodedFrameCount(), 5u);
  std::vector<VideoFrameEncoded> frames = take();
  ASSERT_EQ(frames.size(), 5u);
  const int64_t timecodes[] = {40, 133, 133, 0, 0};
  const uint32_t types[] = {1, 2, 3, 3, 3};
  for (int i = 0; i < 5; ++i) {
    SCOPED_TRACE(i);
    EXPECT_EQ(frames[i].timecode, timecodes[i]);
    EXPECT_EQ(frames[i].frameType, types[i]);
    EXPECT_EQ(frames[i].block.size(), 61u);
  }
  EXPECT_TRUE(take().empty());
}

TEST_F(VideoEncoderBufferStreamTest, StartOfFrameDiscardsAPartialFrameAndEmptyFramesAreNotKept) {
  bs->auxinfo(bs, 0, 0xf0001, nullptr, 0);
  EXPECT_EQ(stream.getEncodedFrameCount(), 0u);
  Bytes junk(100, 7);
  bs->copybytes(bs, junk.data(), 100);
  frame(unit(0x65, 10), 0);
  std::vector<VideoFrameEncoded> frames = take();
  ASSERT_EQ(frames.size(), 1u);
  EXPECT_EQ(frames[0].block.size(), 15u);
}

TEST_F(VideoEncoderBufferStreamTest, AFrameLargerThanTheBufferIsCutNotOverrun) {
  bs->auxinfo(bs, 0, 256, nullptr, 0);
  Bytes big(VideoEncoderBufferStream::kBufferSize, 0x42);
  EXPECT_EQ(bs->copybytes(bs, big.data(), static_cast<uint32_t>(big.size())), big.size());
  EXPECT_EQ(bs->copybytes(bs, big.data(), 1), 0u);
  EXPECT_EQ(bs->request(bs, 1), nullptr);
  bs->confirm(bs, 1000);
  EXPECT_EQ(stream.getBufferUsed(), VideoEncoderBufferStream::kBufferSize);
  bs->auxinfo(bs, 0, 0xf0001, nullptr, 0);
  std::vector<VideoFrameEncoded> frames = take();
  ASSERT_EQ(frames.size(), 1u);
  EXPECT_EQ(frames[0].block.size(), VideoEncoderBufferStream::kBufferSize);
}

}  // namespace
}  // namespace cvx
