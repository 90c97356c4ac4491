#include "platform/runtime/compiler/OwnFile.h"

#include <fcntl.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <utility>

namespace vuo {
namespace {

[[noreturn]] void fault(const std::string& path, const char* what, int error) {
  throw std::runtime_error(path + " " + what + ": " + std::strerror(error));
}

class Descriptor {
 public:
  explicit Descriptor(int descriptor) : _descriptor(descriptor) {}
  ~Descriptor() { close(); }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  int get() const { return _descriptor; }
  void close() {
    if (_descriptor >= 0) ::close(std::exchange(_descriptor, -1));
  }

 private:
  int _descriptor;
};

/// A second link would let its owner change what stands under the first. No link is left where
/// another process of ours has just put a newer file in its place.
void checkOwn(const std::string& path, const struct stat& status) {
  const char* what = S_ISLNK(status.st_mode)      ? "is a link"
                     : !S_ISREG(status.st_mode)   ? "is no regular file"
                     : status.st_uid != geteuid() ? "belongs to another user"
                     : status.st_nlink != 1       ? "has a second link"
                                                  : nullptr;
  if (what) throw std::runtime_error(path + " " + what + "; remove it and try again");
}

/// A new file with a name of its own beside the target. It vanishes unless it is moved into place.
class FileBeside {
 public:
  explicit FileBeside(const std::string& target)
      : _path(target + ".XXXXXX"), _descriptor(mkostemp(_path.data(), O_CLOEXEC)) {
    if (_descriptor.get() < 0) fault(target, "can't be written", errno);
  }
  ~FileBeside() {
    if (!_moved) unlink(_path.c_str());
  }
  FileBeside(const FileBeside&) = delete;
  FileBeside& operator=(const FileBeside&) = delete;

  void write(const std::string& contents) {
    for (std::size_t done = 0; done < contents.size();) {
      const ssize_t count =
          ::write(_descriptor.get(), contents.data() + done, contents.size() - done);
      if (count < 0 && errno == EINTR) continue;
      if (count < 0) fault(_path, "can't be written", errno);
      done += static_cast<std::size_t>(count);
    }
  }

  /// Where the file system can, both files share the same blocks afterwards.
  void append(const std::string& original) {
    const Descriptor from(open(original.c_str(), O_RDONLY | O_CLOEXEC));
    if (from.get() < 0) fault(original, "can't be read", errno);
    constexpr std::size_t all = 1 << 30;
    ssize_t count;
    do count = copy_file_range(from.get(), nullptr, _descriptor.get(), nullptr, all, 0);
    while (count > 0);
    if (count == 0 && lseek(_descriptor.get(), 0, SEEK_CUR) > 0) return;
    do count = sendfile(_descriptor.get(), from.get(), nullptr, all);
    while (count > 0);
    if (count < 0) fault(_path, "can't be written", errno);
  }

  void setMode(mode_t mode) {
    if (fchmod(_descriptor.get(), mode) != 0) fault(_path, "can't be given its mode", errno);
  }

  /// Closed first: a program that is open for writing can't be started.
  void moveTo(const std::string& target) {
    _descriptor.close();
    if (rename(_path.c_str(), target.c_str()) != 0) fault(target, "can't be replaced", errno);
    _moved = true;
  }

 private:
  std::string _path;
  Descriptor _descriptor;
  bool _moved = false;
};

}  // namespace

void replaceFile(const std::string& path, const std::string& contents, mode_t mode) {
  FileBeside file(path);
  file.write(contents);
  file.setMode(mode);
  file.moveTo(path);
}

void replaceFileWithCopy(const std::string& path, const std::string& original,
                         const std::string& more, mode_t mode) {
  FileBeside file(path);
  file.append(original);
  file.write(more);
  file.setMode(mode);
  file.moveTo(path);
}

void replaceOwnFile(const std::string& path, const std::string& contents) {
  // Not what keeps the file safe, since renaming never writes through what stands at the path: it
  // tells somebody else's file from a file of ours, and why it can't be replaced.
  struct stat status;
  if (lstat(path.c_str(), &status) == 0) checkOwn(path, status);
  replaceFile(path, contents, S_IRUSR | S_IWUSR);
}

std::string readOwnFile(const std::string& path) {
  const Descriptor file(open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  if (file.get() < 0) fault(path, "can't be read", errno);
  struct stat status;
  if (fstat(file.get(), &status) != 0) fault(path, "can't be read", errno);
  checkOwn(path, status);

  std::string contents(static_cast<std::size_t>(status.st_size), '\0');
  for (std::size_t done = 0; done < contents.size();) {
    const ssize_t count = read(file.get(), contents.data() + done, contents.size() - done);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) fault(path, "can't be read", errno);
    if (count == 0) throw std::runtime_error(path + " became shorter while it was read");
    done += static_cast<std::size_t>(count);
  }
  return contents;
}

}  // namespace vuo
