#include "host/view/FileWatch.h"

namespace {

constexpr std::chrono::milliseconds kBetweenLooks{200};

}  // namespace

FileWatch::FileWatch(std::string path)
    : _path(std::move(path)), _known(platform::modificationTime(_path)), _lastSeen(_known) {}

bool FileWatch::changed(Clock::time_point now) {
  if (now < _nextLook) return false;
  _nextLook = now + kBetweenLooks;
  const auto seen = platform::modificationTime(_path);
  const bool isSettled = seen == _lastSeen;
  _lastSeen = seen;
  if (!isSettled || !seen || seen == _known) return false;
  _known = seen;
  return true;
}
