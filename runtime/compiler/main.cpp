// The program that compiles compositions: everything that reads what an author wrote runs here, not
// in the host. Each composition gets a process of its own, with limits. That is a copy of this one,
// made when the shader check has its tables ready, which takes longer than most compiles.
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "runtime/compiler/CompilerProtocol.h"
#include "runtime/compiler/OneCompile.h"
#include "runtime/compiler/ShaderInterface.h"
#include "runtime/transport/MessageSocket.h"

extern "C" {  // the header of glibc 2.36 does not say so itself
#include <sys/pidfd.h>
}
#include <sys/wait.h>

namespace {

/// Returns when the process has ended; ends with it when the host is gone before.
siginfo_t endOf(pid_t process) {
  const platform::FileDescriptor descriptor(pidfd_open(process, 0));
  pollfd waiting[] = {{descriptor.get(), POLLIN, 0}, {vuo::compilerSocket, POLLIN | POLLHUP, 0}};
  while (poll(waiting, 2, -1) < 0 && errno == EINTR) {
  }
  if (waiting[0].revents == 0) _exit(0);  // whoever compiles goes along
  siginfo_t end{};
  waitid(P_PID, static_cast<id_t>(process), &end, WEXITED);
  return end;
}

/// False when no process can be made.
bool compile(vuo::MessageSocket& socket, const vuo::MessageSocket::Received& request) {
  const auto file = vuo::decoded<vuo::message::Compile>(request.bytes).file;
  const pid_t self = getpid();
  const pid_t process = fork();
  if (process == 0) vuo::compileAndExit(file, request.descriptor.get(), self);
  if (process < 0) return false;
  const siginfo_t end = endOf(process);
  const vuo::message::Compiled compiled{end.si_code, end.si_status};
  return socket.send(vuo::encoded(compiled), -1, std::nullopt);
}

}  // namespace

int main() {
  if (fcntl(vuo::compilerSocket, F_SETFD, FD_CLOEXEC) != 0) {
    std::fputs("This program compiles compositions; the runtime starts it.\n", stderr);
    return 2;
  }
  vuo::prepareShaderCheck();
  vuo::MessageSocket socket{platform::FileDescriptor(vuo::compilerSocket)};
  while (const auto request = socket.receive(std::nullopt))
    if (!compile(socket, *request)) break;
  _exit(0);
}
