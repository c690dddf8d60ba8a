#include "platform/libav/LibavLog.h"

#include <cstdarg>
#include <cstdio>
#include <mutex>

extern "C" {
#include <libavutil/log.h>
}

#include "platform/librarylog/LibraryLog.h"

namespace cvx {
namespace {

// The library's levels as ours: 3 for what went wrong, 2 for warnings, 0 for
// the information and debugging lines (an encoder's statistics among them)
// that nobody running a server reads.
int ourLevel(int libraryLevel) {
  if (libraryLevel < AV_LOG_PANIC) return 0;  // AV_LOG_QUIET: said to nobody
  if (libraryLevel <= AV_LOG_ERROR) return kLibraryLogError;
  if (libraryLevel <= AV_LOG_WARNING) return kLibraryLogWarning;
  return 0;
}

void libavLogLine(void* object, int level, const char* format, va_list arguments) {
  const int ours = ourLevel(level & 0xff);
  if (ours == 0) return;
  // The object's class names the codec ("h264", "aac", "swscaler").
  const char* name = "";
  if (object != nullptr) {
    const AVClass* objectClass = *static_cast<const AVClass* const*>(object);
    if (objectClass != nullptr && objectClass->item_name != nullptr) name = objectClass->item_name(object);
  }
  char prefix[64];
  std::snprintf(prefix, sizeof prefix, "libav [%s]: ", name != nullptr ? name : "");
  writeLibraryLine(LogLibrary::Libav, ours, prefix, format, arguments);
}

}  // namespace

void routeLibavLog() {
  static std::once_flag installed;
  std::call_once(installed, [] { av_log_set_callback(&libavLogLine); });
}

}  // namespace cvx
