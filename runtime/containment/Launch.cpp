#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <string.h>
#include <sys/wait.h>
#include <unistd.h>

#include <mutex>
#include <stdexcept>

#include "Brannow/VuoContainment.h"
#include "platform/system/FileDescriptor.h"
#include "platform/system/SystemLog.h"
#include "runtime/HelperFolder.h"
#include "runtime/containment/ContainedProgram.h"
#include "runtime/containment/LauncherOptions.h"
#include "runtime/containment/MinimalEnvironment.h"
#include "runtime/containment/StarterThread.h"

namespace vuo {
namespace {

constexpr int firstDescriptor = 3;

class SpawnSettings {
 public:
  explicit SpawnSettings(const std::vector<int>& descriptors) {
    const int end = firstDescriptor + static_cast<int>(descriptors.size());
    // From copies beyond the targets, since a target may be the number of another descriptor here.
    for (const int descriptor : descriptors) {
      // Owned before the list has room for it, of which there may be none.
      _copies.push_back(platform::FileDescriptor(fcntl(descriptor, F_DUPFD_CLOEXEC, end)));
      if (!_copies.back()) throw std::runtime_error("There is no descriptor left for a process");
    }
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
#ifndef VUO_SANITIZED  // which says there what it has found
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
#endif
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
  std::vector<platform::FileDescriptor> _copies;
};

std::vector<std::string> commandLine(const ContainedProgram& order, const std::string& launcher,
                                     int report) {
  std::vector<std::string> words{launcher};
  const auto option = [&](const char* name, const std::string& value) {
    words.push_back(std::string("--") + name);
    words.push_back(value);
  };
  option(launcherOption::report, std::to_string(report));
  if (order.endsWithHost) option(launcherOption::host, std::to_string(getpid()));
  option(launcherOption::memory, std::to_string(order.memory));
  option(launcherOption::fileSize, std::to_string(order.fileSize));
  option(launcherOption::openFiles, std::to_string(order.openFiles));
  for (const std::string& path : order.readable) option(launcherOption::readable, path);
  if (!order.ownFolder.empty()) option(launcherOption::ownFolder, order.ownFolder);
  if (order.copiesItself) words.push_back(std::string("--") + launcherOption::copies);
  words.push_back("--");
  words.push_back(order.program);
  words.insert(words.end(), order.arguments.begin(), order.arguments.end());
  return words;
}

std::vector<char*> pointersTo(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  for (std::string& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

struct Pipe {
  Pipe() {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
      throw std::runtime_error(std::string("No pipe for a process: ") + strerror(errno));
    read = platform::FileDescriptor(ends[0]);
    write = platform::FileDescriptor(ends[1]);
  }
  platform::FileDescriptor read, write;
};

pid_t startLauncher(const ContainedProgram& order, int report) {
  std::vector<int> descriptors = order.descriptors;
  descriptors.push_back(report);
  const SpawnSettings settings(descriptors);
  const std::string launcher = helperFolder() + "/vuo-launch";
  const int reportThere = firstDescriptor + static_cast<int>(order.descriptors.size());
  std::vector<std::string> words = commandLine(order, launcher, reportThere);
  std::vector<std::string> variables = order.environment;  // the first of a name counts
  for (std::string& variable : minimalEnvironment()) variables.push_back(std::move(variable));

  const std::vector<char*> wordPointers = pointersTo(words);
  const std::vector<char*> variablePointers = pointersTo(variables);
  pid_t process = -1;
  int error = 0;
  StarterThread::run([&] {
    error = posix_spawn(&process, launcher.c_str(), &settings.actions, &settings.attributes,
                        wordPointers.data(), variablePointers.data());
  });
  if (error != 0) throw std::runtime_error(launcher + " can't be started: " + strerror(error));
  return process;
}

/// Until the launcher has become the program, or ends.
std::string whatTheLauncherSays(int report) {
  std::string text;
  char bytes[512];
  for (;;) {
    const ssize_t count = ::read(report, bytes, sizeof bytes);
    if (count > 0) text.append(bytes, static_cast<std::size_t>(count));
    if (count == 0 || (count < 0 && errno != EINTR)) return text;
  }
}

void tellOnceWhatIsMissing() {
  static std::once_flag told;
  std::call_once(told, [] {
    for (const std::string& sentence : VuoContainment_missing())
      platform::systemLog("\t\t%s", {sentence});
  });
}

}  // namespace

pid_t launch(const ContainedProgram& order) {
  tellOnceWhatIsMissing();
  Pipe report;
  const pid_t process = startLauncher(order, report.write.get());
  report.write =
      platform::FileDescriptor();  // closed here, so that the launcher's end of it is noticed
  const std::string fault = whatTheLauncherSays(report.read.get());
  if (fault.empty()) return process;
  while (waitpid(process, nullptr, 0) < 0 && errno == EINTR) {
  }
  throw std::runtime_error(order.program + " can't be started: " + fault);
}

}  // namespace vuo
