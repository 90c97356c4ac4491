#include "host/view/Y4mFile.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <string_view>
#include <utility>

#include "host/Failure.h"
#include "host/Y4mHeader.h"

namespace {

constexpr int kLongestWait = 5000;  // ms

[[noreturn]] void fail(const std::string& path, int reason) {
  const char* words = reason == ENXIO ? "nobody reads this pipe" : std::strerror(reason);
  throw Failure{path + ": " + words};
}

constexpr int kFlags = O_NONBLOCK | O_NOCTTY | O_CLOEXEC;

/// A reader of our own, with which a pipe can be opened before its reader comes; none for a file.
platform::FileDescriptor standInReader(const std::string& path) {
  struct stat status {};
  const bool isPipe = ::stat(path.c_str(), &status) == 0 && S_ISFIFO(status.st_mode);
  return platform::FileDescriptor(isPipe ? ::open(path.c_str(), O_RDONLY | kFlags) : -1);
}

platform::FileDescriptor opened(const std::string& path, bool isPipe) {
  const int flags = O_WRONLY | kFlags | (isPipe ? 0 : O_CREAT | O_EXCL);
  platform::FileDescriptor file(::open(path.c_str(), flags, 0666));
  if (!file) fail(path, errno);
  return file;
}

}  // namespace

Y4mFile::Y4mFile(std::string path)
    : _path(std::move(path)),
      _standIn(standInReader(_path)),
      _file(opened(_path, static_cast<bool>(_standIn))) {}

void Y4mFile::begin(std::size_t width, std::size_t height, const FrameRate& rate) {
  const std::string line = y4mHeaderLine(width, height, rate);
  put(line.data(), line.size());
}

void Y4mFile::add(const std::vector<std::uint8_t>& planes) {
  constexpr std::string_view mark = "FRAME\n";
  put(mark.data(), mark.size());
  put(planes.data(), planes.size());
}

void Y4mFile::put(const void* bytes, std::size_t size) {
  const auto* next = static_cast<const char*>(bytes);
  while (size > 0) {
    letStandInGo();
    const ssize_t count = ::write(_file.get(), next, size);
    if (count >= 0) {
      _hasWritten = true;
      next += count;
      size -= static_cast<std::size_t>(count);
    } else if (errno == EAGAIN) {
      pollfd room{_file.get(), POLLOUT, 0};
      if (::poll(&room, 1, kLongestWait) == 0) fail(_path, _standIn ? ENXIO : ETIMEDOUT);
    } else if (errno != EINTR) {
      fail(_path, errno);
    }
  }
}

/// What has been written and is there no more, the pipe's own reader has taken.
void Y4mFile::letStandInGo() {
  int waiting = 0;
  if (_standIn && _hasWritten && ::ioctl(_standIn.get(), FIONREAD, &waiting) == 0 && waiting == 0)
    _standIn = {};
}
