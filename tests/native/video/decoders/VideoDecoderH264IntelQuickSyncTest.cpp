#include "video/decoders/VideoDecoderH264IntelQuickSync.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "logging/LogCollector.h"
#include "media/FourCC.h"
#include "support/FakeRuntimeFixture.h"
#include "support/H264Clip.h"
#include "support/LogDrain.h"
#include "video/frames/VideoFrameBuffer.h"

namespace cvx {
namespace {

using namespace mfx;
using test::H264Clip;

// One filler unit of `size` bytes behind its length.
std::vector<uint8_t> fillerFrame(size_t size) {
  std::vector<uint8_t> unit(size - 4, 0x5A);
  unit[0] = 0x0C;  // filler data
  return test::lengthPrefixed({unit});
}

struct Picture {
  int64_t timecode;
  int32_t frameType;
  std::vector<uint8_t> i420;
};

// A clip with B-frames, and one without, whose pictures come out at once.
const H264Clip& clipWithBFrames() {
  static H264Clip clip;
  static const bool made = test::makeH264Clip("qsv-decode-b.h264", 160, 96, 30, "-preset veryfast -bf 2 -g 12", clip);
  EXPECT_TRUE(made);
  return clip;
}
const H264Clip& clipWithoutBFrames() {
  static H264Clip clip;
  static const bool made = test::makeH264Clip("qsv-decode-p.h264", 160, 96, 8, "-preset veryfast -bf 0 -g 4", clip);
  EXPECT_TRUE(made);
  return clip;
}

class QuickSyncDecoderTest : public test::FakeRuntimeTest {
 protected:
  void TearDown() override {
    decoder.reset();
    FakeRuntimeTest::TearDown();
  }

  void open(uint32_t implementation = MFX_IMPL_AUTO) {
    decoder.reset();
    decoder = std::make_unique<VideoDecoderH264IntelQuickSync>();
    decoder->setImplementation(implementation);
    decoder->setLogger(&log);
    ASSERT_EQ(decoder->initialize(), 0);
  }
  // The session's steps at a configuration: the decoder, then its frame.
  void configure(const H264Clip& clip) {
    std::vector<uint8_t> record = clip.config;
    ASSERT_EQ(decoder->decodeCodecConfig(record.data(), 0, static_cast<uint32_t>(record.size())), 0);
    frame.allocBuffer(decoder->getWidth(), decoder->getHeight(), kFourCCYV12);
  }
  // A fresh decoder on the clip without B-frames, configured.
  const H264Clip& start() {
    const H264Clip& clip = clipWithoutBFrames();
    pictures.clear();
    open();
    configure(clip);
    return clip;
  }
  int add(const std::vector<uint8_t>& data, int64_t timecode, uint32_t frameType) {
    std::vector<uint8_t> bytes = data;
    const int status = decoder->addFrame(bytes.data(), 0, static_cast<uint32_t>(bytes.size()), timecode, frameType);
    std::fill(bytes.begin(), bytes.end(), 0xEE);  // the host's block is gone after the call
    return status;
  }
  // One frame as the host gives it, decoded until the input is consumed.
  uint32_t feed(const H264Clip::Frame& f) {
    EXPECT_EQ(add(f.data, f.timecode, f.frameType), 0);
    return drain();
  }
  uint32_t drain() {
    uint32_t all = 0;
    for (int guard = 0; guard < 50; ++guard) {
      uint32_t flags = 0;
      EXPECT_EQ(decoder->decode(flags), 0);
      all |= flags;
      if ((flags & kDecodePictureReady) && !(flags & kDecodePictureSkipped)) {
        EXPECT_EQ(decoder->getDecodedFrame(frame), 0);
        pictures.push_back({frame.getTimecode(), frame.getFrameType(),
                            test::yv12AsI420(frame.getBytes(), static_cast<int>(frame.getWidth()),
                                             static_cast<int>(frame.getHeight()))});
      }
      if (flags & kDecodeInputEmpty) return all;
    }
    ADD_FAILURE() << "decode never reported its input consumed";
    return all;
  }
  void expectPicturesMatchTheReference(const H264Clip& clip) {
    const size_t size = clip.stream.pictureBytes();
    for (size_t k = 0; k < pictures.size(); ++k) {
      SCOPED_TRACE("picture " + std::to_string(k));
      EXPECT_EQ(pictures[k].timecode, static_cast<int64_t>(k) * 40);
      ASSERT_EQ(pictures[k].i420.size(), size);
      EXPECT_EQ(std::memcmp(pictures[k].i420.data(), clip.stream.referenceYuv.data() + k * size, size), 0)
          << "the decode is the reference's, pixel for pixel";
    }
  }

