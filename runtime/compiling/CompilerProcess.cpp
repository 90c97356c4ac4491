#include "runtime/compiling/CompilerProcess.h"

#include <sys/socket.h>
#include <unistd.h>

#include <stdexcept>

#include "platform/system/Mutex.h"
#include "runtime/HelperFolder.h"
#include "runtime/compiler/CompilerProtocol.h"

namespace vuo {
namespace {

/// Never destroyed, since the program ends when this process does.
struct Ready {
  platform::Mutex lock;  // no other is taken under it
  std::unique_ptr<CompilerProcess> compiler GUARDED_BY(lock);
};
Ready& ready() {
  static Ready& theReady = *new Ready;
  return theReady;
}

/// It reads compositions wherever they lie; what compiles one reads nothing but that one's folder.
ContainedProgram compilerWith(int socket) {
  ContainedProgram program;
  program.program = helperFolder() + "/vuo-compiler";
  program.descriptors = {socket};
  program.readable = {"/"};
  program.copiesItself = true;
  return program;
}

}  // namespace

std::unique_ptr<CompilerProcess> CompilerProcess::acquire() {
  std::unique_ptr<CompilerProcess> compiler;
  {
    platform::LockGuard hold(ready().lock);
    compiler = std::move(ready().compiler);
  }
  // A copy of the process that started the program leaves it to that one.
  if (compiler && compiler->_owner != getpid()) (void)compiler.release();
  if (compiler && !compiler->_process.hasEndedWithin(std::chrono::milliseconds(0))) return compiler;
  return std::make_unique<CompilerProcess>();
}

void CompilerProcess::giveBack(std::unique_ptr<CompilerProcess> compiler) {
  platform::LockGuard hold(ready().lock);
  if (!ready().compiler) std::swap(ready().compiler, compiler);  // else it ends without the lock
}

CompilerProcess::Sockets CompilerProcess::newSockets() {
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0)
    throw std::runtime_error("There is no socket for the compiler");
  return {platform::FileDescriptor(ends[0]), platform::FileDescriptor(ends[1])};
}

CompilerProcess::CompilerProcess(Sockets sockets)
    : _owner(getpid()),
      _socket(std::move(sockets.first)),
      _process(compilerWith(sockets.second.get())) {}

std::optional<siginfo_t> CompilerProcess::compile(const std::string& composition, int output,
                                                  std::chrono::milliseconds patience) try {
  if (!_socket.send(encoded(message::Compile{composition}), output, patience)) return std::nullopt;
  const auto answer = _socket.receive(patience);
  if (!answer) return std::nullopt;
  const auto compiled = decoded<message::Compiled>(answer->bytes);
  siginfo_t end{};
  end.si_code = compiled.code;
  end.si_status = compiled.status;
  return end;
} catch (const ProtocolError&) {
  return std::nullopt;
}

}  // namespace vuo
