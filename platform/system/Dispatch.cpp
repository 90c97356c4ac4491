#include "platform/system/Dispatch.h"

#include <deque>
#include <utility>

#include "platform/system/ConcurrentQueue.h"
#include "platform/system/DelayedTasks.h"
#include "platform/system/GuardedTask.h"
#include "platform/system/Mutex.h"
#include "platform/system/OutstandingTasks.h"
#include "platform/system/WithMemory.h"

namespace platform {
namespace {

/// Its tasks run where the concurrent queue's do, one after the other.
class SerialQueue : public DispatchQueue, public std::enable_shared_from_this<SerialQueue> {
 public:
  void async(Task task) override {
    LockGuard hold(_lock);
    _waiting.push_back({std::move(task), OutstandingTasks::counted()});
    if (_isServed) return;
    globalConcurrentQueue().async([queue = shared_from_this()] { queue->serve(); });
    _isServed = true;
  }

 private:
  struct Waiting {
    Task task;
    std::shared_ptr<void> counted;
  };

  std::shared_ptr<DispatchQueue> self() override { return shared_from_this(); }
  std::shared_ptr<void> pending() override { return OutstandingTasks::counted(); }

  void serve() {
    UniqueLock hold(_lock);
    while (!_waiting.empty()) {
      Waiting next = std::move(_waiting.front());
      _waiting.pop_front();
      hold.unlock();
      runGuarded(next.task);
      next = {};  // what the task holds goes before it counts as done
      hold.lock();
    }
    _isServed = false;
  }

  Mutex _lock;  // the concurrent queue's may be taken under it
  std::deque<Waiting> _waiting GUARDED_BY(_lock);
  bool _isServed GUARDED_BY(_lock) = false;
};

}  // namespace

void DispatchQueue::after(std::chrono::nanoseconds delay, Task task) {
  const auto due = std::chrono::steady_clock::now() + delay;
  const auto waiting = std::make_shared<Task>(std::move(task));
  DelayedTasks::shared().add(due, [queue = self(), waiting, counted = pending()] {
    // What the task holds goes with its run.
    withMemory([&] { queue->async([waiting] { std::exchange(*waiting, nullptr)(); }); });
  });
}

std::shared_ptr<DispatchQueue> makeSerialQueue(std::string) {
  return std::make_shared<SerialQueue>();
}

DispatchQueue& globalConcurrentQueue() {
  return ConcurrentQueue::shared();
}

}  // namespace platform

void brannow::finishQueues() {
  using namespace platform;
  DelayedTasks::shared().waitForThread();
  OutstandingTasks::waitForNone();
  ConcurrentQueue::shared().waitForSurplusThreads();
}
