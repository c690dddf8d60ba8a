#pragma once

// The loader on the fake Media SDK runtime, from its defaults; every session a test opens must be closed.
#include <gtest/gtest.h>

#include <string>

#include "FakeMediaSdkControl.h"
#include "mfxutils/MfxLoader.h"

namespace cvx::test {

// A runtime file no machine has.
constexpr const char* kNoRuntime = "/nonexistent/libcvx-no-runtime.so.1";

// Sets CVX_MFX_RUNTIME to `file` (unsets it for null) and restores it after.
class RuntimeSelection {
 public:
  explicit RuntimeSelection(const char* file);
  ~RuntimeSelection();
  RuntimeSelection(const RuntimeSelection&) = delete;
  RuntimeSelection& operator=(const RuntimeSelection&) = delete;

 private:
  bool hadValue = false;
  std::string saved;
};

// Whether this machine has a DRM render node (and so may have a GPU).
bool hasRenderNode();

class FakeRuntimeTest : public ::testing::Test {
 protected:
  void SetUp() override { fakeMfxReset(); }
  void TearDown() override {
    EXPECT_EQ(fakeMfxOpenSessions(), 0) << "a runtime session was left open";
    EXPECT_EQ(MfxLoader::instance().referenceCount(MfxLoader::kHardware), 0u);
    EXPECT_EQ(MfxLoader::instance().referenceCount(MfxLoader::kSoftware), 0u);
    fakeMfxReset();
  }

  RuntimeSelection runtime{CVX_FAKE_MFX};
};

}  // namespace cvx::test
