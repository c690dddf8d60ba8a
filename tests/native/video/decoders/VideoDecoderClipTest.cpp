// Every software video decoder on ffmpeg clips, as the session drives it: display order, own timecodes, ffmpeg's pixels.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "logging/LogCollector.h"
#include "media/FourCC.h"
#include "platform/videodecoder/VideoDecoderOpen.h"
#include "support/H264Clip.h"
#include "support/LogDrain.h"
#include "support/MediaFixtures.h"
#include "video/decoders/VideoDecoderH264.h"
#include "video/decoders/VideoDecoderMP2.h"
#include "video/decoders/VideoDecoderMP4.h"
#include "video/frames/VideoFrameBuffer.h"

namespace cvx {
namespace {

using Bytes = std::vector<uint8_t>;

// What a host hands over, and what must come out.
struct Clip {
  Bytes config;  // empty: none
  struct Frame { Bytes data; int64_t timecode; uint32_t frameType; };
  std::vector<Frame> frames;
  std::vector<int64_t> displayTimecodes;  // of the pictures, in display order
  test::StreamFixture stream;             // the reference decode
};

struct Picture {
  int64_t timecode;
  Bytes i420;
};

int64_t timecodeOf(size_t decodeIndex) { return 1000 + 40 * static_cast<int64_t>(decodeIndex); }

// One picture as I420, row by row: YV12 keeps V in plane 1.
Bytes i420Of(const VideoFrameBuffer& frame) {
  Bytes out;
  const bool yv12 = frame.getFourCC() == kFourCCYV12;
  for (int plane : {0, yv12 ? 2 : 1, yv12 ? 1 : 2}) {
    const uint32_t w = plane == 0 ? frame.getWidth() : frame.getWidth() / 2;
    const uint32_t h = plane == 0 ? frame.getHeight() : frame.getHeight() / 2;
    for (uint32_t y = 0; y < h; ++y) {
      const uint8_t* row = frame.getPlane(plane) + static_cast<size_t>(y) * frame.getPlaneStride(plane);
      out.insert(out.end(), row, row + w);
    }
  }
  return out;
}

// Decodes until the decoder reports its input empty, as the session does.
struct Session {
  IVideoDecoder& decoder;
  uint32_t fourcc;
  VideoFrameBuffer frame;
  std::vector<Picture> pictures;
  int sequences = 0;

