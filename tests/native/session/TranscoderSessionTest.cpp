#include "session/TranscoderSession.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "audio/samples/AudioSampleBuffer.h"
#include "support/FakeCodecs.h"
#include "logging/LogCollector.h"
#include "support/LogDrain.h"

namespace cvx {
namespace {

using testing::DestructionJournal;
using testing::FakeAudioDecoder;
using testing::FakeAudioEncoder;
using testing::FakeVideoDecoder;
using testing::FakeVideoEncoder;

std::vector<LogStatement> drain(TranscoderSession& session) {
  return test::drain(session.getLogCollector());
}

TEST(TranscoderSession, DeletesEveryCodecInIndexOrderEvenWhenOneThrows) {
  DestructionJournal journal;
  {
    auto* session = new TranscoderSession();
    session->replaceAudioDecoder(std::make_unique<FakeAudioDecoder>(&journal, "audio decoder"));
    EXPECT_EQ(session->appendVideoEncoder(std::make_unique<FakeVideoEncoder>(&journal, "video 0", true)), 0u);
    EXPECT_EQ(session->appendVideoEncoder(std::make_unique<FakeVideoEncoder>(&journal, "video 1")), 1u);
    EXPECT_EQ(session->appendVideoEncoder(std::make_unique<FakeVideoEncoder>(&journal, "video 2")), 2u);
    EXPECT_EQ(session->appendAudioEncoder(std::make_unique<FakeAudioEncoder>(&journal, "audio 0", true)), 0u);
    EXPECT_EQ(session->appendAudioEncoder(std::make_unique<FakeAudioEncoder>(&journal, "audio 1")), 1u);
    ::testing::internal::CaptureStdout();
    delete static_cast<ITranscoderSession*>(session);
    const std::string stdoutText = ::testing::internal::GetCapturedStdout();
    EXPECT_NE(stdoutText.find("TranscoderSessionBase#VideoEncoderWrapper::destructor[videoEncoders]: encoder video 0 "
                              "refused to go"),
              std::string::npos);
    EXPECT_NE(stdoutText.find("TranscoderSessionBase#AudioEncoderWrapper::destructor[videoEncoders]: encoder audio 0 "
                              "refused to go"),
              std::string::npos);
  }
  const std::vector<std::string> expected = {"audio decoder", "video 0", "video 1", "video 2", "audio 0", "audio 1"};
  EXPECT_EQ(journal.destroyed, expected);
}

TEST(TranscoderSession, ReplacingADecoderDeletesTheOneBefore) {
  DestructionJournal journal;
  TranscoderSession session;
  session.replaceAudioDecoder(std::make_unique<FakeAudioDecoder>(&journal, "first"));
  session.replaceAudioDecoder(std::make_unique<FakeAudioDecoder>(&journal, "second"));
  EXPECT_EQ(journal.destroyed, std::vector<std::string>{"first"});
}

MallocBlock filledBlock(uint8_t value, uint32_t length) {
  MallocBlock block = allocateMallocBlock(length);
  std::memset(block.get(), value, length);
  return block;
}

// A host that adds frames without decoding must not have the decoder's unread bytes freed under it (ASan).
TEST(TranscoderSession, KeepsCompressedFramesUntilTheDecoderHasReadThem) {
  TranscoderSession session;
  auto owned = std::make_unique<FakeVideoDecoder>();
  FakeVideoDecoder* decoder = owned.get();
  session.replaceVideoDecoder(std::move(owned));
  ASSERT_EQ(session.videoDecoderBuffersCreate(1), 0u);
  drain(session);
  const uint32_t kLength = 1000;
  for (uint32_t i = 0; i < VideoDecodeBlocks::kMaxFrames; ++i) {
    ASSERT_EQ(session.videoDecoderAddFrame(filledBlock(static_cast<uint8_t>(i), kLength), kLength, i, 2), 0u);
  }
  EXPECT_EQ(session.videoDecoderAddFrame(filledBlock(0xEE, kLength), kLength, 99, 2), 0xFFFFFFFFu);
  const std::vector<LogStatement> log = drain(session);
  ASSERT_EQ(log.size(), 1u);
  EXPECT_EQ(log[0].level, 3);
  EXPECT_EQ(log[0].contextType, 1);
  EXPECT_EQ(log[0].statement.rfind("TranscoderSession.videoDecoderAddFrame[{context}]: frame of 1000 bytes refused: "
                                   "16 frames of 16000 bytes wait in the decoder",
                                   0),
            0u)
      << log[0].statement;

  uint32_t flags = 0;
  while ((flags & 1) == 0) session.videoDecoderDecode(0, flags);
  ASSERT_EQ(decoder->read.size(), VideoDecodeBlocks::kMaxFrames);
  for (uint32_t i = 0; i < decoder->read.size(); ++i) {
    EXPECT_EQ(decoder->read[i], std::vector<uint8_t>(kLength, static_cast<uint8_t>(i))) << "frame " << i;
  }
  // Drained: the next frame is taken, the blocks before it go (the leak checker watches the rest).
  EXPECT_EQ(session.videoDecoderAddFrame(filledBlock(7, 1), 1, 0, 2), 0u);
}

TEST(TranscoderSession, BufferSetGrowsAndAllocatesEveryBuffer) {
  TranscoderSession session;
  EXPECT_EQ(session.audioDecoderBuffersAllocate(1024, 2, 44100), 0u) << "an empty set is fine";
  EXPECT_EQ(session.audioDecoderBuffersCreate(2), 0u);
  EXPECT_EQ(session.audioDecoderBuffersCreate(1), 0u);
  ASSERT_EQ(session.getAudioBufferCount(), 3u);
  EXPECT_EQ(session.getAudioBuffer(0)->getBuffer(), nullptr);
  EXPECT_EQ(session.audioDecoderBuffersAllocate(1152, 1, 22050), 0u);
  for (uint32_t i = 0; i < 3; ++i) {
    SCOPED_TRACE(i);
    AudioSampleBuffer* buffer = session.getAudioBuffer(i);
    ASSERT_NE(buffer, nullptr);
    EXPECT_NE(buffer->getBuffer(), nullptr);
    EXPECT_EQ(buffer->getBufferSize(), 2304u);
    EXPECT_EQ(buffer->getSampleRate(), 22050u);
  }
}

}  // namespace
}  // namespace cvx
