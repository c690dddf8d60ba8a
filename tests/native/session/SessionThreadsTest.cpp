// Sessions transcode on their own threads while others drain logs and swap overlays (TSan too); outputs are decoded.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "dumps/DumpWriters.h"
#include "logging/LogCollector.h"
#include "media/CodecNumbers.h"
#include "media/FourCC.h"
#include "session/TranscoderSession.h"
#include "video/decoders/IVideoDecoder.h"
#include "video/frames/VideoOverlayFrame.h"
#include "support/MediaFixtures.h"

namespace cvx {
namespace {

using test::StreamFixture;

constexpr int kSessions = 3;
constexpr uint32_t kSourceWidth = 128;
constexpr uint32_t kSourceHeight = 96;
constexpr int kFrames = 12;
constexpr uint32_t kAudioRate = 8000;
constexpr uint32_t kAudioPacket = 160;  // 20 ms of A-law, one byte a sample
// Rendition 0 (VP8) halves the source; rendition 1 (H.264) carries the
// overlays that the overlay thread keeps changing.
constexpr uint32_t kVp8Width = 64;
constexpr uint32_t kVp8Height = 48;
constexpr uint32_t kH264Side = 48;

struct Packet {
  std::vector<uint8_t> bytes;
  int64_t timecode = 0;
  uint32_t frameType = 0;
};

// What one session's thread saw.
struct SessionOutput {
  std::vector<std::string> failures;  // calls that did not answer 0
  int pictures = 0;
  std::vector<Packet> video[2];
  size_t audioPackets[2] = {0, 0};
  std::vector<uint64_t> audioPositions;
};

std::unique_ptr<VideoOverlayFrame> squareOverlay(uint8_t alpha, uint32_t side, int32_t align) {
  const uint32_t bytes = side * side * 4;
  std::unique_ptr<uint8_t[]> pixels(new uint8_t[bytes]);
  for (uint32_t i = 0; i < bytes; i += 4) {
    pixels[i] = 30;
    pixels[i + 1] = 220;
    pixels[i + 2] = 90;
    pixels[i + 3] = alpha;
  }
  auto frame = std::make_unique<VideoOverlayFrame>();
  frame->setPlacement(0, 0, side, side, align);
  frame->setFrame(kFourCCBGRA, std::move(pixels), bytes, static_cast<int32_t>(side * 4), 0, side, side);
  return frame;
}

class SessionRun {
 public:
  SessionRun(const StreamFixture& video, const std::vector<uint8_t>& alaw) : video_(video), alaw_(alaw) {}

  TranscoderSession& session() { return session_; }
  SessionOutput& output() { return out_; }

  // The structure, in the host's order: decoder, renditions, encoders.
  void build() {
    check("videoDecoderCreate", session_.videoDecoderCreate(kVideoCodecH263, 0));
    check("videoDecoderBuffersCreate", session_.videoDecoderBuffersCreate(1));
    check("videoDecoderInitialize", session_.videoDecoderInitialize());
    check("videoEncoderBufferSetsCreate", session_.videoEncoderBufferSetsCreate(1));
    uint32_t item = 0;
    check("VideoEncoderBufferAdd 0", session_.VideoEncoderBufferAdd(kVp8Width, kVp8Height, 1, kFourCCI420, item));
    check("VideoEncoderBufferAdd 1", session_.VideoEncoderBufferAdd(kH264Side, kH264Side, 0, item));
    addVideoEncoder(kVideoCodecVP8, kVp8Width, kVp8Height);
    addVideoEncoder(kVideoCodecH264, kH264Side, kH264Side);

    check("audioDecoderCreate", session_.audioDecoderCreate(kAudioCodecG711ALaw, 0));
    check("audioDecoderInitialize", session_.audioDecoderInitialize());
    uint8_t description[9] = {0, 0, 0, 0x1F, 0x40, 0, 0, 0, 1};  // 8000 Hz, one channel
    check("audioDecoderDecodeFirstFrame", session_.audioDecoderDecodeFirstFrame(description, 0, sizeof(description)));
    check("audioDecoderBuffersCreate", session_.audioDecoderBuffersCreate(2));
    check("audioDecoderBuffersAllocate", session_.audioDecoderBuffersAllocate(kAudioPacket, 1, kAudioRate));
    const uint32_t codecs[2] = {kAudioCodecVorbis, kAudioCodecAAC};
    const uint32_t bitrates[2] = {16000, 24000};
    for (uint32_t e = 0; e < 2; ++e) {
      uint32_t index = 99;
      check("audioEncoderAdd", session_.audioEncoderAdd(codecs[e], 0, index));
      check("audioEncoderSetSampleRate", session_.audioEncoderSetSampleRate(index, kAudioRate));
      check("audioEncoderSetChannels", session_.audioEncoderSetChannels(index, 1));
      check("audioEncoderSetBitrate", session_.audioEncoderSetBitrate(index, bitrates[e]));
      check("audioEncoderInitialize", session_.audioEncoderInitialize(index));
      std::vector<AudioFrameEncoded> headers;
      check("audioEncoderGetHeaders", session_.audioEncoderGetHeaders(index, headers));
    }
  }

