#include "logging/ConcurrentLockLinux.h"

#include <new>

namespace cvx {

void ConcurrentLockLinux::lock() { mutex.lock(); }

void ConcurrentLockLinux::unlock() { mutex.unlock(); }

std::unique_ptr<IConcurrentLock> createConcurrentLock() {
  return std::unique_ptr<IConcurrentLock>(new (std::nothrow) ConcurrentLockLinux());
}

}  // namespace cvx
