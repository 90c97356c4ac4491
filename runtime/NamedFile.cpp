#include "runtime/NamedFile.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <stdexcept>

namespace vuo {
namespace {

[[noreturn]] void refuse(const std::string& folder, const std::string& name, int error) {
  const std::string path = (folder.empty() ? "" : folder + "/") + name;
  if (error == ENOENT || error == ENOTDIR) throw std::runtime_error("there is no file " + path);
  if (error == EXDEV || error == ELOOP)
    throw std::runtime_error(name +
                             " leads out of the composition's folder; put the file there or in a "
                             "folder below, and name it from there");
  throw std::runtime_error(path + " can't be read: " + std::strerror(error));
}

std::string pathOf(int file) {
  return std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(file)).string();
}

/// For a contained player, which has no openat2 and can't read beyond the folder anyway.
int openAndLook(int folder, const std::string& name, int flags) {
  const platform::FileDescriptor found(openat(folder, name.c_str(), O_PATH | O_CLOEXEC));
  if (!found) return -1;
  const std::string top = pathOf(folder), path = pathOf(found.get());
  if (path != top && !path.starts_with(top + "/")) {
    errno = EXDEV;
    return -1;
  }
  return open(("/proc/self/fd/" + std::to_string(found.get())).c_str(), flags);
}

/// The kernel keeps the whole way inside the folder, whatever is renamed or linked meanwhile.
int openBelow(int folder, const std::string& name) {
  open_how how{};
  how.flags = O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
  how.resolve = RESOLVE_BENEATH | RESOLVE_NO_MAGICLINKS;
  for (;;) {
    const long file = syscall(SYS_openat2, folder, name.c_str(), &how, sizeof how);
    if (file < 0 && errno == ENOSYS) return openAndLook(folder, name, static_cast<int>(how.flags));
    // EAGAIN: something was renamed on the way.
    if (file >= 0 || (errno != EAGAIN && errno != EINTR)) return static_cast<int>(file);
  }
}

}  // namespace

platform::FileDescriptor openNamedFile(const std::string& folder, const std::string& name) {
  const platform::FileDescriptor start(
      open(folder.empty() ? "." : folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  if (!start) refuse(folder, name, errno);
  platform::FileDescriptor file(openBelow(start.get(), name));
  struct stat status {};
  if (!file && errno != ENXIO) refuse(folder, name, errno);
  if (!file || fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode))
    throw std::runtime_error(name + " is no regular file; name one that is");
  return file;
}

}  // namespace vuo
