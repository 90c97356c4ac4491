#include "runtime/runner/TextFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <utility>

#include "runtime/Limits.h"
#include "runtime/NamedFile.h"

namespace vuo {
namespace {

constexpr std::chrono::milliseconds lookInterval{100};

long long nanoseconds(const timespec& time) {
  return time.tv_sec * 1'000'000'000LL + time.tv_nsec;
}

}  // namespace

TextFile::TextFile(std::string folder, std::string name)
    : _folder(std::move(folder)), _path(std::move(name)), _isNew(!_path.empty()) {}

void TextFile::choose(const std::string& path) {
  platform::LockGuard hold(_lock);
  if (_path == path) return;
  _path = path;
  _isHosts = _isNew = true;
  _read = _seen = std::nullopt;
  _fault.clear();
}

std::optional<TextFile::Change> TextFile::popChange() {
  platform::LockGuard hold(_lock);
  const Clock::time_point now = Clock::now();
  if (!_isNew && (_path.empty() || now < _nextLook)) return std::nullopt;
  _nextLook = now + lookInterval;
  try {
    return look();
  } catch (const std::runtime_error& fault) {
    return failed(fault.what());
  }
}

std::optional<TextFile::Change> TextFile::look() {
  if (_path.empty()) {
    _isNew = false;
    return Change{std::string(), {}};
  }
  const platform::FileDescriptor file = open();
  struct stat status {};
  if (fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode))
    throw std::runtime_error(_path + " is no regular file");
  const Version version{status.st_dev, status.st_ino, status.st_size, nanoseconds(status.st_mtim),
                        nanoseconds(status.st_ctim)};
  const bool isSettled = _isNew || _seen == version;
  _seen = version;
  if (_read == version || !isSettled) return std::nullopt;
  Change change{textFrom(file), {}};
  _read = version;
  _isNew = false;
  _fault.clear();
  return change;
}

std::optional<TextFile::Change> TextFile::failed(const std::string& why) {
  const bool wasNew = std::exchange(_isNew, false);
  _read = _seen = std::nullopt;
  if (!wasNew && why == _fault) return std::nullopt;
  _fault = why;
  return Change{wasNew ? std::optional(std::string()) : std::nullopt, why};
}

platform::FileDescriptor TextFile::open() const {
  if (!_isHosts) return openNamedFile(_folder, _path);
  const std::string path = std::filesystem::path(_folder) / _path;
  platform::FileDescriptor file(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  if (!file) throw std::runtime_error(path + " can't be read: " + std::strerror(errno));
  return file;
}

std::string TextFile::textFrom(const platform::FileDescriptor& file) const {
  constexpr std::string_view byteOrderMark = "\xef\xbb\xbf";
  std::string text(longestTextFile + 1, '\0');  // one byte more shows the end
  std::size_t length = 0;
  while (length < text.size()) {
    const ssize_t count = ::read(file.get(), text.data() + length, text.size() - length);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) throw std::runtime_error(_path + " can't be read: " + std::strerror(errno));
    if (count == 0) break;
    length += static_cast<std::size_t>(count);
  }
  if (length > longestTextFile)
    throw std::runtime_error(_path + " is longer than a text may be, " +
                             std::to_string(longestTextFile) + " bytes");
  text.resize(length);
  if (text.starts_with(byteOrderMark)) text.erase(0, byteOrderMark.size());
  text.shrink_to_fit();
  return text;
}

}  // namespace vuo
