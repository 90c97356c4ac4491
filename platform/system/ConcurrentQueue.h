#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <list>
#include <memory>
#include <mutex>
#include <thread>

#include "platform/system/Dispatch.h"

namespace platform {

/// Starts a thread for a task that finds none idle. A few threads stay for later tasks, the others
/// go when there is nothing left to start.
class ConcurrentQueue : public DispatchQueue, public std::enable_shared_from_this<ConcurrentQueue> {
 public:
  static ConcurrentQueue& shared();

  void async(Task task) override;
  /// Returns when only the threads that stay are left. To be called when no task is.
  void waitForSurplusThreads();

 private:
  struct Waiting {
    Task task;
    std::shared_ptr<void> counted;
  };

  std::shared_ptr<DispatchQueue> self() override { return shared_from_this(); }
  std::shared_ptr<void> pending() override;
  bool startThreads();
  void tryAgain();
  void serve(std::list<std::thread>::iterator thisThread);
  bool waitForTask(std::unique_lock<std::mutex>& hold);

  std::mutex _lock;  // guards the fields below; never held while a task runs
  std::condition_variable _taskCame;
  std::condition_variable _threadWent;
  std::deque<Waiting> _waiting;
  std::list<std::thread> _threads;
  std::size_t _idle = 0;
  bool _triesAgain = false;  // a delayed task does
  std::thread _last;         // that went; each that goes waits for the one before it
};

}  // namespace platform
