#pragma once

#include <sys/types.h>

#include <chrono>
#include <string>
#include <vector>

#include "platform/runtime/transport/FileDescriptor.h"

namespace vuo {

/// A child process. Any thread may call any operation; each works on this very process, even if its
/// number has been given to another one.
class PlayerProcess {
 public:
  /// Starts the program with the standard descriptors and `socket` as descriptor `playerSocket`,
  /// without any other, and with no signal blocked or handled. Throws std::runtime_error.
  PlayerProcess(const std::string& executable, std::vector<std::string> arguments, int socket);
  /// Ends the process if it still runs.
  ~PlayerProcess();
  PlayerProcess(const PlayerProcess&) = delete;
  PlayerProcess& operator=(const PlayerProcess&) = delete;

  /// Readable when the process has ended; -1 where it can't be watched.
  int descriptor() const { return _descriptor.get(); }
  bool hasEndedWithin(std::chrono::milliseconds patience) const;
  void kill();
  /// Returns when the process is gone and leaves no trace of it; ends it when it is still there
  /// after that time. Tells how it ended, for people; the first call only.
  std::string waitAtMost(std::chrono::milliseconds patience);

 private:
  pid_t _process = -1;
  FileDescriptor _descriptor;  ///< names the process
};

}  // namespace vuo