  // Per video frame: the frame through decoder, renditions and encoders, then
  // two audio packets through the decoder and both audio encoders.
  void run() {
    for (size_t i = 0; i < video_.packets.size(); ++i) {
      const test::CodedPacket& packet = video_.packets[i];
      // As the export does: the session keeps the copy while the decoder reads it.
      MallocBlock block(static_cast<uint8_t*>(std::malloc(packet.size)));
      ASSERT_NE(block, nullptr);
      std::memcpy(block.get(), video_.bytes.data() + packet.position, packet.size);
      check("videoDecoderAddFrame", session_.videoDecoderAddFrame(std::move(block), static_cast<uint32_t>(packet.size),
                                                                  static_cast<int64_t>(i) * 40, packet.key ? 1 : 2));
      uint32_t flags = 0;
      do {
        check("videoDecoderDecode", session_.videoDecoderDecode(0, flags));
        if ((flags & kDecodePictureReady) && !(flags & kDecodePictureSkipped)) deliverPicture();
      } while (!(flags & kDecodeInputEmpty) && out_.failures.empty());
      for (size_t a = 2 * i; a < 2 * i + 2; ++a) deliverAudio(a);
    }
  }

 private:
  void check(const char* call, uint32_t status) {
    if (status != 0) out_.failures.push_back(std::string(call) + " answered " + std::to_string(status));
  }

  void addVideoEncoder(uint32_t codec, uint32_t width, uint32_t height) {
    uint32_t index = 99;
    check("videoEncoderAdd", session_.videoEncoderAdd(codec, 0, index));
    check("videoEncoderSetDefaults", session_.videoEncoderSetDefaults(index, 0, 0));
    check("videoEncoderSetFrameSize", session_.videoEncoderSetFrameSize(index, width, height));
    check("videoEncoderSetFrameRate", session_.videoEncoderSetFrameRate(index, 25.0));
    check("videoEncoderSetBitrate", session_.videoEncoderSetBitrate(index, 300000));
    check("videoEncoderInitialize", session_.videoEncoderInitialize(index));
  }

  void deliverPicture() {
    ++out_.pictures;
    check("videoDecoderTransferFrame", session_.videoDecoderTransferFrame(0, 0));
    for (uint32_t e = 0; e < 2; ++e) {
      check("videoEncoderAddFrame", session_.videoEncoderAddFrame(e, 0, e, 0));
      std::vector<VideoFrameEncoded> frames;
      check("videoEncoderGetEncodedFrames", session_.videoEncoderGetEncodedFrames(e, frames));
      for (VideoFrameEncoded& f : frames) {
        out_.video[e].push_back(
            Packet{std::vector<uint8_t>(f.block.data(), f.block.data() + f.block.size()), f.timecode, f.frameType});
      }
    }
  }

  void deliverAudio(size_t packet) {
    const size_t start = packet * kAudioPacket;
    if (start + kAudioPacket > alaw_.size()) return;
    std::vector<uint8_t> block(alaw_.begin() + static_cast<std::ptrdiff_t>(start),
                               alaw_.begin() + static_cast<std::ptrdiff_t>(start + kAudioPacket));
    const uint32_t buffer = static_cast<uint32_t>(packet % 2);
    check("audioDecoderDecodeFrame",
          session_.audioDecoderDecodeFrame(block.data(), 0, kAudioPacket, packet * 20, buffer));
    for (uint32_t e = 0; e < 2; ++e) {
      std::vector<AudioFrameEncoded> frames;
      check("audioEncoderAddSampleBuffer", session_.audioEncoderAddSampleBuffer(e, buffer, frames));
      out_.audioPackets[e] += frames.size();
      for (AudioFrameEncoded& f : frames) {
        if (e == 0) out_.audioPositions.push_back(f.timecode);
      }
    }
  }