  LogCollector log;
  std::unique_ptr<VideoDecoderH264IntelQuickSync> decoder;
  VideoFrameBuffer frame;
  std::vector<Picture> pictures;
};

// At the end the runtime is asked without a bitstream for the pictures it holds.
TEST_F(QuickSyncDecoderTest, EndOfStreamGivesOutThePicturesTheRuntimeHolds) {
  const H264Clip& clip = clipWithBFrames();
  open();
  configure(clip);
  EXPECT_EQ(decoder->getDisplayWidth(), 160u);
  EXPECT_DOUBLE_EQ(decoder->getFrameRate(), 25.0);
  EXPECT_EQ(fakeMfxLast("DecodeInit.IOPattern"), MFX_IOPATTERN_OUT_SYSTEM_MEMORY);
  EXPECT_EQ(decoder->getSurfaceCount(), 4u) << "what the runtime suggested";
  EXPECT_EQ(test::drainTexts(log, 2),
            (std::vector<std::string>{
                "VideoDecoderH264IntelQuickSync.initialize[{context}]: Create video decoder: Hardware",
                "VideoDecoderH264IntelQuickSync.updateDecodeInfo[{context}]:  frame:160x96 display:160x96 frameRate:25"}));
  for (const H264Clip::Frame& f : clip.frames) feed(f);
  ASSERT_LT(pictures.size(), clip.frames.size());
  ASSERT_EQ(decoder->endOfStream(), 0);
  EXPECT_FALSE(decoder->isInputEmpty());
  EXPECT_TRUE(drain() & kDecodeInputEmpty);
  ASSERT_EQ(pictures.size(), clip.frames.size());
  expectPicturesMatchTheReference(clip);
  for (size_t k = 0; k < pictures.size(); ++k) {
    EXPECT_EQ(pictures[k].frameType, k % 12 == 0 ? 1 : 2) << "picture " << k;
  }
  EXPECT_TRUE(decoder->isInputEmpty());
  EXPECT_TRUE(test::drainTexts(log, 3).empty());
  EXPECT_EQ(add(clip.frames[0].data, 0, 1), -1);
  EXPECT_EQ(test::drainTexts(log, 3), std::vector<std::string>{
                          "VideoDecoderH264IntelQuickSync.addFrame[{context}]: refused: the stream has ended"});
}

TEST_F(QuickSyncDecoderTest, InitializeNamesTheImplementationTheSdkGave) {
  struct Case { uint32_t asked; bool hardware; const char* words; };
  for (const Case& c : {Case{MFX_IMPL_AUTO, true, "Hardware"}, Case{MFX_IMPL_AUTO, false, "Software"},
                        Case{MFX_IMPL_SOFTWARE, true, "Software"}}) {
    SCOPED_TRACE(c.words);
    fakeMfxSet("hardware", c.hardware);
    open(c.asked);
    EXPECT_TRUE(decoder->hasSession());
    EXPECT_EQ(test::drainTexts(log, 2), std::vector<std::string>{
                            std::string("VideoDecoderH264IntelQuickSync.initialize[{context}]: Create video decoder: ") +
                            c.words});
  }
}

TEST_F(QuickSyncDecoderTest, ATimecodeTravelsAsNinetyTicks) {
  const H264Clip& clip = start();
  H264Clip::Frame first = clip.frames[0];
  first.timecode = 1000;
  feed(first);
  ASSERT_EQ(pictures.size(), 1u);
  EXPECT_EQ(fakeMfxLast("DecodeFrameAsync.TimeStamp"), 90000);
  EXPECT_EQ(pictures[0].timecode, 1000);
  EXPECT_EQ(pictures[0].frameType, 1);
}

TEST_F(QuickSyncDecoderTest, WarningsWithoutOutputRepeatTheCallWithTheSameSurface) {
  const H264Clip& clip = clipWithoutBFrames();
  struct Case { const char* what; int status; };
  for (const Case& c : {Case{"device busy", MFX_WRN_DEVICE_BUSY}, Case{"video parameters changed", MFX_WRN_VIDEO_PARAM_CHANGED},
                        Case{"in execution", MFX_WRN_IN_EXECUTION}}) {
    SCOPED_TRACE(c.what);
    decoder.reset();
    fakeMfxReset();
    start();
    feed(clip.frames[0]);
    const int before = fakeMfxCalls("DECODE_DecodeFrameAsync");
    fakeMfxPush("DecodeFrameAsync", c.status, 0);
    feed(clip.frames[1]);
    ASSERT_EQ(pictures.size(), 2u) << "the picture still comes out";
    const int calls = fakeMfxCalls("DECODE_DecodeFrameAsync") - before;
    ASSERT_GE(calls, 2);
    const int scripted = fakeMfxCount("DecodeFrameAsync.work") - calls;
    EXPECT_EQ(fakeMfxNth("DecodeFrameAsync.work", scripted + 1), fakeMfxNth("DecodeFrameAsync.work", scripted))
        << "the call after the warning";
  }
}

TEST_F(QuickSyncDecoderTest, AWarningWithASyncPointIsAPicture) {
  const H264Clip& clip = start();
  fakeMfxPush("DecodeFrameAsync", MFX_ERR_MORE_DATA, 0);  // the configuration's round
  fakeMfxPush("DecodeFrameAsync", MFX_WRN_PARTIAL_ACCELERATION, 1);
  feed(clip.frames[0]);
  ASSERT_EQ(pictures.size(), 1u);
  expectPicturesMatchTheReference(clip);
}

TEST_F(QuickSyncDecoderTest, MoreSurfaceBringsAFreshSurfaceAndAllLockedWaitsForTheNextCall) {
  const H264Clip& clip = clipWithoutBFrames();
  fakeMfxSet("surfacesSuggested", 3);
  open();
  configure(clip);
  ASSERT_EQ(decoder->getSurfaceCount(), 3u);
  // The runtime keeps every surface it is given, and asks for another.
  fakeMfxSet("holdSurfaces", 1);
  fakeMfxPush("DecodeFrameAsync", MFX_ERR_MORE_SURFACE, 0);
  feed(clip.frames[0]);
  ASSERT_GE(fakeMfxCount("DecodeFrameAsync.work"), 2);
  EXPECT_NE(fakeMfxNth("DecodeFrameAsync.work", 1), fakeMfxNth("DecodeFrameAsync.work", 0));
  ASSERT_EQ(pictures.size(), 1u) << "from the third surface";

  const int32_t before = decoder->getLastStatus();
  const uint32_t flags = feed(clip.frames[1]);
  EXPECT_EQ(flags & kDecodePictureReady, 0u);
  EXPECT_EQ(test::drainTexts(log, 3), std::vector<std::string>{"TranscoderSession.decode[{context}]: INVALID_SURF_IDX"});
  EXPECT_EQ(decoder->getLastStatus(), before) << "a call without a surface changes nothing";
  EXPECT_FALSE(decoder->hasStopped());

  fakeMfxSet("holdSurfaces", 0);  // the runtime lets go
  drain();
  feed(clip.frames[2]);
  ASSERT_EQ(pictures.size(), 3u);
  expectPicturesMatchTheReference(clip);
}

TEST_F(QuickSyncDecoderTest, AFatalStatusStopsDecodingForGoodAndLetsTheHostMoveOn) {
  const H264Clip& clip = clipWithoutBFrames();
  struct Case { const char* what; const char* function; int status; };
  for (const Case& c : {Case{"device lost", "DecodeFrameAsync", MFX_ERR_DEVICE_LOST},
                        Case{"incompatible parameters", "DecodeFrameAsync", MFX_ERR_INCOMPATIBLE_VIDEO_PARAM},
                        Case{"a failed device", "DecodeFrameAsync", -17},
                        Case{"device lost at the sync", "SyncOperation", MFX_ERR_DEVICE_LOST}}) {
    SCOPED_TRACE(c.what);
    decoder.reset();
    fakeMfxReset();
    start();
    feed(clip.frames[0]);
    log.getLogStatements(*std::make_unique<std::vector<LogStatement>>());
    fakeMfxPush(c.function, c.status, 0);
    EXPECT_NE(feed(clip.frames[1]) & kDecodeInputEmpty, 0u);
    EXPECT_TRUE(decoder->hasStopped());
    EXPECT_EQ(test::drainTexts(log, 3), std::vector<std::string>{"VideoDecoderH264IntelQuickSync.decode[{context}]: decoding stopped: "
                                                 "status " + std::to_string(c.status)});
    const int calls = fakeMfxCalls("DECODE_DecodeFrameAsync");
    for (size_t f = 2; f < clip.frames.size(); ++f) {
      EXPECT_EQ(feed(clip.frames[f]), static_cast<uint32_t>(kDecodeInputEmpty));
    }
    EXPECT_EQ(fakeMfxCalls("DECODE_DecodeFrameAsync"), calls) << "the runtime hears nothing more";
    EXPECT_EQ(pictures.size(), 1u);
  }
}

TEST_F(QuickSyncDecoderTest, ASizeChangeInMidStreamEndsTheStreamsDecoding) {
  const H264Clip& first = clipWithoutBFrames();
  static H264Clip smaller;
  ASSERT_TRUE(test::makeH264Clip("qsv-decode-small.h264", 128, 64, 4, "-preset veryfast -bf 0 -g 4", smaller, true));
  open();
  configure(first);
  for (size_t f = 0; f < 4; ++f) feed(first.frames[f]);
  ASSERT_EQ(pictures.size(), 4u);
  for (const H264Clip::Frame& f : smaller.frames) feed(f);
  EXPECT_EQ(pictures.size(), 4u) << "the runtime has no surfaces for the new size";
  EXPECT_TRUE(decoder->hasStopped());
  EXPECT_EQ(test::drainTexts(log, 3), std::vector<std::string>{"VideoDecoderH264IntelQuickSync.decode[{context}]: decoding stopped: "
                                               "status -14"});
}

TEST_F(QuickSyncDecoderTest, FramesAddedBackToBackAreCopiedAndShareTheLastOnesTime) {
  const H264Clip& clip = start();
  // Two frames without a decode between; each block is overwritten once added.
  for (size_t f = 0; f < 2; ++f) ASSERT_EQ(add(clip.frames[f].data, clip.frames[f].timecode, clip.frames[f].frameType), 0);
  drain();
  drain();
  for (size_t f = 2; f < clip.frames.size(); ++f) feed(clip.frames[f]);
  // Both went to the SDK with the later frame's time stamp and type; the
  // first picture takes them, and the second finds no type for that time.
  ASSERT_EQ(pictures.size(), clip.frames.size());
  EXPECT_EQ(pictures[0].timecode, 40);
  EXPECT_EQ(pictures[0].frameType, 2);
  EXPECT_EQ(pictures[1].timecode, 40);
  EXPECT_EQ(pictures[1].frameType, 0);
  pictures[0].timecode = 0;  // checked above; the rest as the reference has them
  expectPicturesMatchTheReference(clip);
}

TEST_F(QuickSyncDecoderTest, LargeFramesGrowTheBitstreamUpToItsLimit) {
  const H264Clip& clip = start();
  EXPECT_EQ(add(fillerFrame(600000), 0, 2), 0);
  EXPECT_GT(decoder->getBitstream().MaxLength, VideoDecoderH264IntelQuickSync::kBitstreamBytes);
  drain();

  EXPECT_EQ(add(fillerFrame(VideoDecoderH264IntelQuickSync::kMaxBitstreamBytes + 8), 40, 2), -1);
  const std::vector<std::string> faults = test::drainTexts(log, 3);
  ASSERT_EQ(faults.size(), 1u);
  EXPECT_EQ(faults[0].rfind("VideoDecoderH264IntelQuickSync.addFrame[{context}]: frame of ", 0), 0u) << faults[0];
  // Decoding goes on with the next frame that fits.
  for (const H264Clip::Frame& f : clip.frames) feed(f);
  EXPECT_FALSE(pictures.empty());
}

TEST_F(QuickSyncDecoderTest, WithoutARuntimeTheDecoderStaysInert) {
  test::RuntimeSelection none(test::kNoRuntime);
  const H264Clip& clip = clipWithoutBFrames();
  open();
  EXPECT_FALSE(decoder->hasSession());
  EXPECT_TRUE(test::drainTexts(log, 2).empty()) << "initialize does not say it";
  configure(clip);
  EXPECT_EQ(decoder->getWidth(), 0u);
  uint32_t flags = 0;
  EXPECT_EQ(add(clip.frames[0].data, 0, 1), 0);
  EXPECT_EQ(decoder->decode(flags), 0);
  EXPECT_EQ(flags, static_cast<uint32_t>(kDecodeInputEmpty));
  EXPECT_EQ(test::drainTexts(log, 3), std::vector<std::string>{"TranscoderSession.decode[{context}]: INVALID_SURF_IDX"});
  EXPECT_EQ(decoder->getDecodedFrame(frame), 0);
  EXPECT_EQ(decoder->setGPUID(3), 0);
  EXPECT_EQ(decoder->close(), 0);
  EXPECT_EQ(decoder->close(), 0);
}

}  // namespace
}  // namespace cvx
