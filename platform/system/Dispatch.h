// Dispatch queues: work that runs later, in order, on a thread that is not the caller's.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>

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

/// Returns when no task is running or due on the concurrent queue or on any serial queue and no
/// delayed one is waiting. For a program's end: what was handed to the queues is done afterwards.
/// The main queue is not waited for; where the process can have no thread, that it can is.
/// Must not be called from a task.
void finishQueues();

/// The queue that runs where the host handles its user interface. It owns no thread: the host
/// either polls `fileDescriptor()` in its own loop and calls `runDue()` when it is readable, or
/// gives a thread to `run()`.
class MainQueue : public DispatchQueue {
 public:
  static MainQueue& shared();

  /// Readable while a task is due, and now and then until the next `runDue` without one. Owned by
  /// the queue; only to be polled. -1 while the process can have none; ask again.
  virtual int fileDescriptor() = 0;
  /// Runs the tasks that are due now, on the calling thread, and returns how many ran. Blocks as
  /// long as they do. Tasks that they submit wait for the next call.
  virtual std::size_t runDue() = 0;
  /// Runs tasks on the calling thread, sleeping in between, until `stop()`.
  virtual void run() = 0;
  /// Ends a `run()` after the task that it is running, or the next one to begin where none is under
  /// way; callable from any thread and from a task.
  virtual void stop() = 0;
};

}  // namespace platform
