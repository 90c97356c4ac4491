// One thread that wakes up when the next delayed task is due.
#pragma once

#include <chrono>
#include <functional>
#include <memory>

namespace platform {

/// Tasks that become due at the same instant start in the order in which they were added. They run
/// on the one timer thread and must only hand work on.
class DelayedTasks {
 public:
  using Clock = std::chrono::steady_clock;

  static DelayedTasks& shared();
  void add(Clock::time_point due, std::function<void()> task);

 private:
  DelayedTasks();
  ~DelayedTasks() = delete;  // lives as long as the process
  void armTimer();
  void runDue();

  struct State;
  const std::unique_ptr<State> _state;
};

}  // namespace platform
