#include "logging/LogCollector.h"

#include "logging/Guarded.h"

namespace cvx {

LogCollector::LogCollector() : lock(createConcurrentLock()), enabled(true) {}

LogCollector::~LogCollector() {
  enabled = false;
  {
    ConcurrentLockGuard guard(lock);
    statements.clear();
  }
  guarded("LogCollector::delete[lock]: ", [this] { lock.reset(); });
}

void LogCollector::logLevel1(int t, int i, std::string s) { log(t, i, 1, s); }
void LogCollector::logLevel1(std::string s) { log(0, 0, 1, s); }
void LogCollector::logLevel2(int t, int i, std::string s) { log(t, i, 2, s); }
void LogCollector::logLevel2(std::string s) { log(0, 0, 2, s); }
void LogCollector::logLevel3(int t, int i, std::string s) { log(t, i, 3, s); }
void LogCollector::logLevel3(std::string s) { log(0, 0, 3, s); }
void LogCollector::logLevel4(int t, int i, std::string s) { log(t, i, 4, s); }
void LogCollector::logLevel4(std::string s) { log(0, 0, 4, s); }
void LogCollector::logLevel5(int t, int i, std::string s) { log(t, i, 5, s); }
void LogCollector::logLevel5(std::string s) { log(0, 0, 5, s); }

void LogCollector::log(int contextType, int contextIndex, int level, const std::string& statement) {
  if (!enabled) return;
  ConcurrentLockGuard guard(lock);
  guarded("LogCollector::log: ", [&] {
    if (statements.size() >= kMaxStatements) return;
    statements.push_back(LogStatement{statement, level, contextType, contextIndex});
  });
}

void LogCollector::getLogStatements(std::vector<LogStatement>& out) {
  if (!enabled) return;
  ConcurrentLockGuard guard(lock);
  guarded("LogCollector::getLogStatements: ", [&] {
    out.insert(out.end(), statements.begin(), statements.end());
    statements.clear();
  });
}

void drainLogStatements(LogCollector& process, LogCollector& session, std::vector<LogStatement>& out) {
  const std::size_t first = out.size();
  process.getLogStatements(out);
  for (std::size_t i = first; i < out.size(); ++i) {
    out[i].contextType = kLogContextProcess;
    out[i].contextIndex = 0;
  }
  session.getLogStatements(out);
}

LogCollector* getDefaultLogger() {
  // Never destroyed: a host thread may still log while the process exits.
  static LogCollector* const collector = new LogCollector();
  return collector;
}

}  // namespace cvx