  uint32_t decodeOnce() {
    uint32_t flags = 0;
    EXPECT_EQ(decoder.decode(flags), 0);
    if (flags & kDecodeSequenceChanged) {
      ++sequences;
      EXPECT_EQ(frame.allocBuffer(decoder.getWidth(), decoder.getHeight(), fourcc), 0);
    }
    if ((flags & kDecodePictureReady) && !(flags & kDecodePictureSkipped)) {
      EXPECT_EQ(decoder.getDecodedFrame(frame), 0);
      pictures.push_back({frame.getTimecode(), i420Of(frame)});
    }
    return flags;
  }
  void decodeAll() {
    for (int guard = 0; guard < 10000 && (decodeOnce() & kDecodeInputEmpty) == 0; ++guard) {
    }
  }
  void run(const Clip& clip) {
    if (!clip.config.empty()) {
      Bytes config = clip.config;
      ASSERT_EQ(decoder.decodeCodecConfig(config.data(), 0, static_cast<uint32_t>(config.size())), 0);
      ASSERT_EQ(frame.allocBuffer(decoder.getWidth(), decoder.getHeight(), fourcc), 0);
    }
    for (const Clip::Frame& f : clip.frames) {
      // The frame sits behind bytes of the host's block that are not its own.
      Bytes data(f.data.size() + 3, 0xEE);
      std::copy(f.data.begin(), f.data.end(), data.begin() + 3);
      EXPECT_EQ(decoder.addFrame(data.data(), 3, static_cast<uint32_t>(f.data.size()), f.timecode, f.frameType), 0);
      decodeAll();
    }
    ASSERT_EQ(decoder.endOfStream(), 0);
    // What the library held comes out one picture a call.
    for (int guard = 0; guard < 1000 && decodeOnce() != kDecodeInputEmpty; ++guard) {
    }
  }
};

// The k-th picture against the k-th of ffmpeg's, from `first` on in both.
void expectPicturesMatch(const std::vector<Picture>& pictures, const Clip& clip, size_t first = 0) {
  ASSERT_EQ(pictures.size(), clip.displayTimecodes.size() - first);
  const size_t bytes = clip.stream.pictureBytes();
  for (size_t k = 0; k < pictures.size(); ++k) {
    SCOPED_TRACE("picture " + std::to_string(first + k));
    EXPECT_EQ(pictures[k].timecode, clip.displayTimecodes[first + k]);
    ASSERT_EQ(pictures[k].i420.size(), bytes);
    EXPECT_GT(test::psnr(pictures[k].i420.data(), clip.stream.referenceYuv.data() + (first + k) * bytes, bytes), 50.0);
  }
}

bool makeH264(const std::string& name, Clip& clip) {
  test::H264Clip h264;
  if (!test::makeH264Clip(name, 320, 240, 30, "-vf setsar=1 -preset veryfast -bf 2 -g 12 -keyint_min 12 -sc_threshold 0",
                          h264)) {
    return false;
  }
  clip.config = h264.config;
  for (const test::H264Clip::Frame& f : h264.frames) clip.frames.push_back({f.data, f.timecode, f.frameType});
  clip.displayTimecodes.clear();
  for (size_t k = 0; k < h264.stream.displayPacket.size(); ++k) clip.displayTimecodes.push_back(40 * static_cast<int64_t>(k));
  clip.stream = std::move(h264.stream);
  return true;
}

// MPEG family: one block per frame; the configuration is the headers in
// front of the first picture (start code `picture`), when the stream has one.
bool makeMpeg(const std::string& name, const std::string& encode, int width, int height, int frames,
              size_t payloadSkip, int picture, Clip& clip) {
  if (!test::makeStreamFixture(name, encode, width, height, frames, clip.stream, payloadSkip)) return false;
  const test::StreamFixture& s = clip.stream;
  for (size_t i = 0; i < s.packets.size(); ++i) {
    const auto begin = s.bytes.begin() + static_cast<long>(s.packets[i].position);
    clip.frames.push_back({Bytes(begin, begin + static_cast<long>(s.packets[i].size)), timecodeOf(i),
                           s.packets[i].key ? 1u : 2u});
  }
  for (size_t packet : s.displayPacket) clip.displayTimecodes.push_back(timecodeOf(packet));
  if (picture >= 0) {
    const Bytes& first = clip.frames.front().data;
    for (size_t at = 0; at + 4 <= first.size(); ++at) {
      if (first[at] == 0 && first[at + 1] == 0 && first[at + 2] == 1 && first[at + 3] == picture) {
        clip.config.assign(first.begin(), first.begin() + static_cast<long>(at));
        break;
      }
    }
  }
  return true;
}

struct ClipCase {
  const char* name;
  uint32_t fourcc;
  int threads;
  bool (*make)(Clip&);
  std::unique_ptr<IVideoDecoder> (*decoder)();
  uint32_t displayWidth, displayHeight;
  double frameRate;  // 0: the stream has none
};

void PrintTo(const ClipCase& c, std::ostream* os) { *os << c.name; }

template <class D>
std::unique_ptr<IVideoDecoder> make() {
  return std::make_unique<D>();
}

class VideoDecoderClip : public ::testing::TestWithParam<ClipCase> {};

TEST_P(VideoDecoderClip, PicturesComeInDisplayOrderWithTheirOwnTimecodesAndFfmpegsPixels) {
  const ClipCase& c = GetParam();
  Clip clip;
  if (!c.make(clip)) GTEST_SKIP() << "ffmpeg is needed";
  std::unique_ptr<IVideoDecoder> decoder = c.decoder();
  LogCollector log;
  decoder->setLogger(&log);
  ASSERT_EQ(decoder->setParameterLong(1, c.threads), 0);
  ASSERT_EQ(decoder->initialize(), 0);
  Session session{*decoder, c.fourcc, {}, {}, 0};
  session.run(clip);
  expectPicturesMatch(session.pictures, clip);
  EXPECT_EQ(session.sequences + (clip.config.empty() ? 0 : 1), 1) << "one sequence, whether configured or in band";
  EXPECT_EQ(decoder->getWidth(), static_cast<uint32_t>(clip.stream.width));
  EXPECT_EQ(decoder->getHeight(), static_cast<uint32_t>(clip.stream.height));
  EXPECT_EQ(decoder->getDisplayWidth(), c.displayWidth);
  EXPECT_EQ(decoder->getDisplayHeight(), c.displayHeight);
  EXPECT_EQ(decoder->getFrameRate(), c.frameRate);
}

bool h264Clip(Clip& clip) { return makeH264("vdc_h264.h264", clip); }
bool mpeg2Clip(Clip& clip) {
  return makeMpeg("vdc_mpeg2.m2v", "-c:v mpeg2video -bf 2 -g 12 -aspect 4:3 -f mpeg2video", 352, 288, 20, 0, 0x00,
                  clip);
}
bool mpeg4Clip(Clip& clip) {
  return makeMpeg("vdc_mpeg4.m4v", "-vf setsar=16/15 -c:v mpeg4 -bf 2 -g 12 -f m4v", 352, 288, 20, 0, 0xB6, clip);
}
bool h263Clip(Clip& clip) { return makeMpeg("vdc_h263.h263", "-c:v h263 -g 12 -f h263", 352, 288, 20, 0, -1, clip); }
// An FLV video tag's header sits in front of each packet.
bool sparkClip(Clip& clip) { return makeMpeg("vdc_spark.flv", "-c:v flv -g 12", 320, 240, 20, 12, -1, clip); }

INSTANTIATE_TEST_SUITE_P(
    EveryDecoder, VideoDecoderClip,
    // ffmpeg's MPEG-4 writes a variable picture rate, and H.263 and Spark have none.
    ::testing::Values(ClipCase{"H264", kFourCCYV12, 1, h264Clip, make<VideoDecoderH264>, 320, 240, 25},
                      ClipCase{"H264ThreadsI420", kFourCCI420, 4, h264Clip, make<VideoDecoderH264>, 320, 240, 25},
                      ClipCase{"Mpeg2", kFourCCYV12, 1, mpeg2Clip, make<VideoDecoderMP2>, 384, 288, 25},
                      ClipCase{"Mpeg4", kFourCCYV12, 1, mpeg4Clip, make<VideoDecoderMP4>, 375, 288, 0},
                      ClipCase{"H263", kFourCCYV12, 1, h263Clip, make<VideoDecoderMP4>, 384, 288, 0},
                      ClipCase{"Spark", kFourCCI420, 1, sparkClip, make<VideoDecoderMP4>, 320, 240, 0}),
    [](const ::testing::TestParamInfo<ClipCase>& info) { return std::string(info.param.name); });

class VideoDecoderH264Clip : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!makeH264("vdc_h264.h264", clip)) GTEST_SKIP() << "ffmpeg with libx264 is needed";
    decoder->setLogger(&log);
  }
  Clip clip;
  LogCollector log;
  std::unique_ptr<VideoDecoderH264> decoder = std::make_unique<VideoDecoderH264>();
  Session session{*decoder, kFourCCYV12, {}, {}, 0};
};

