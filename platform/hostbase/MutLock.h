#pragma once

#include <pthread.h>

namespace platform {

/// The read-write lock of the host's containers. One `unlock` ends either kind of hold; a thread
/// must not take it twice.
class MutLock {
 public:
  MutLock() = default;
  ~MutLock() { pthread_rwlock_destroy(&_lock); }
  MutLock(const MutLock&) = delete;
  MutLock& operator=(const MutLock&) = delete;

  void rdlock() const { pthread_rwlock_rdlock(&_lock); }
  void wrlock() const { pthread_rwlock_wrlock(&_lock); }
  void unlock() const { pthread_rwlock_unlock(&_lock); }

 private:
  mutable pthread_rwlock_t _lock = PTHREAD_RWLOCK_INITIALIZER;
};

/// Holds a container's lock for a scope.
template <class Container>
class ReadHold {
 public:
  explicit ReadHold(const Container& container) : _container(container) { _container.rdlock(); }
  ~ReadHold() { _container.unlock(); }
  ReadHold(const ReadHold&) = delete;
  ReadHold& operator=(const ReadHold&) = delete;

 private:
  const Container& _container;
};

template <class Container>
class WriteHold {
 public:
  explicit WriteHold(const Container& container) : _container(container) { _container.wrlock(); }
  ~WriteHold() { _container.unlock(); }
  WriteHold(const WriteHold&) = delete;
  WriteHold& operator=(const WriteHold&) = delete;

 private:
  const Container& _container;
};

}  // namespace platform
