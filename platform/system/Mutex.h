// The standard library's mutex, its holds and its condition variable, as clang can check them.
#pragma once

#include <condition_variable>
#include <mutex>

#include "platform/system/ThreadSafety.h"

namespace platform {

class CAPABILITY("mutex") Mutex {
 public:
  void lock() ACQUIRE() { _mutex.lock(); }
  void unlock() RELEASE() { _mutex.unlock(); }

 private:
  friend class UniqueLock;
  std::mutex _mutex;
};

/// Holds a lock of any kind for a scope.
template <class Lock>
class SCOPED_CAPABILITY LockGuard {
 public:
  explicit LockGuard(Lock& lock) ACQUIRE(lock) : _lock(lock) { _lock.lock(); }
  ~LockGuard() RELEASE() { _lock.unlock(); }
  LockGuard(const LockGuard&) = delete;
  LockGuard& operator=(const LockGuard&) = delete;

 private:
  Lock& _lock;
};

/// Holds a mutex, with pauses.
class SCOPED_CAPABILITY UniqueLock {
 public:
  explicit UniqueLock(Mutex& mutex) ACQUIRE(mutex) : _hold(mutex._mutex) {}
  ~UniqueLock() RELEASE() = default;

  void lock() ACQUIRE() { _hold.lock(); }
  void unlock() RELEASE() { _hold.unlock(); }

 private:
  friend class ConditionVariable;
  std::unique_lock<std::mutex> _hold;
};

/// May wake up for nothing: a waiter looks in a loop at what it waits for, which is then seen to be
/// read with the lock held, as it would not be in a function that is handed over.
class ConditionVariable {
 public:
  void wait(UniqueLock& hold) { _condition.wait(hold._hold); }
  /// False once it is too late.
  template <class TimePoint>
  bool wait_until(UniqueLock& hold, const TimePoint& deadline) {
    return _condition.wait_until(hold._hold, deadline) == std::cv_status::no_timeout;
  }
  void notify_one() { _condition.notify_one(); }
  void notify_all() { _condition.notify_all(); }

 private:
  std::condition_variable _condition;
};

}  // namespace platform
