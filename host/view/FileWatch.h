#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

/// Notices when one of some files has been written, by whatever way, or is gone. Asks the file
/// system some sixty times a second at most.
class FileWatch {
 public:
  using Clock = std::chrono::steady_clock;

  explicit FileWatch(const std::vector<std::string>& paths = {}) { follow(paths); }
  /// From now on these. What has changed of those that were watched before is still told.
  void follow(const std::vector<std::string>& paths);
  /// True once after each change, when a file has stayed the same from one look to the next, so
  /// that none is read half-written. One that is gone may be about to be replaced: that takes
  /// longer.
  bool changed(Clock::time_point now);

 private:
  struct State {
    std::int64_t seconds, nanoseconds, size;
    std::uint64_t number;
    bool operator==(const State&) const = default;
  };
  struct File {
    std::optional<State> told, seen;
    Clock::time_point seenSince{};
  };
  static std::optional<State> stateOf(const std::string& path);

  std::map<std::string, File> _files;
  Clock::time_point _nextLook{};
};
