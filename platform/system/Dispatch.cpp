#include "platform/system/Dispatch.h"

#include <algorithm>
#include <asio.hpp>
#include <thread>
#include <utility>

#include "platform/system/ConcurrentQueue.h"
#include "platform/system/DelayedTasks.h"
#include "platform/system/GuardedTask.h"
#include "platform/system/OutstandingTasks.h"

namespace platform {
namespace {

// What stands here for the whole process is made at its first use and never destroyed: tasks may
// still run on other threads while the process ends.

constexpr unsigned kLeastWorkers = 4;

/// For serial queues alone, so that they get on whatever the concurrent queue's tasks wait for.
asio::thread_pool& workers() {
  static asio::thread_pool& pool =
      *new asio::thread_pool(std::max(kLeastWorkers, std::thread::hardware_concurrency()));
  return pool;
}

class SerialQueue : public DispatchQueue, public std::enable_shared_from_this<SerialQueue> {
 public:
  void async(Task task) override {
    asio::post(_strand, [task = std::move(task), counted = OutstandingTasks::counted()]() mutable {
      runGuarded(task);
      task = nullptr;  // what the task holds goes before it counts as done
    });
  }

 private:
  std::shared_ptr<DispatchQueue> self() override { return shared_from_this(); }
  std::shared_ptr<void> pending() override { return OutstandingTasks::counted(); }

  asio::strand<asio::thread_pool::executor_type> _strand{workers().get_executor()};
};

}  // namespace

void DispatchQueue::after(std::chrono::nanoseconds delay, Task task) {
  const auto due = std::chrono::steady_clock::now() + delay;
  DelayedTasks::shared().add(
      due, [queue = self(), task = std::move(task), counted = pending()]() mutable {
        queue->async(std::move(task));
      });
}

std::shared_ptr<DispatchQueue> makeSerialQueue(std::string) {
  return std::make_shared<SerialQueue>();
}

DispatchQueue& globalConcurrentQueue() {
  return ConcurrentQueue::shared();
}

void finishQueues() {
  OutstandingTasks::waitForNone();
  ConcurrentQueue::shared().waitForSurplusThreads();
}

}  // namespace platform
