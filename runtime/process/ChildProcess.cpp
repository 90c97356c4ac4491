#include "runtime/process/ChildProcess.h"

#include <poll.h>
#include <sys/wait.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>

extern "C" {  // the header of glibc 2.36 does not say so itself
#include <sys/pidfd.h>
}

namespace vuo {
namespace {

/// A child without a descriptor has to go at once, while its number is surely its own.
void endUnwatched(pid_t process) {
  siginfo_t state{};
  const auto wait = [&](int how) {
    int done;
    do done = waitid(P_PID, static_cast<id_t>(process), &state, how);
    while (done != 0 && errno == EINTR);
    return done == 0;
  };
  if (!wait(WEXITED | WNOHANG | WNOWAIT)) return;  // it is no child of this process any more
  ::kill(process, SIGKILL);
  wait(WEXITED);
}

}  // namespace

ChildProcess::ChildProcess(const ContainedProgram& program) : _process(launch(program)) {
  _descriptor = platform::FileDescriptor(pidfd_open(_process, 0));
  // There is no such process where the host lets its children go unseen and this one is gone.
  if (_descriptor || errno == ESRCH) return;
  const std::string fault = std::strerror(errno);
  endUnwatched(_process);
  throw std::runtime_error(program.program + " can't be watched: " + fault);
}

ChildProcess::~ChildProcess() {
  waitAtMost(std::chrono::milliseconds(0));
}

void ChildProcess::kill() {
  if (_descriptor) pidfd_send_signal(_descriptor.get(), SIGKILL, nullptr, 0);
}

bool ChildProcess::hasEndedWithin(std::chrono::milliseconds patience) const {
  if (!_descriptor) return true;
  const auto deadline = std::chrono::steady_clock::now() + patience;
  pollfd waiting{_descriptor.get(), POLLIN, 0};
  for (;;) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(
        std::max(deadline - std::chrono::steady_clock::now(), std::chrono::nanoseconds(0)));
    const int ended = poll(&waiting, 1, static_cast<int>(left.count()));
    if (ended >= 0 || errno != EINTR) return ended > 0;
  }
}

std::optional<siginfo_t> ChildProcess::waitAtMost(std::chrono::milliseconds patience) {
  if (!_descriptor) return std::nullopt;
  if (!hasEndedWithin(patience)) kill();
  siginfo_t end{};
  while (waitid(P_PIDFD, static_cast<id_t>(_descriptor.get()), &end, WEXITED) != 0)
    if (errno != EINTR) return std::nullopt;
  return end;
}

std::string endDescription(const std::optional<siginfo_t>& end) {
  if (!end) return "";
  if (end->si_code == CLD_EXITED) return "it exited with status " + std::to_string(end->si_status);
  const char* name = sigdescr_np(end->si_status);
  return "it was ended by signal " + std::to_string(end->si_status) +
         (name != nullptr ? std::string(" (") + name + ")" : "");
}

}  // namespace vuo
