#include "platform/system/SpinLock.h"

#include <thread>

namespace platform {

void SpinLock::lock() {
  constexpr int kSpins = 64;
  for (;;) {
    for (int spin = 0; spin < kSpins; ++spin) {
      if (_word.load(std::memory_order_relaxed) == 0 && try_lock()) return;
    }
    std::this_thread::yield();
  }
}

}  // namespace platform
