#include "benchmarks/Process.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <utility>

extern char** environ;

namespace {

std::vector<char*> pointersTo(const std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  for (const std::string& text : texts) pointers.push_back(const_cast<char*>(text.c_str()));
  return pointers;
}

}  // namespace

Process::Process(const std::vector<std::string>& command,
                 const std::vector<std::string>& settings) {
  int ends[2], itsInput[2];
  if (pipe2(ends, O_CLOEXEC) != 0 || pipe2(itsInput, O_CLOEXEC) != 0) std::abort();
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, itsInput[0], STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);

  auto arguments = pointersTo(command);
  arguments.push_back(nullptr);
  auto environment = pointersTo(settings);
  for (char** setting = environ; *setting; ++setting) environment.push_back(*setting);
  environment.push_back(nullptr);
  if (posix_spawnp(&_pid, arguments[0], &actions, nullptr, arguments.data(), environment.data())) {
    std::fprintf(stderr, "%s can't be started\n", arguments[0]);
    std::_Exit(1);
  }
  posix_spawn_file_actions_destroy(&actions);
  close(ends[1]);
  close(itsInput[0]);
  _output = ends[0];
  _input = itsInput[1];
}

Process::~Process() {
  close(_input);
  close(_output);
  if (_pid < 0) return;
  kill(_pid, SIGKILL);
  wait();
}

void Process::write(char byte) {
  if (::write(_input, &byte, 1) != 1) std::abort();
}

bool Process::read(void* bytes, std::size_t count) {
  auto* at = static_cast<char*>(bytes);
  while (count > 0) {
    const ssize_t got = ::read(_output, at, count);
    if (got <= 0) return false;
    at += got;
    count -= static_cast<std::size_t>(got);
  }
  return true;
}

int Process::wait() {
  int status = 0;
  waitpid(std::exchange(_pid, -1), &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}
