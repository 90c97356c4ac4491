// What several tests need: a folder of their own, the log, and the main queue's turn.
#pragma once

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "platform/system/Dispatch.h"
#include "platform/system/Mutex.h"
#include "platform/system/SystemLog.h"

/// A new folder that goes with its test. Settings, trash and cache of the user point into it.
class TestFolder {
 public:
  TestFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "brannow-test-XXXXXX").string();
    path = ::mkdtemp(name.data());
    ::setenv("HOME", path.c_str(), 1);
    ::setenv("XDG_CONFIG_HOME", (path + "/config").c_str(), 1);
    ::setenv("XDG_DATA_HOME", (path + "/data").c_str(), 1);
  }
  ~TestFolder() { std::filesystem::remove_all(path); }

  std::string write(const std::string& name, const std::string& contents) const {
    const std::string file = path + "/" + name;
    std::ofstream(file, std::ios::binary) << contents;
    return file;
  }

  std::string path;
};

/// Everything that is logged while it exists.
class TestLog {
 public:
  TestLog() {
    platform::setLogSink([this](const std::string& line) {
      platform::LockGuard hold(_lock);
      _lines.push_back(line);
    });
  }
  ~TestLog() { platform::setLogSink({}); }

  std::vector<std::string> drain() {
    platform::LockGuard hold(_lock);
    return std::exchange(_lines, {});
  }

 private:
  platform::Mutex _lock;
  std::vector<std::string> _lines GUARDED_BY(_lock);
};

/// Gives the main queue its turns until `done` holds.
inline void serveMainQueueUntil(const std::function<bool()>& done) {
  auto& queue = platform::MainQueue::shared();
  while (!done()) {
    pollfd due{queue.fileDescriptor(), POLLIN, 0};
    ::poll(&due, 1, 1000);
    queue.runDue();
  }
}

inline void setModificationTime(const std::string& file, timespec time) {
  const timespec times[2] = {time, time};
  ::utimensat(AT_FDCWD, file.c_str(), times, 0);
}

inline timespec modificationTimeOf(const std::string& file) {
  struct stat status {};
  ::stat(file.c_str(), &status);
  return status.st_mtim;
}
