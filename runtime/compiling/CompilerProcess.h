#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "runtime/process/ChildProcess.h"
#include "runtime/transport/MessageSocket.h"

namespace vuo {

/// The compiler program, which takes one composition after the other and ends with this process.
class CompilerProcess {
 public:
  /// The one that is ready, or a new one. Throws std::runtime_error. Any thread.
  static std::unique_ptr<CompilerProcess> acquire();
  /// Keeps it ready, where no other one is.
  static void giveBack(std::unique_ptr<CompilerProcess> compiler);

  CompilerProcess() : CompilerProcess(newSockets()) {}

  /// Compiles into the file that is open as `output`, and says how the process ended that did it.
  /// Nothing when the program is gone or does not answer in time; it is of no more use then.
  std::optional<siginfo_t> compile(const std::string& composition, int output,
                                   std::chrono::milliseconds patience);

 private:
  using Sockets = std::pair<platform::FileDescriptor, platform::FileDescriptor>;
  static Sockets newSockets();
  explicit CompilerProcess(Sockets sockets);

  const pid_t _owner;
  MessageSocket _socket;
  ChildProcess _process;
};

}  // namespace vuo
