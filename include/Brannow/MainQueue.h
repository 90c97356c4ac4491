// The queue on which answers arrive, and the wait for everything that runs in the background.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>

#include "Brannow/BrannowExport.h"

namespace brannow {

/// The process's one queue for what is to happen where the host handles its user interface: the
/// answers to asynchronous loads, changes of a scene's status, lost contact, alerts. It owns no
/// thread. The host either polls `fileDescriptor()` in its own loop and calls `runDue()` when it is
/// readable, or gives a thread to `run()`. One thread serves it at a time.
///
/// Tasks may be submitted from any thread; that never blocks and never runs the task in the call.
/// They run in the order in which they become due. What a task throws is logged and dropped.
class BRANNOW_API MainQueue {
 public:
  static MainQueue& shared();

  virtual void async(std::function<void()> task) = 0;
  /// Submits the task once `delay` has passed on the steady clock.
  virtual void after(std::chrono::nanoseconds delay, std::function<void()> task) = 0;

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

 protected:
  ~MainQueue() = default;  // it lives as long as the process
};

/// Returns when nothing runs in the background any more and nothing is waiting to: compiles,
/// compositions that are being stopped. For a program's end, after the last scene has been deleted:
/// the GL context and the pool may go afterwards. The main queue is not waited for; where the
/// process can have no thread, that it can is. Must not be called from a task.
BRANNOW_API void finishQueues();

}  // namespace brannow