// A damaged frame costs the pictures up to the next key frame, with a line;
// from there every picture is back, whole and in order.
TEST_F(VideoDecoderH264Clip, DamageDropsPicturesUntilTheNextKeyFrame) {
  size_t key = 1;
  while (key < clip.frames.size() && clip.frames[key].frameType != 1) ++key;
  ASSERT_LT(key, clip.frames.size());
  const size_t firstShown = static_cast<size_t>(
      std::find(clip.displayTimecodes.begin(), clip.displayTimecodes.end(), clip.frames[key].timecode) -
      clip.displayTimecodes.begin());
  struct Case { const char* name; size_t frame; bool truncate; };
  // Frames 4 and 6 are inter frames of the first group, one slice each.
  for (const Case& c : {Case{"corrupt", 4, false}, Case{"truncated", 6, true}}) {
    SCOPED_TRACE(c.name);
    Clip damaged = clip;
    Bytes& data = damaged.frames[c.frame].data;
    if (c.truncate) {
      const uint32_t kept = static_cast<uint32_t>(data.size() - 4) / 3;
      data.resize(4 + kept);
      data[0] = static_cast<uint8_t>(kept >> 24);
      data[1] = static_cast<uint8_t>(kept >> 16);
      data[2] = static_cast<uint8_t>(kept >> 8);
      data[3] = static_cast<uint8_t>(kept);
    } else {
      for (size_t k = data.size() / 4 + 8; k < data.size(); k += 3) data[k] ^= 0x5A;
    }
    auto fresh = std::make_unique<VideoDecoderH264>();
    fresh->setLogger(&log);
    ASSERT_EQ(fresh->initialize(), 0);
    Session run{*fresh, kFourCCYV12, {}, {}, 0};
    run.run(damaged);
    ASSERT_LT(run.pictures.size(), clip.displayTimecodes.size());
    ASSERT_GE(run.pictures.size(), clip.displayTimecodes.size() - firstShown);
    expectPicturesMatch(std::vector<Picture>(run.pictures.end() - static_cast<long>(clip.displayTimecodes.size() - firstShown),
                                             run.pictures.end()),
                        clip, firstShown);
    EXPECT_FALSE(test::drainTexts(log, 3).empty()) << "the library's complaint reaches the decoder's log";
  }
}

