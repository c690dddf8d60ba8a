#pragma once

#include <memory>

namespace cvx {

// A recursive mutual-exclusion lock. A thread that holds it may take it again
// and must release it as often. lock() and unlock() never fail and never time
// out. The owner deletes the lock, never while it is held.
class IConcurrentLock {
 public:
  virtual ~IConcurrentLock() = default;
  virtual void lock() = 0;
  virtual void unlock() = 0;
};

// Returns a new lock for the caller to own, or null if allocation gave
// nothing. The one place that names the platform's concrete class.
std::unique_ptr<IConcurrentLock> createConcurrentLock();

// Holds a lock for one scope, so that every return and every exception path
// releases it. A null lock is tolerated and guards nothing.
class ConcurrentLockGuard {
 public:
  explicit ConcurrentLockGuard(IConcurrentLock* lock) : lock_(lock) {
    if (lock_ != nullptr) lock_->lock();
  }
  explicit ConcurrentLockGuard(const std::unique_ptr<IConcurrentLock>& lock) : ConcurrentLockGuard(lock.get()) {}
  ~ConcurrentLockGuard() {
    if (lock_ != nullptr) lock_->unlock();
  }
  ConcurrentLockGuard(const ConcurrentLockGuard&) = delete;
  ConcurrentLockGuard& operator=(const ConcurrentLockGuard&) = delete;

 private:
  IConcurrentLock* lock_;
};

}  // namespace cvx
