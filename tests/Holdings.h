#pragma once

#include <sys/types.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <ostream>
#include <string>
#include <vector>

#include "runtime/sharing/SharedTexture.h"
#include "runtime/textures/TexturePool.h"
#include "tests/Waiting.h"

/// The children that run that program; any without a name.
inline std::vector<pid_t> children(const std::string& program = "") {
  std::vector<pid_t> found;
  for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task")) {
    std::ifstream list(thread.path() / "children");
    for (pid_t child; list >> child;) {
      std::string name;
      std::getline(std::ifstream("/proc/" + std::to_string(child) + "/comm"), name);
      if (program.empty() || name == program) found.push_back(child);
    }
  }
  return found;
}

/// What a process could leak.
struct Holdings {
  std::size_t descriptors = 0, threads = 0, children = 0;
  long textures = 0;
  bool operator==(const Holdings&) const = default;

  /// What is held once it is no more than that. A thread that has been joined may still be seen.
  static Holdings after(const Holdings& before) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    lookUntil([&] { return now() == before || std::chrono::steady_clock::now() >= deadline; });
    return now();
  }

  static Holdings now() {
    const auto count = [](const char* folder) {
      return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(folder),
                                                    std::filesystem::directory_iterator()));
    };
    return {count("/proc/self/fd"), count("/proc/self/task"), ::children().size(),
            vuo::TexturePool::liveTextures() + vuo::SharedTexture::liveTextures()};
  }
};

/// With the names of the threads that there are when it is told.
inline std::ostream& operator<<(std::ostream& out, const Holdings& held) {
  out << held.descriptors << " descriptors, " << held.threads << " threads, " << held.children
      << " children, " << held.textures << " textures; now";
  for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task")) {
    std::string name;
    std::getline(std::ifstream(thread.path() / "comm"), name);
    out << " " << name;
  }
  return out;
}
