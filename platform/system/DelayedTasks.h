// One thread that wakes up when the next delayed task is due.
#pragma once

#include <chrono>
#include <functional>
#include <map>

#include "platform/system/Mutex.h"

namespace platform {

/// Tasks that become due at the same instant start in the order in which they were added. They run
/// on the one timer thread and must only hand work on.
class DelayedTasks {
 public:
  using Clock = std::chrono::steady_clock;

  static DelayedTasks& shared();
  /// Where the process can have no more threads, the task waits for one: every later call, and
  /// every turn of the main queue, tries again to have it.
  void add(Clock::time_point due, std::function<void()> task);
  /// Returns when there is a thread for what waits.
  void waitForThread();

 private:
  DelayedTasks() = default;
  ~DelayedTasks() = delete;  // lives as long as the process
  bool hasThread() REQUIRES(_lock);
  void tryAgain();
  [[noreturn]] void serve();

  Mutex _lock;  // never held while a task runs
  ConditionVariable _changed;
  std::multimap<Clock::time_point, std::function<void()>> _waiting GUARDED_BY(_lock);
  bool _hasThread GUARDED_BY(_lock) = false;
  bool _triesAgain GUARDED_BY(_lock) = false;  // a task of the main queue does
};

}  // namespace platform
