#pragma once

#include <string>

namespace cvx {

// Sink for operational log lines. Five levels exist; the library writes 2 for
// progress and 3 for faults. The forms without context write context 0/0.
class ILogger {
 public:
  virtual ~ILogger() = default;
  virtual void logLevel1(int contextType, int contextIndex, std::string statement) = 0;
  virtual void logLevel1(std::string statement) = 0;
  virtual void logLevel2(int contextType, int contextIndex, std::string statement) = 0;
  virtual void logLevel2(std::string statement) = 0;
  virtual void logLevel3(int contextType, int contextIndex, std::string statement) = 0;
  virtual void logLevel3(std::string statement) = 0;
  virtual void logLevel4(int contextType, int contextIndex, std::string statement) = 0;
  virtual void logLevel4(std::string statement) = 0;
  virtual void logLevel5(int contextType, int contextIndex, std::string statement) = 0;
  virtual void logLevel5(std::string statement) = 0;
};

}  // namespace cvx
