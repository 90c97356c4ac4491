#pragma once

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>

/// Notices when a file has been written. Asks the file system a few times a second at most.
class FileWatch {
 public:
  using Clock = std::chrono::steady_clock;

  explicit FileWatch(std::string path);
  const std::string& path() const { return _path; }
  /// True once after each change, when the file has kept its modification time from one look to the
  /// next, so that a file is not read half-written. A file that is gone has not changed.
  bool changed(Clock::time_point now);

 private:
  std::string _path;
  std::optional<std::filesystem::file_time_type> _known;
  std::optional<std::filesystem::file_time_type> _lastSeen;
  Clock::time_point _nextLook;
};
