#include "host/view/FileWatch.h"

#include <system_error>

namespace {

constexpr std::chrono::milliseconds kBetweenLooks{200};

std::optional<std::filesystem::file_time_type> modificationTime(const std::string& path) {
  std::error_code error;
  const auto time = std::filesystem::last_write_time(path, error);
  return error ? std::nullopt : std::optional(time);
}

}  // namespace

FileWatch::FileWatch(std::string path)
    : _path(std::move(path)), _known(modificationTime(_path)), _lastSeen(_known) {}

bool FileWatch::changed(Clock::time_point now) {
  if (now < _nextLook) return false;
  _nextLook = now + kBetweenLooks;
  const auto seen = modificationTime(_path);
  const bool isSettled = seen == _lastSeen;
  _lastSeen = seen;
  if (!isSettled || !seen || seen == _known) return false;
  _known = seen;
  return true;
}
