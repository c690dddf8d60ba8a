#include "logging/ConcurrentLockLinux.h"

#include <new>

namespace cvx {

void ConcurrentLockLinux::lock() { mutex.lock(); }

void ConcurrentLockLinux::unlock() { mutex.unlock(); }

IConcurrentLock* createConcurrentLock() { return new (std::nothrow) ConcurrentLockLinux(); }

}  // namespace cvx
