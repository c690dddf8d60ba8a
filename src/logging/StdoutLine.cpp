#include "logging/StdoutLine.h"

#include <cstdio>

namespace cvx {

void writeStdoutLine(const char* label, const char* text) {
  std::fputs(label, stdout);
  std::fputs(text != nullptr ? text : "", stdout);
  std::fputc('\n', stdout);
  std::fflush(stdout);
}

void writeStdoutLine(const char* label, const std::exception& e) { writeStdoutLine(label, e.what()); }

}  // namespace cvx
