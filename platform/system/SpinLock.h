#pragma once

#include <atomic>

#include "platform/system/ThreadSafety.h"

namespace platform {

/// A busy-wait lock for sections of a few instructions. A waiter spins briefly and then yields its
/// processor, so that a holder that takes longer costs the waiters no full core. Not recursive.
class CAPABILITY("mutex") SpinLock {
 public:
  void lock() ACQUIRE();
  bool try_lock() TRY_ACQUIRE(true) { return _word.exchange(1, std::memory_order_acquire) == 0; }
  void unlock() RELEASE() { _word.store(0, std::memory_order_release); }

 private:
  std::atomic<unsigned> _word{0};
};

}  // namespace platform