  const StreamFixture& video_;
  const std::vector<uint8_t>& alaw_;
  TranscoderSession session_;
  SessionOutput out_;
};

// The VP8 packets as an IVF file, decoded by ffmpeg into 4:2:0 frames.
std::vector<uint8_t> decodeVp8(const std::vector<Packet>& packets, const std::string& name) {
  const std::string ivf = test::fixturePath(name + ".ivf");
  const std::string yuv = test::fixturePath(name + ".yuv");
  std::FILE* file = std::fopen(ivf.c_str(), "wb");
  if (file == nullptr) return {};
  IvfStreamConfig config;
  config.width = kVp8Width;
  config.height = kVp8Height;
  ::testing::internal::CaptureStdout();  // the header writer's diagnostic line
  write_ivf_file_header(file, config, static_cast<uint32_t>(packets.size()));
  ::testing::internal::GetCapturedStdout();
  for (const Packet& p : packets) {
    write_ivf_frame_header(file, static_cast<uint32_t>(p.bytes.size()), p.timecode);
    std::fwrite(p.bytes.data(), 1, p.bytes.size(), file);
  }
  std::fclose(file);
  if (!test::runCommand("ffmpeg -v error -y -i " + ivf + " -f rawvideo -pix_fmt yuv420p " + yuv)) return {};
  return test::readFile(yuv);
}

TEST(SessionThreads, SessionsTranscodeWhileOtherThreadsDrainLogsAndChangeOverlays) {
  StreamFixture video;
  if (!test::makeStreamFixture("threads_h263.h263", "-c:v h263 -g 6 -f h263", kSourceWidth, kSourceHeight, kFrames,
                               video)) {
    GTEST_SKIP() << "ffmpeg is needed";
  }
  const std::string alawPath = test::fixturePath("threads_sine.alaw");
  const std::string scaledPath = test::fixturePath("threads_h263_64x48.yuv");
  if (!test::runCommand("ffmpeg -v error -y -f lavfi -i sine=frequency=440:sample_rate=8000:duration=1 -c:a "
                        "pcm_alaw -f alaw " + alawPath) ||
      !test::runCommand("ffmpeg -v error -y -f rawvideo -s 128x96 -pix_fmt yuv420p -i " + video.rawPath +
                        ".yuv -vf scale=64:48:flags=area -f rawvideo " + scaledPath)) {
    GTEST_SKIP() << "ffmpeg is needed";
  }
  const std::vector<uint8_t> alaw = test::readFile(alawPath);
  const std::vector<uint8_t> scaledReference = test::readFile(scaledPath);

  std::vector<std::unique_ptr<SessionRun>> runs;
  for (int s = 0; s < kSessions; ++s) {
    runs.push_back(std::make_unique<SessionRun>(video, alaw));
    runs.back()->build();
  }

  std::atomic<int> running{kSessions};
  std::atomic<size_t> drained{0};
  std::atomic<int> overlayCalls{0};
  std::vector<std::thread> threads;
  for (auto& run : runs) {
    threads.emplace_back([&running, r = run.get()] {
      r->run();
      running.fetch_sub(1);
    });
  }
  threads.emplace_back([&] {
    // At least one round, however fast the sessions finish.
    std::vector<LogStatement> statements;
    do {
      for (auto& run : runs) {
        statements.clear();
        drainLogStatements(*getDefaultLogger(), run->session().getLogCollector(), statements);
        drained += statements.size();
      }
      std::this_thread::yield();
    } while (running.load() > 0);
  });
  threads.emplace_back([&] {
    uint32_t round = 0;
    do {
      for (auto& run : runs) {
        TranscoderSession& s = run->session();
        const uint32_t key = round % 3;
        // Install, replace, and every third round remove; alpha below 255
        // takes the blending path, 255 the opaque one.
        const bool remove = round % 3 == 2;
        const int32_t corner = kOverlayAlignRight | kOverlayAlignBottom;
        s.videoEncoderBufferSetOverlayVideoFrame(key, 1,
                                                 remove ? nullptr : squareOverlay(round % 2 ? 128 : 255, 8, corner));
        s.videoDecoderBufferSetOverlayVideoFrame(key, remove ? nullptr : squareOverlay(200, 4, 0));
        overlayCalls += 2;
      }
      ++round;
      std::this_thread::yield();
    } while (running.load() > 0);
  });
  for (std::thread& t : threads) t.join();

  EXPECT_GT(drained.load(), 0u);
  EXPECT_GT(overlayCalls.load(), 0);
  // H.263 holds one picture back: every frame but the last comes out.
  const int pictures = kFrames - 1;
  const size_t pictureBytes = kVp8Width * kVp8Height * 3 / 2;
  for (int s = 0; s < kSessions; ++s) {
    SCOPED_TRACE("session " + std::to_string(s));
    const SessionOutput& out = runs[s]->output();
    EXPECT_TRUE(out.failures.empty()) << out.failures.front();
    EXPECT_EQ(out.pictures, pictures);
    for (int e = 0; e < 2; ++e) {
      SCOPED_TRACE(e == 0 ? "VP8" : "H.264");
      ASSERT_EQ(out.video[e].size(), static_cast<size_t>(pictures));
      EXPECT_EQ(out.video[e][0].frameType, 1u);
      for (int k = 0; k < pictures; ++k) EXPECT_EQ(out.video[e][k].timecode, int64_t{k} * 40);
    }
    const std::vector<uint8_t> decoded = decodeVp8(out.video[0], "threads_vp8_" + std::to_string(s));
    ASSERT_EQ(decoded.size(), pictures * pictureBytes);
    for (int k = 0; k < pictures; ++k) {
      // The decoder overlay is a 2x2 patch at this size: it costs little.
      EXPECT_GT(test::psnr(decoded.data() + k * pictureBytes, scaledReference.data() + k * pictureBytes, pictureBytes),
                28.0)
          << "picture " << k;
    }
    EXPECT_GT(out.audioPackets[0], 0u) << "Vorbis";
    EXPECT_GT(out.audioPackets[1], 0u) << "AAC";
    for (size_t k = 1; k < out.audioPositions.size(); ++k) EXPECT_GE(out.audioPositions[k], out.audioPositions[k - 1]);
  }
}

}  // namespace
}  // namespace cvx
