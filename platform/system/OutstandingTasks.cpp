#include "platform/system/OutstandingTasks.h"

#include <condition_variable>
#include <mutex>

namespace platform {
namespace {

struct Count {
  std::mutex lock;  // guards `tasks`; nothing is taken under it
  std::condition_variable none;
  long tasks = 0;

  /// Never destroyed.
  static Count& shared() {
    static Count& theCount = *new Count;
    return theCount;
  }
};

}  // namespace

std::shared_ptr<void> OutstandingTasks::counted() {
  Count& count = Count::shared();
  {
    std::lock_guard hold(count.lock);
    ++count.tasks;
  }
  // Where there is no memory for it, it counts back at once.
  return {nullptr, [&count](void*) {
            std::lock_guard hold(count.lock);
            if (--count.tasks == 0) count.none.notify_all();
          }};
}

void OutstandingTasks::waitForNone() {
  Count& count = Count::shared();
  std::unique_lock hold(count.lock);
  count.none.wait(hold, [&] { return count.tasks == 0; });
}

}  // namespace platform
