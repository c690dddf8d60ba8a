#pragma once

// What a test reads from a log: the statements since the last drain.
#include <string>
#include <vector>

#include "logging/LogCollector.h"

namespace cvx::test {

inline std::vector<LogStatement> drain(LogCollector& log) {
  std::vector<LogStatement> out;
  log.getLogStatements(out);
  return out;
}

// Only the texts of one level.
inline std::vector<std::string> drainTexts(LogCollector& log, int level) {
  std::vector<std::string> out;
  for (const LogStatement& line : drain(log)) {
    if (line.level == level) out.push_back(line.statement);
  }
  return out;
}

}  // namespace cvx::test
