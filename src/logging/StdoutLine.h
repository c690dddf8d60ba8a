#pragma once

#include <exception>

namespace cvx {

// Writes one diagnostic line on the process's standard output: a fixed label
// ("Class::method: ") followed by the text, then flushes. This stream is
// separate from the log queue; the host never sees it through the log drain.
void writeStdoutLine(const char* label, const char* text);
void writeStdoutLine(const char* label, const std::exception& e);

}  // namespace cvx
