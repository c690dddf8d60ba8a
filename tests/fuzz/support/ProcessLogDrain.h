#pragma once

#include <vector>

#include "logging/LogCollector.h"

namespace cvx::fuzz {

// Empties the process-wide log when an input is done, as a host's drain
// would. The libraries' messages collect there; kept across inputs they
// would make every input look as if it held memory, and the fuzzer would
// run its leak scan after each one.
class ProcessLogDrain {
 public:
  ProcessLogDrain() = default;
  ProcessLogDrain(const ProcessLogDrain&) = delete;
  ProcessLogDrain& operator=(const ProcessLogDrain&) = delete;
  ~ProcessLogDrain() {
    std::vector<LogStatement> lines;
    getDefaultLogger()->getLogStatements(lines);
  }
};

}  // namespace cvx::fuzz
