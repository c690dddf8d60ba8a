#pragma once

#include <mutex>

#include "logging/IConcurrentLock.h"

namespace cvx {

// Linux lock: a recursive mutex, so that the contract matches the platform's
// re-entrant critical sections elsewhere.
class ConcurrentLockLinux : public IConcurrentLock {
 public:
  ConcurrentLockLinux() = default;
  ~ConcurrentLockLinux() override = default;
  void lock() override;
  void unlock() override;

 private:
  std::recursive_mutex mutex;
};

}  // namespace cvx
