#pragma once

#include <cstddef>
#include <deque>
#include <list>
#include <memory>
#include <thread>

#include "platform/system/Dispatch.h"
#include "platform/system/Mutex.h"

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
  bool startThreads() REQUIRES(_lock);
  void tryAgain();
  void serve(std::list<std::thread>::iterator thisThread);
  bool waitForTask(UniqueLock& hold) REQUIRES(_lock);

  Mutex _lock;  // never held while a task runs
  ConditionVariable _taskCame;
  ConditionVariable _threadWent;
  std::deque<Waiting> _waiting GUARDED_BY(_lock);
  std::list<std::thread> _threads GUARDED_BY(_lock);
  std::size_t _idle GUARDED_BY(_lock) = 0;
  bool _triesAgain GUARDED_BY(_lock) = false;  // a delayed task does
  std::thread _last GUARDED_BY(_lock);  // that went; each that goes waits for the one before it
};

}  // namespace platform
