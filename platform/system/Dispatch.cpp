#include "platform/system/Dispatch.h"

#include <algorithm>
#include <asio.hpp>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <utility>

#include "platform/system/DelayedTasks.h"
#include "platform/system/GuardedTask.h"

namespace platform {
namespace {

// What stands here for the whole process is made at its first use and never destroyed: tasks may
// still run on other threads while the process ends.

constexpr unsigned kLeastWorkers = 4;

/// How many tasks the worker queues still have to finish.
class Outstanding {
 public:
  void begin() {
    std::lock_guard hold(_lock);
    ++_count;
  }
  void end() {
    std::lock_guard hold(_lock);
    if (--_count == 0) _none.notify_all();
  }
  void waitForNone() {
    std::unique_lock hold(_lock);
    _none.wait(hold, [this] { return _count == 0; });
  }

 private:
  std::mutex _lock;  // nothing is taken under it
  std::condition_variable _none;
  long _count = 0;
};

Outstanding& outstanding() {
  static Outstanding& all = *new Outstanding;
  return all;
}

/// Counts as one outstanding task while it exists.
std::shared_ptr<void> countedTask() {
  outstanding().begin();
  return std::shared_ptr<void>(nullptr, [](void*) { outstanding().end(); });
}

asio::thread_pool& workers() {
  static asio::thread_pool& pool =
      *new asio::thread_pool(std::max(kLeastWorkers, std::thread::hardware_concurrency()));
  return pool;
}

/// Runs tasks on the worker threads, through whatever order `Executor` keeps.
template <class Executor>
class WorkerQueue : public DispatchQueue,
                    public std::enable_shared_from_this<WorkerQueue<Executor>> {
 public:
  explicit WorkerQueue(Executor executor) : _executor(std::move(executor)) {}

  void async(Task task) override {
    asio::post(_executor, [task = std::move(task), counted = countedTask()]() mutable {
      runGuarded(task);
      task = nullptr;  // what the task holds goes before it counts as done
    });
  }

 private:
  std::shared_ptr<DispatchQueue> self() override { return this->shared_from_this(); }
  std::shared_ptr<void> pending() override { return countedTask(); }

  Executor _executor;
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
  using Strand = asio::strand<asio::thread_pool::executor_type>;
  return std::make_shared<WorkerQueue<Strand>>(Strand(workers().get_executor()));
}

DispatchQueue& globalConcurrentQueue() {
  using Pool = WorkerQueue<asio::thread_pool::executor_type>;
  static auto& queue = *new std::shared_ptr<Pool>(std::make_shared<Pool>(workers().get_executor()));
  return *queue;
}

void finishQueues() {
  outstanding().waitForNone();
}

}  // namespace platform
