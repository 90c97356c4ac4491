// Dispatch queues: work that runs later, in order, on a thread that is not the caller's.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include "Brannow/MainQueue.h"

namespace platform {

using Task = std::function<void()>;

/// Accepts tasks from any thread. Submitting never blocks and never runs the task in the call.
/// What a task throws is logged and dropped.
/// Tasks that become due at the same instant are started in the order of their submission.
class DispatchQueue {
 public:
  virtual ~DispatchQueue() = default;
  virtual void async(Task task) = 0;
  /// Submits `task` once `delay` has passed on the steady clock.
  void after(std::chrono::nanoseconds delay, Task task);

 protected:
  /// A strong reference for the time that a delayed task waits.
  virtual std::shared_ptr<DispatchQueue> self() = 0;
  /// Held while a delayed task waits, for queues that are asked whether anything is left to do.
  virtual std::shared_ptr<void> pending() { return nullptr; }
};

/// Runs one task at a time, in order, on worker threads that serial queues share. Tasks that were
/// submitted still run after the last reference to the queue is gone.
std::shared_ptr<DispatchQueue> makeSerialQueue(std::string label);

/// The process-wide concurrent queue of default priority. A task never waits for one that is
/// running, however many of them wait for something: there is a thread for each, as far as the
/// process can have threads.
DispatchQueue& globalConcurrentQueue();

/// Waits for the concurrent queue, every serial one and what is delayed on them.
using brannow::finishQueues;

/// The queue of the host's user interface.
using brannow::MainQueue;

}  // namespace platform
