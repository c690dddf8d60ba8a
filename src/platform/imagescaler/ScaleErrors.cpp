#include "platform/imagescaler/ScaleErrors.h"

#include <cstdio>

namespace cvx {
namespace imagescaler {

namespace {
thread_local char lastError[256] = "";
}

void clearScaleError() { lastError[0] = '\0'; }

void setScaleError(const char* call, const char* text) {
  std::snprintf(lastError, sizeof lastError, "%s: %s", call, text);
}

const char* lastScaleError() { return lastError; }

}  // namespace imagescaler
}  // namespace cvx
