#include "support/FakeRuntimeFixture.h"

#include <unistd.h>

#include <cstdlib>

#include "platform/mfxruntime/RuntimeLibrary.h"

namespace cvx::test {

namespace {
// The units do not depend on the machine's runtime: unless the run names one,
// sessions find none, and a test that wants the platform's runtimes asks.
const bool kNoRuntimeByDefault = setenv(kMfxRuntimeVariable, kNoRuntime, 0) == 0;
}  // namespace

RuntimeSelection::RuntimeSelection(const char* file) {
  const char* value = std::getenv(kMfxRuntimeVariable);
  hadValue = value != nullptr;
  if (hadValue) saved = value;
  if (file != nullptr) {
    setenv(kMfxRuntimeVariable, file, 1);
  } else {
    unsetenv(kMfxRuntimeVariable);
  }
}

RuntimeSelection::~RuntimeSelection() {
  if (hadValue) {
    setenv(kMfxRuntimeVariable, saved.c_str(), 1);
  } else {
    unsetenv(kMfxRuntimeVariable);
  }
}

bool hasRenderNode() { return access("/dev/dri/renderD128", F_OK) == 0; }

}  // namespace cvx::test
