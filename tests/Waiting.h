// Waiting for what nobody tells of, without a guess at how long it takes.
#pragma once

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <string>
#include <thread>

/// Looks at the kernel's account of processes and threads, which tells of no change, until it
/// holds.
template <class Condition>
void lookUntil(Condition holds) {
  while (!holds()) std::this_thread::yield();
}

/// The other threads of this process, each with how often it has gone to sleep; none while one
/// runs.
inline std::optional<std::map<std::string, std::string>> sleepingThreads() {
  std::map<std::string, std::string> threads;
  for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task")) {
    const std::string id = thread.path().filename();
    if (id == std::to_string(::gettid())) continue;
    std::ifstream status(thread.path() / "status");
    for (std::string name, value; std::getline(status >> name >> std::ws, value);) {
      if (name == "State:" && !value.starts_with('S')) return std::nullopt;
      if (name == "voluntary_ctxt_switches:") threads[id] = value;
    }
  }
  return threads;
}

/// Until every other thread of this process waits for something: whatever was to happen by itself
/// has happened. None has run between two equal looks, so all slept at once.
inline void waitUntilOthersSleep() {
  lookUntil([] {
    const auto first = sleepingThreads();
    return first && first == sleepingThreads();
  });
}
