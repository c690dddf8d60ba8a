#include "dumps/DumpWriters.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <vector>

namespace cvx {
namespace {

std::vector<uint8_t> contents(std::FILE* file) {
  std::fflush(file);
  std::fseek(file, 0, SEEK_END);
  std::vector<uint8_t> bytes(static_cast<std::size_t>(std::ftell(file)));
  std::fseek(file, 0, SEEK_SET);
  EXPECT_EQ(std::fread(bytes.data(), 1, bytes.size(), file), bytes.size());
  return bytes;
}

uint32_t le32(const std::vector<uint8_t>& b, std::size_t at) {
  return b[at] | (b[at + 1] << 8) | (b[at + 2] << 16) | (uint32_t{b[at + 3]} << 24);
}

// That ffmpeg reads what the writers make is the VP8 round trip's check;
// here what it cannot see.
TEST(IvfWriter, WritesHeadersForOnePassAndLastPassOnly) {
  std::FILE* file = std::tmpfile();
  ASSERT_NE(file, nullptr);
  IvfStreamConfig cfg;
  cfg.timebaseDenominator = 30;
  cfg.pass = 1;
  ::testing::internal::CaptureStdout();
  write_ivf_file_header(file, cfg, 10);
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "write_ivf_file_header: 1:0:2\n");
  EXPECT_TRUE(contents(file).empty());
  cfg.pass = 0;
  ::testing::internal::CaptureStdout();
  write_ivf_file_header(file, cfg, 10);
  ::testing::internal::GetCapturedStdout();
  write_ivf_frame_header(file, 1234, (int64_t{3} << 32) | 7);
  std::vector<uint8_t> b = contents(file);
  ASSERT_EQ(b.size(), 44u);
  EXPECT_EQ(le32(b, 16), 30u);
  EXPECT_EQ(le32(b, 24), 10u);
  EXPECT_EQ(le32(b, 32), 1234u);
  EXPECT_EQ(le32(b, 36), 7u);
  EXPECT_EQ(le32(b, 40), 3u) << "the high word of a large time stamp";
  std::fclose(file);
}

TEST(WaveWriter, RewritesOnlyItsOwnFortyFourBytes) {
  std::FILE* file = std::tmpfile();
  ASSERT_NE(file, nullptr);
  ASSERT_EQ(WAVEUtils::writeHeader(file, 44100, 2, 16, 0), 0);
  const uint8_t pcm[4] = {1, 2, 3, 4};
  std::fwrite(pcm, 1, 4, file);
  ASSERT_EQ(WAVEUtils::writeHeader(file, 44100, 2, 16, 44100), 0);
  std::vector<uint8_t> b = contents(file);
  ASSERT_EQ(b.size(), 48u);
  EXPECT_EQ(le32(b, 40), 176400u);
  EXPECT_EQ(le32(b, 4), 176444u);
  EXPECT_EQ(le32(b, 28), 176400u) << "bytes per second";
  EXPECT_EQ(b[32], 4) << "block align";
  EXPECT_EQ(b[44], 1);
  EXPECT_EQ(WAVEUtils::writeHeader(nullptr, 8000, 1, 16, 1), -1);
  std::fclose(file);
}

}  // namespace
}  // namespace cvx
