#pragma once

// A hardware video encoder as the session sets one up, with its log and the list its frames go to.
#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "logging/LogCollector.h"
#include "video/encoders/VideoFrameEncoded.h"

namespace cvx::test {

template <class Encoder, class Base = ::testing::Test>
class EncoderFixture : public Base {
 protected:
  void TearDown() override {
    encoder.reset();  // before whatever the base lets go of: the encoder still talks to it
    Base::TearDown();
  }
  // A fresh encoder, context 3, family 2 at 25 frames a second; key frames follow the source's when asked.
  void setUp(uint32_t width, uint32_t height, uint32_t bitrate, bool keyFrameFollow) {
    encoder = std::make_unique<Encoder>();
    out.clear();
    encoder->setLogger(&log);
    encoder->setContextId(3);
    ASSERT_EQ(encoder->setDefaults(2, 0), 0);
    ASSERT_EQ(encoder->setFrameSize(width, height), 0);
    ASSERT_EQ(encoder->setFrameRate(25.0), 0);
    ASSERT_EQ(encoder->setBitrate(bitrate), 0);
    if (keyFrameFollow) {
      ASSERT_EQ(encoder->setKeyFrameFollow(true), 0);
    }
  }

  LogCollector log;
  std::unique_ptr<Encoder> encoder;
  std::vector<VideoFrameEncoded> out;
};

}  // namespace cvx::test
