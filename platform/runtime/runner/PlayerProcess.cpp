#include "platform/runtime/runner/PlayerProcess.h"

#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <mutex>
#include <stdexcept>
#include <thread>

extern "C" {  // the header of glibc 2.36 does not say so itself
#include <sys/pidfd.h>
}

#include "platform/runtime/transport/Protocol.h"

namespace vuo {
namespace {

/// A new process shares its maker's descriptors until its program begins. Were two made at once,
/// one could hold the other's program open for writing and keep it from being started.
std::mutex spawnLock;  // taken before no other lock

class SpawnSettings {
 public:
  explicit SpawnSettings(int socket) {
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, socket, playerSocket);
    posix_spawn_file_actions_addclosefrom_np(&actions, playerSocket + 1);

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
};

/// The program may be open for writing for a moment longer than its writer meant: in a process that
/// the host is just making, until that one's own program begins.
int spawn(pid_t& process, const std::string& executable, const SpawnSettings& settings,
          char** arguments) {
  const auto patience = std::chrono::steady_clock::now() + std::chrono::milliseconds(200);
  for (;;) {
    std::unique_lock hold(spawnLock);
    const int error = posix_spawn(&process, executable.c_str(), &settings.actions,
                                  &settings.attributes, arguments, environ);
    hold.unlock();
    if (error != ETXTBSY || std::chrono::steady_clock::now() > patience) return error;
    std::this_thread::yield();
  }
}

std::string textOf(const siginfo_t& end) {
  if (end.si_code == CLD_EXITED) return "it exited with status " + std::to_string(end.si_status);
  const char* description = sigdescr_np(end.si_status);
  return "it was ended by signal " + std::to_string(end.si_status) +
         (description != nullptr ? std::string(" (") + description + ")" : "");
}

}  // namespace

PlayerProcess::PlayerProcess(const std::string& executable, std::vector<std::string> arguments,
                             int socket) {
  std::vector<char*> pointers{const_cast<char*>(executable.c_str())};
  for (std::string& argument : arguments) pointers.push_back(argument.data());
  pointers.push_back(nullptr);
  const SpawnSettings settings(socket);
  const int error = spawn(_process, executable, settings, pointers.data());
  if (error != 0)
    throw std::runtime_error(executable + " can't be started: " + std::strerror(error));
  // Fails only where the host lets its children go unseen and this one is gone already.
  _descriptor = FileDescriptor(pidfd_open(_process, 0));
}

PlayerProcess::~PlayerProcess() {
  waitAtMost(std::chrono::milliseconds(0));
}

void PlayerProcess::kill() {
  if (_descriptor) pidfd_send_signal(_descriptor.get(), SIGKILL, nullptr, 0);
}

bool PlayerProcess::hasEndedWithin(std::chrono::milliseconds patience) const {
  pollfd waiting{_descriptor.get(), POLLIN, 0};
  int ended;
  do ended = poll(&waiting, 1, static_cast<int>(patience.count()));
  while (ended < 0 && errno == EINTR);
  return ended > 0;
}

std::string PlayerProcess::waitAtMost(std::chrono::milliseconds patience) {
  if (!_descriptor) return "";
  if (!hasEndedWithin(patience)) kill();
  siginfo_t end{};
  int waited;
  do waited = waitid(P_PIDFD, static_cast<id_t>(_descriptor.get()), &end, WEXITED);
  while (waited != 0 && errno == EINTR);
  return waited == 0 ? textOf(end) : "";
}

}  // namespace vuo
