#include "platform/system/OutstandingTasks.h"

#include "platform/system/Mutex.h"

namespace platform {
namespace {

struct Count {
  Mutex lock;  // nothing is taken under it
  ConditionVariable none;
  long tasks GUARDED_BY(lock) = 0;

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
    LockGuard hold(count.lock);
    ++count.tasks;
  }
  // Where there is no memory for it, it counts back at once.
  return {nullptr, [&count](void*) {
            LockGuard hold(count.lock);
            if (--count.tasks == 0) count.none.notify_all();
          }};
}

void OutstandingTasks::waitForNone() {
  Count& count = Count::shared();
  UniqueLock hold(count.lock);
  while (count.tasks != 0) count.none.wait(hold);
}

}  // namespace platform
