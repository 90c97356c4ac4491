#pragma once

#include <signal.h>

#include <chrono>
#include <optional>
#include <string>

#include "platform/system/FileDescriptor.h"
#include "runtime/containment/ContainedProgram.h"

namespace vuo {

/// A child process. Any thread may call any operation; each works on this very process, even if its
/// number has been given to another one.
class ChildProcess {
 public:
  /// Starts the program. Throws std::runtime_error.
  explicit ChildProcess(const ContainedProgram& program);
  /// Ends the process if it still runs.
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  /// Readable when the process has ended; -1 where it can't be watched.
  int descriptor() const { return _descriptor.get(); }
  void kill();
  bool hasEndedWithin(std::chrono::milliseconds patience) const;
  /// Returns when the process is gone and leaves no trace of it; ends it when it is still there
  /// after that time. How it ended is not known where the host lets its children go unseen, and
  /// after the first call.
  std::optional<siginfo_t> waitAtMost(std::chrono::milliseconds patience);

 private:
  pid_t _process = -1;
  platform::FileDescriptor _descriptor;  ///< names the process
};

/// How a process ended, for people; empty where that is not known.
std::string endDescription(const std::optional<siginfo_t>& end);

}  // namespace vuo
