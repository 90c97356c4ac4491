#pragma once

#include <pthread.h>

#include "platform/system/ThreadSafety.h"

namespace platform {

/// The read-write lock of the host's containers. One `unlock` ends either kind of hold; a thread
/// must not take it twice.
class CAPABILITY("mutex") MutLock {
 public:
  MutLock() = default;
  ~MutLock() { pthread_rwlock_destroy(&_lock); }
  MutLock(const MutLock&) = delete;
  MutLock& operator=(const MutLock&) = delete;

  void rdlock() const ACQUIRE_SHARED() { pthread_rwlock_rdlock(&_lock); }
  void wrlock() const ACQUIRE() { pthread_rwlock_wrlock(&_lock); }
  void unlock() const RELEASE_GENERIC() { pthread_rwlock_unlock(&_lock); }

 private:
  mutable pthread_rwlock_t _lock = PTHREAD_RWLOCK_INITIALIZER;
};

/// Holds a container's lock for a scope.
template <class Container>
class SCOPED_CAPABILITY ReadHold {
 public:
  explicit ReadHold(const Container& container) ACQUIRE_SHARED(container) : _container(container) {
    _container.rdlock();
  }
  ~ReadHold() RELEASE() { _container.unlock(); }
  ReadHold(const ReadHold&) = delete;
  ReadHold& operator=(const ReadHold&) = delete;

 private:
  const Container& _container;
};

template <class Container>
class SCOPED_CAPABILITY WriteHold {
 public:
  explicit WriteHold(const Container& container) ACQUIRE(container) : _container(container) {
    _container.wrlock();
  }
  ~WriteHold() RELEASE() { _container.unlock(); }
  WriteHold(const WriteHold&) = delete;
  WriteHold& operator=(const WriteHold&) = delete;

 private:
  const Container& _container;
};

}  // namespace platform
