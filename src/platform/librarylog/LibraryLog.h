#pragma once

#include <cstdarg>

namespace cvx {

class ILogger;

// The codec libraries whose own messages reach our log. Each has a budget of
// its own, so one library's complaints never silence another's.
enum class LogLibrary { Libav, X264, Libva };

// The levels a library's message may take in our log. Anything a library
// calls information or debugging is not passed on at all.
constexpr int kLibraryLogError = 3;    // the library failed at something
constexpr int kLibraryLogWarning = 2;  // it went on, but said why it might not have

// The libraries' messages go to `processLog`, the process-wide log (context
// -1), from this call on; before it they are dropped. The logger is borrowed
// and must live for the rest of the process. Safe from any thread; a later
// call with another logger replaces it.
void routeLibraryLogs(ILogger* processLog);

// One message of `library` at `level`: "<prefix><formatted text>", without
// its line feed, rate limited per library (a line that follows refused ones
// says how many). Safe from any thread, the libraries' own included; never
// writes to standard error, never throws.
void writeLibraryLine(LogLibrary library, int level, const char* prefix, const char* format, va_list arguments);
void writeLibraryLine(LogLibrary library, int level, const char* prefix, const char* text);

}  // namespace cvx
