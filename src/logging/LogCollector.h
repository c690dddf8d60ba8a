#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "logging/IConcurrentLock.h"
#include "logging/ILogger.h"
#include "logging/LogStatement.h"

namespace cvx {

// A bounded, thread-safe queue of log statements that the host drains.
// When full, the newest statement is dropped so the head of a failure's story
// survives a host that stopped draining.
class LogCollector : public ILogger {
 public:
  static constexpr std::size_t kMaxStatements = 1000;

  LogCollector();
  ~LogCollector() override;
  LogCollector(const LogCollector&) = delete;
  LogCollector& operator=(const LogCollector&) = delete;

  void logLevel1(int contextType, int contextIndex, std::string statement) override;
  void logLevel1(std::string statement) override;
  void logLevel2(int contextType, int contextIndex, std::string statement) override;
  void logLevel2(std::string statement) override;
  void logLevel3(int contextType, int contextIndex, std::string statement) override;
  void logLevel3(std::string statement) override;
  void logLevel4(int contextType, int contextIndex, std::string statement) override;
  void logLevel4(std::string statement) override;
  void logLevel5(int contextType, int contextIndex, std::string statement) override;
  void logLevel5(std::string statement) override;

  void log(int contextType, int contextIndex, int level, const std::string& statement);

  // Moves every queued statement to the end of `out`, oldest first.
  void getLogStatements(std::vector<LogStatement>& out);

 private:
  std::vector<LogStatement> statements;
  std::unique_ptr<IConcurrentLock> lock;
  bool enabled = false;
};

// The process-wide collector, made on first call and never destroyed. Its
// lazy creation takes no lock: nativeInitialize makes it before any
// concurrency begins.
LogCollector* getDefaultLogger();

// Drains the process-wide collector, stamping its statements as process-wide
// (-1/0), and then `session` behind them: the order a host receives them in.
void drainLogStatements(LogCollector& process, LogCollector& session, std::vector<LogStatement>& out);

// The logger a component writes to: its own, or the process-wide one.
inline ILogger* loggerOrDefault(ILogger* logger) {
  return logger != nullptr ? logger : getDefaultLogger();
}

}  // namespace cvx
