#include "platform/runtime/process/ChildProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
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

constexpr int firstDescriptor = 3;

class SpawnSettings {
 public:
  explicit SpawnSettings(const std::vector<int>& descriptors) {
    const int end = firstDescriptor + static_cast<int>(descriptors.size());
    // From copies beyond the targets, since a target may be the number of another descriptor here.
    for (const int descriptor : descriptors) {
      _copies.emplace_back(fcntl(descriptor, F_DUPFD_CLOEXEC, end));
      if (!_copies.back()) throw std::runtime_error("There is no descriptor left for a process");
    }
    posix_spawn_file_actions_init(&actions);
    for (std::size_t i = 0; i < _copies.size(); ++i)
      posix_spawn_file_actions_adddup2(&actions, _copies[i].get(),
                                       firstDescriptor + static_cast<int>(i));
    posix_spawn_file_actions_addclosefrom_np(&actions, end);

    sigset_t none, all;
    sigemptyset(&none);
    sigfillset(&all);
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setsigdefault(&attributes, &all);
    // In a group of its own the process is not meant by the keys that interrupt its host.
    posix_spawnattr_setflags(
        &attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETPGROUP);
  }
  ~SpawnSettings() {
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
  }
  SpawnSettings(const SpawnSettings&) = delete;
  SpawnSettings& operator=(const SpawnSettings&) = delete;

  posix_spawn_file_actions_t actions;
  posix_spawnattr_t attributes;

 private:
  std::vector<FileDescriptor> _copies;
};

}  // namespace

ChildProcess::ChildProcess(const std::string& program, std::vector<std::string> arguments,
                           const std::vector<int>& descriptors) {
  std::vector<char*> pointers{const_cast<char*>(program.c_str())};
  for (std::string& argument : arguments) pointers.push_back(argument.data());
  pointers.push_back(nullptr);
  const SpawnSettings settings(descriptors);
  const int error = posix_spawn(&_process, program.c_str(), &settings.actions, &settings.attributes,
                                pointers.data(), environ);
  if (error != 0) throw std::runtime_error(program + " can't be started: " + std::strerror(error));
  // Fails only where the host lets its children go unseen and this one is gone already.
  _descriptor = FileDescriptor(pidfd_open(_process, 0));
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
