#include "platform/librarylog/LibraryLog.h"

#include <array>
#include <atomic>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <string>

#include "logging/Guarded.h"
#include "logging/ILogger.h"
#include "platform/librarylog/LogRateLimit.h"

namespace cvx {
namespace {

// Lines are cut here; a library's diagnostics are short.
constexpr size_t kLineBytes = 512;
// Twenty lines at once, then one a second: a damaged stream's first errors
// are seen, and a process of many damaged streams still adds at most sixty
// lines a minute per library to a queue of a thousand.
constexpr uint32_t kBurstLines = 20;
constexpr std::chrono::seconds kRefillEvery{1};
constexpr int kLogContextProcess = -1;
constexpr size_t kLibraryCount = 3;

struct Budget {
  std::mutex lock;
  LogRateLimit limit{kBurstLines, kRefillEvery};
};

std::atomic<ILogger*> processLogger{nullptr};

Budget& budgetOf(LogLibrary library) {
  static std::array<Budget, kLibraryCount> budgets;
  return budgets[static_cast<size_t>(library) % kLibraryCount];
}

void emit(ILogger& logger, int level, std::string line) {
  if (level == kLibraryLogError) {
    logger.logLevel3(kLogContextProcess, 0, std::move(line));
  } else {
    logger.logLevel2(kLogContextProcess, 0, std::move(line));
  }
}

}  // namespace

void routeLibraryLogs(ILogger* processLog) { processLogger.store(processLog, std::memory_order_release); }

void writeLibraryLine(LogLibrary library, int level, const char* prefix, const char* format, va_list arguments) {
  ILogger* logger = processLogger.load(std::memory_order_acquire);
  if (logger == nullptr || format == nullptr || (level != kLibraryLogError && level != kLibraryLogWarning)) return;
  uint32_t dropped = 0;
  {
    Budget& budget = budgetOf(library);
    std::lock_guard<std::mutex> guard(budget.lock);
    if (!budget.limit.admit(LogRateLimit::Clock::now(), dropped)) return;
  }
  char text[kLineBytes];
  const int used = std::snprintf(text, sizeof text, "%s", prefix != nullptr ? prefix : "");
  const size_t at = used > 0 ? static_cast<size_t>(used) < sizeof text ? static_cast<size_t>(used) : sizeof text - 1 : 0;
  std::vsnprintf(text + at, sizeof text - at, format, arguments);
  size_t length = std::strlen(text);
  while (length > 0 && (text[length - 1] == '\n' || text[length - 1] == '\r')) text[--length] = '\0';
  // Libraries build some lines from several calls; a bare end of line adds nothing.
  if (length <= at) return;
  // Called from inside the libraries: nothing may leave this frame.
  guarded("LibraryLog::write: ", [&] {
    std::string line(text, length);
    if (dropped > 0) line += " (" + std::to_string(dropped) + " earlier lines dropped)";
    emit(*logger, level, std::move(line));
  });
}

void writeLibraryLine(LogLibrary library, int level, const char* prefix, const char* text) {
  // A va_list cannot be made empty portably; route through a format of our own.
  struct Forward {
    static void call(LogLibrary l, int v, const char* p, const char* format, ...) {
      va_list arguments;
      va_start(arguments, format);
      writeLibraryLine(l, v, p, format, arguments);
      va_end(arguments);
    }
  };
  Forward::call(library, level, prefix, "%s", text != nullptr ? text : "");
}

}  // namespace cvx
