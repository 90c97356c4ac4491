// A folder that lives as long as its process.
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

#include "platform/system/FileDescriptor.h"
#include "platform/system/FileSystem.h"
#include "platform/system/Mutex.h"

namespace platform {
namespace {

namespace fs = std::filesystem;

constexpr const char* kPrefix = "brannow-process-";
constexpr const char* kNone = "/dev/null/none";  // at which nothing can be

/// An open folder that is locked for as long as its process lives, so that others can tell whether
/// it does. None when another process holds the lock.
FileDescriptor openLocked(const std::string& folder) {
  FileDescriptor opened(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  const bool isLocked = opened && flock(opened.get(), LOCK_EX | LOCK_NB) == 0;
  return isLocked ? std::move(opened) : FileDescriptor();
}

void removeThoseOfKilledProcesses(const fs::path& parent) {
  forEachNameIn(parent.string(), [&](const std::string_view name) {
    if (!name.starts_with(kPrefix)) return;
    const std::string folder = (parent / name).string();
    const FileDescriptor locked = isOwnRealFolder(folder) ? openLocked(folder) : FileDescriptor();
    if (!locked) return;
    std::error_code ignored;
    fs::remove_all(folder, ignored);
  });
}

/// Empty when none can be made. The lock ends with the process.
std::string makeLockedFolder() {
  std::error_code error;
  const fs::path parent = fs::temp_directory_path(error);
  if (error) return {};
  removeThoseOfKilledProcesses(parent);
  // Until the lock is there, another process may take the new folder for a dead one's.
  constexpr int kTries = 8;
  for (int left = kTries; left > 0; --left) {
    std::string path = (parent / kPrefix).string() + "XXXXXX";
    if (!mkdtemp(path.data())) break;
    if (openLocked(path).release() >= 0 && isOwnRealFolder(path)) return path;
    rmdir(path.c_str());
  }
  return {};
}

/// Never destroyed: other threads may still use it while the process ends.
struct ProcessFolder {
  Mutex lock;                         // no other is taken under it
  std::string path GUARDED_BY(lock);  // never changed once it is there
  const pid_t owner = getpid();       // a child that was forked from it leaves the folder alone
};
ProcessFolder& theFolder() {
  static ProcessFolder& folder = *new ProcessFolder;
  return folder;
}

void removeTheFolder() {
  if (theFolder().owner != getpid()) return;
  std::error_code ignored;
  LockGuard hold(theFolder().lock);
  fs::remove_all(theFolder().path, ignored);
}

}  // namespace

/// Where there is no room for one now, there may be later.
const std::string& folderOfThisProcess() {
  static const std::string& none = *new std::string(kNone);
  LockGuard hold(theFolder().lock);
  std::string& path = theFolder().path;
  if (path.empty()) {
    path = makeLockedFolder();
    if (path.empty()) return none;
    std::atexit(removeTheFolder);
  }
  return path;
}

}  // namespace platform
