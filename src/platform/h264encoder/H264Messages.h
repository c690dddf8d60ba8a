#pragma once

#include <cstdarg>

#include "platform/h264encoder/H264OutVideo.h"

namespace cvx {

// The message functions that the host's resolver hands out, plus the
// formatting that both our own lines and the library's log lines go through.
// Without a resolver, or for a name it does not know, the text is dropped.
// Stateless after construction, so the library's worker threads may log
// through it while the caller's thread does too.
class H264Messages {
 public:
  H264Messages() = default;
  explicit H264Messages(H264CallbackResolver resolver);

  void error(const char* format, ...) const __attribute__((format(printf, 2, 3)));
  void warning(const char* format, ...) const __attribute__((format(printf, 2, 3)));
  void info(const char* format, ...) const __attribute__((format(printf, 2, 3)));

  // Shape of the library's log hook; `context` is an H264Messages.
  static void libraryLog(void* context, int level, const char* format, va_list arguments);

 private:
  void emit(H264MessageFunction target, const char* format, va_list arguments) const;

  H264MessageFunction errPrintf = nullptr;
  H264MessageFunction wrnPrintf = nullptr;
  H264MessageFunction infPrintf = nullptr;
};

}  // namespace cvx
