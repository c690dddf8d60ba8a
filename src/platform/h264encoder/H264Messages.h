#pragma once

#include <cstdarg>

#include "platform/h264encoder/H264OutVideo.h"

namespace cvx {

// The message functions that the caller's resolver hands out for the
// stand-in's own lines. Without a resolver, or for a name it does not know,
// the text is dropped. Stateless after construction.
class H264Messages {
 public:
  H264Messages() = default;
  explicit H264Messages(H264CallbackResolver resolver);

  void error(const char* format, ...) const __attribute__((format(printf, 2, 3)));
  void warning(const char* format, ...) const __attribute__((format(printf, 2, 3)));
  void info(const char* format, ...) const __attribute__((format(printf, 2, 3)));

  // The library's log hook: its errors and warnings go into our log (see
  // platform/librarylog), the rest nowhere. Its worker threads call it too.
  static void libraryLog(void* unused, int level, const char* format, va_list arguments);

 private:
  void emit(H264MessageFunction target, const char* format, va_list arguments) const;

  H264MessageFunction errPrintf = nullptr;
  H264MessageFunction wrnPrintf = nullptr;
  H264MessageFunction infPrintf = nullptr;
};

}  // namespace cvx
