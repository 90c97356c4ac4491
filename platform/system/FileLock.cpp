#include "platform/system/FileLock.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <limits>
#include <utility>

namespace platform {
namespace {

FileDescriptor openLockFile(const std::string& file) {
  constexpr int kFlags = O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
  return FileDescriptor(open(file.c_str(), kFlags, S_IRUSR | S_IWUSR));
}

/// Locks of the open file, not of the process: they hold between threads as well, and nothing but
/// closing this very descriptor ends them.
bool lockByte(int descriptor, std::uint64_t byte, int command) {
  struct flock lock {};
  lock.l_type = F_WRLCK;
  lock.l_whence = SEEK_SET;
  lock.l_start = static_cast<off_t>(byte & std::numeric_limits<off_t>::max());
  lock.l_len = 1;
  int result;
  do result = fcntl(descriptor, command, &lock);
  while (result != 0 && errno == EINTR);
  return result == 0;
}

bool isOwnFile(const struct stat& status) {
  return S_ISREG(status.st_mode) && status.st_uid == geteuid();
}

/// Somebody may have removed the file, and others may lock a new one by now.
bool stillNames(const std::string& file, const struct stat& locked) {
  struct stat status {};
  return stat(file.c_str(), &status) == 0 && status.st_dev == locked.st_dev &&
         status.st_ino == locked.st_ino;
}

}  // namespace

std::optional<FileLock> FileLock::wait(const std::string& file, std::uint64_t byte) {
  return acquire(file, byte, F_OFD_SETLKW);
}

std::optional<FileLock> FileLock::tryOnce(const std::string& file, std::uint64_t byte) {
  return acquire(file, byte, F_OFD_SETLK);
}

std::optional<FileLock> FileLock::acquire(const std::string& file, std::uint64_t byte,
                                          int command) {
  for (;;) {
    FileDescriptor opened = openLockFile(file);
    struct stat status {};
    if (!opened || fstat(opened.get(), &status) != 0 || !isOwnFile(status)) return std::nullopt;
    if (!lockByte(opened.get(), byte, command)) return std::nullopt;
    if (stillNames(file, status)) return FileLock(std::move(opened));
  }
}

}  // namespace platform
