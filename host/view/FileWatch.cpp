#include "host/view/FileWatch.h"

#include <sys/stat.h>

#include <utility>

namespace {

constexpr std::chrono::milliseconds kBetweenLooks{15};
constexpr std::chrono::milliseconds kUntilGone{500};

}  // namespace

std::optional<FileWatch::State> FileWatch::stateOf(const std::string& path) {
  struct stat status {};
  if (::stat(path.c_str(), &status) != 0) return std::nullopt;
  return State{status.st_mtim.tv_sec, status.st_mtim.tv_nsec, status.st_size, status.st_ino};
}

void FileWatch::follow(const std::vector<std::string>& paths) {
  auto former = std::exchange(_files, {});
  for (const std::string& path : paths) {
    if (auto known = former.extract(path)) {
      _files.insert(std::move(known));
    } else {
      const auto state = stateOf(path);
      _files.try_emplace(path, File{state, state});
    }
  }
}

bool FileWatch::changed(Clock::time_point now) {
  if (now < _nextLook) return false;
  _nextLook = now + kBetweenLooks;
  bool isAny = false;
  for (auto& [path, file] : _files) {
    const auto state = stateOf(path);
    const bool isSettled = state == file.seen;
    if (!isSettled) file.seenSince = now;
    file.seen = state;
    if (!isSettled || state == file.told || (!state && now - file.seenSince < kUntilGone)) continue;
    file.told = state;
    isAny = true;
  }
  return isAny;
}
