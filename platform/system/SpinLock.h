#pragma once

#include <atomic>

namespace platform {

/// A busy-wait lock for sections of a few instructions. A waiter spins briefly and then yields its
/// processor, so that a holder that takes longer costs the waiters no full core. Not recursive.
/// Meets the standard's Lockable, so std::lock_guard and std::scoped_lock take it.
class SpinLock {
 public:
  void lock();
  bool try_lock() { return _word.exchange(1, std::memory_order_acquire) == 0; }
  void unlock() { _word.store(0, std::memory_order_release); }

 private:
  std::atomic<unsigned> _word{0};
};

}  // namespace platform