// The largest picture a stream may have, set at the stream's open: a larger
// one gives neither a sequence nor a picture, before anything is allocated.
uint32_t pixelLimit = 0;
bufstream_tt* openWithPixelLimit(void* a, void* b, void* c) {
  bufstream_tt* stream = openVideoDecoderStreamH264(a, b, c);
  if (stream != nullptr) stream->auxinfo(stream, pixelLimit, decoder_info::kSetMaxPixels, nullptr, 0);
  return stream;
}

TEST_F(VideoDecoderH264Clip, PicturesBeyondThePixelLimitAreNeitherReportedNorDecoded) {
  for (uint32_t limit : {320u * 240u - 1u, 320u * 240u}) {
    SCOPED_TRACE(limit);
    const bool fits = limit >= 320u * 240u;
    pixelLimit = limit;
    VideoDecoderH264 limited(&openWithPixelLimit);
    ASSERT_EQ(limited.initialize(), 0);
    Bytes config = clip.config;
    EXPECT_EQ(limited.decodeCodecConfig(config.data(), 0, static_cast<uint32_t>(config.size())), fits ? 0 : -2);
    clip.config.clear();  // configured above
    Session run{limited, kFourCCYV12, {}, {}, 0};
    ASSERT_EQ(run.frame.allocBuffer(320, 240, kFourCCYV12), 0);
    run.run(clip);
    clip.config = config;
    EXPECT_EQ(run.pictures.size(), fits ? clip.displayTimecodes.size() : 0u);
    EXPECT_EQ(run.sequences, 0);
  }
}

// The picture goes only into a frame of its own size and of a layout the
// decoder writes; a refused frame keeps every byte.
TEST_F(VideoDecoderH264Clip, APictureIsWrittenOnlyIntoAFrameOfItsSizeAndLayout) {
  ASSERT_EQ(decoder->initialize(), 0);
  session.run(clip);
  ASSERT_FALSE(session.pictures.empty());
  struct Case { uint32_t width, fourcc; };
  for (const Case& c : {Case{318, kFourCCYV12}, Case{320, kFourCCYUY2}}) {
    SCOPED_TRACE(c.width);
    VideoFrameBuffer frame;
    ASSERT_EQ(frame.allocBuffer(c.width, 240, c.fourcc), 0);
    std::fill(frame.getBytes(), frame.getBytes() + frame.getByteCount(), 0xEE);
    EXPECT_NE(decoder->getDecodedFrame(frame), 0);
    EXPECT_EQ(std::count(frame.getBytes(), frame.getBytes() + frame.getByteCount(), 0xEE),
              static_cast<long>(frame.getByteCount()));
  }
}

// H.263 has no reordering: what the decoder holds back is its own one picture of delay.
TEST(VideoDecoderLatency, OneFrameOfDelayAndASizeChangeInDisplayOrder) {
  Clip large, small;
  if (!h263Clip(large) || !makeMpeg("vdc_h263_qcif.h263", "-c:v h263 -g 12 -f h263", 176, 144, 6, 0, -1, small)) {
    GTEST_SKIP() << "ffmpeg is needed";
  }
  VideoDecoderMP4 decoder;
  ASSERT_EQ(decoder.initialize(), 0);
  Session session{decoder, kFourCCYV12, {}, {}, 0};
  size_t frames = 0;
  for (const Clip* segment : {&large, &small}) {
    for (const Clip::Frame& f : segment->frames) {
      Bytes data = f.data;
      ASSERT_EQ(decoder.addFrame(data.data(), 0, static_cast<uint32_t>(data.size()), timecodeOf(frames), 2), 0);
      session.decodeAll();
      EXPECT_EQ(session.pictures.size(), frames) << "after frame " << frames;
      ++frames;
    }
  }
  ASSERT_EQ(decoder.endOfStream(), 0);
  session.decodeOnce();
  ASSERT_EQ(session.pictures.size(), frames);
  EXPECT_EQ(session.sequences, 2);
  EXPECT_EQ(decoder.getWidth(), 176u);
  for (size_t k = 0; k < frames; ++k) EXPECT_EQ(session.pictures[k].timecode, timecodeOf(k));
  const size_t bytes = small.stream.pictureBytes();
  EXPECT_GT(test::psnr(session.pictures.back().i420.data(), small.stream.referenceYuv.data() + 5 * bytes, bytes), 50.0);
}

}  // namespace
}  // namespace cvx
