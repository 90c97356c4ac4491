#include "host/view/Y4mFile.h"

#include <fcntl.h>
#include <poll.h>
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

platform::FileDescriptor opened(const std::string& path) {
  constexpr int flags = O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
  struct stat status {};
  const bool isPipe = ::stat(path.c_str(), &status) == 0 && S_ISFIFO(status.st_mode);
  platform::FileDescriptor file(
      ::open(path.c_str(), isPipe ? flags : flags | O_CREAT | O_EXCL, 0666));
  if (!file) fail(path, errno);
  return file;
}

}  // namespace

Y4mFile::Y4mFile(std::string path) : _path(std::move(path)), _file(opened(_path)) {}

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
    const ssize_t count = ::write(_file.get(), next, size);
    if (count >= 0) {
      next += count;
      size -= static_cast<std::size_t>(count);
    } else if (errno == EAGAIN) {
      pollfd room{_file.get(), POLLOUT, 0};
      if (::poll(&room, 1, kLongestWait) == 0) fail(_path, ETIMEDOUT);
    } else if (errno != EINTR) {
      fail(_path, errno);
    }
  }
}
