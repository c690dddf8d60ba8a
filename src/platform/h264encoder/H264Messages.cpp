#include "platform/h264encoder/H264Messages.h"

#include <cstdio>
#include <cstring>

#include <stdint.h>  // the library header needs it first
#include <x264.h>

#include "platform/librarylog/LibraryLog.h"

namespace cvx {

namespace {

// Lines are cut to this size, as the host's message functions expect.
constexpr size_t kMessageBytes = 256;

H264MessageFunction resolveMessage(H264CallbackResolver resolver, const char* name) {
  return resolver == nullptr ? nullptr : reinterpret_cast<H264MessageFunction>(resolver(name));
}

}  // namespace

H264Messages::H264Messages(H264CallbackResolver resolver)
    : errPrintf(resolveMessage(resolver, "err_printf")),
      wrnPrintf(resolveMessage(resolver, "wrn_printf")),
      infPrintf(resolveMessage(resolver, "inf_printf")) {}

void H264Messages::emit(H264MessageFunction target, const char* format, va_list arguments) const {
  if (target == nullptr || format == nullptr) {
    return;
  }
  char text[kMessageBytes];
  vsnprintf(text, sizeof text, format, arguments);
  // The library ends its lines with a line feed; the host adds its own.
  size_t length = strlen(text);
  if (length > 0 && text[length - 1] == '\n') {
    text[length - 1] = '\0';
  }
  target("%s", text);
}

void H264Messages::error(const char* format, ...) const {
  va_list arguments;
  va_start(arguments, format);
  emit(errPrintf, format, arguments);
  va_end(arguments);
}

void H264Messages::warning(const char* format, ...) const {
  va_list arguments;
  va_start(arguments, format);
  emit(wrnPrintf, format, arguments);
  va_end(arguments);
}

void H264Messages::info(const char* format, ...) const {
  va_list arguments;
  va_start(arguments, format);
  emit(infPrintf, format, arguments);
  va_end(arguments);
}

void H264Messages::libraryLog(void*, int level, const char* format, va_list arguments) {
  if (level == X264_LOG_ERROR) {
    writeLibraryLine(LogLibrary::X264, kLibraryLogError, "x264: ", format, arguments);
  } else if (level == X264_LOG_WARNING) {
    writeLibraryLine(LogLibrary::X264, kLibraryLogWarning, "x264: ", format, arguments);
  }
}

}  // namespace cvx
