#include <sys/eventfd.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <deque>
#include <utility>

#include "platform/system/Dispatch.h"
#include "platform/system/GuardedTask.h"
#include "platform/system/Mutex.h"

namespace platform {
namespace {

class EventMainQueue : public MainQueue,
                       public DispatchQueue,
                       public std::enable_shared_from_this<EventMainQueue> {
 public:
  EventMainQueue() : _event(newEvent()) {}

  void async(Task task) override {
    bool isFirst;
    {
      LockGuard hold(_lock);
      _due.push_back(std::move(task));
      isFirst = _due.size() == 1;
    }
    // Without the lock, for which whoever wakes up would have to wait at once.
    if (isFirst) makeReadable();
    _changed.notify_one();
  }

  void after(std::chrono::nanoseconds delay, Task task) override {
    DispatchQueue::after(delay, std::move(task));
  }

  int fileDescriptor() override {
    LockGuard hold(_lock);
    if (_event < 0) {
      _event = newEvent();
      if (!_due.empty()) makeReadable();
    }
    return _event;
  }

  std::size_t runDue() override {
    const std::size_t due = countDue();
    std::size_t ran = 0;
    while (ran < due && runFirst()) ++ran;
    return ran;
  }

  void run() override {
    while (waitForTask()) runFirst();
  }

  void stop() override {
    LockGuard hold(_lock);
    _stopping = true;
    _changed.notify_all();
  }

 private:
  static int newEvent() { return ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK); }
  std::shared_ptr<DispatchQueue> self() override { return shared_from_this(); }

  std::size_t countDue() {
    LockGuard hold(_lock);
    if (_due.empty()) makeUnreadable();  // the task has been run before it showed
    return _due.size();
  }

  bool runFirst() {
    Task task;
    {
      LockGuard hold(_lock);
      if (_due.empty()) return false;
      task = std::move(_due.front());
      _due.pop_front();
      if (_due.empty()) makeUnreadable();
    }
    runGuarded(task);
    return true;
  }

  /// False when the queue was stopped instead.
  bool waitForTask() {
    UniqueLock hold(_lock);
    while (!_stopping && _due.empty()) _changed.wait(hold);
    return !std::exchange(_stopping, false);
  }

  void makeReadable() {
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = ::write(_event, &one, sizeof one);
  }
  void makeUnreadable() {
    std::uint64_t count;
    [[maybe_unused]] const ssize_t taken = ::read(_event, &count, sizeof count);
  }

  // Readable while `_due` holds something, and perhaps once too often. -1 while the
  // process can have no descriptor for it. Set under `_lock`.
  std::atomic<int> _event;
  Mutex _lock;  // never held while a task runs; nothing is taken under it
  ConditionVariable _changed;
  std::deque<Task> _due GUARDED_BY(_lock);
  bool _stopping GUARDED_BY(_lock) = false;
};

}  // namespace
}  // namespace platform

brannow::MainQueue& brannow::MainQueue::shared() {
  using Queue = platform::EventMainQueue;
  static auto& queue = *new std::shared_ptr<Queue>(std::make_shared<Queue>());
  return *queue;
}
