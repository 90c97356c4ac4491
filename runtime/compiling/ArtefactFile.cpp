#include "runtime/compiling/ArtefactFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <map>
#include <stdexcept>
#include <string_view>

#include "platform/system/FileDescriptor.h"
#include "platform/system/FileSystem.h"
#include "platform/system/Mutex.h"

namespace vuo {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void fail(const std::string& path, const char* what) {
  throw std::runtime_error(path + " " + what + ": " + std::strerror(errno));
}

/// A new file with a name of its own beside the target. It vanishes unless it is moved into place.
class FileBeside {
 public:
  explicit FileBeside(const std::string& target)
      : _path(target + ".XXXXXX"), _descriptor(mkostemp(_path.data(), O_CLOEXEC)) {
    if (!_descriptor) fail(target, "can't be written");
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
      if (count < 0) fail(_path, "can't be written");
      done += static_cast<std::size_t>(count);
    }
  }
  void setMode(mode_t mode) {
    if (fchmod(_descriptor.get(), mode) != 0) fail(_path, "can't be given its mode");
  }
  /// Without it a loss of power may leave the name with an empty file.
  void flush() {
    if (fdatasync(_descriptor.get()) != 0) fail(_path, "can't be written");
  }
  void moveTo(const std::string& target) {
    if (rename(_path.c_str(), target.c_str()) != 0) fail(target, "can't be replaced");
    _moved = true;
  }

 private:
  std::string _path;
  platform::FileDescriptor _descriptor;
  bool _moved = false;
};

/// "0123456789ABCDEF0123456789ABCDEF.bc", and what stands for it while it is written.
bool isBitcodeName(std::string_view name) {
  constexpr std::size_t digits = 32;
  const auto isDigit = [](char c) { return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'F'); };
  return name.size() >= digits && std::all_of(name.begin(), name.begin() + digits, isDigit) &&
         (name.substr(digits) == ".bc" ||
          (name.compare(digits, 4, ".bc.") == 0 && name.size() == digits + 10));
}

void removeOldBitcode(const fs::path& folder) {
  constexpr std::time_t day = 24 * 60 * 60;
  platform::forEachNameIn(folder, [&](const std::string_view name) {
    if (!isBitcodeName(name)) return;
    const fs::path file = folder / name;
    struct stat status {};
    if (lstat(file.c_str(), &status) == 0 && S_ISREG(status.st_mode) &&
        status.st_uid == geteuid() && std::time(nullptr) - status.st_mtime > day)
      unlink(file.c_str());
  });
}

/// Whether the last look into the folder was an hour ago, or there was none.
bool isTimeToLook(const fs::path& folder) {
  constexpr std::time_t hour = 60 * 60;
  static platform::Mutex lock;  // no other is taken under it
  static std::map<fs::path, std::time_t> looks GUARDED_BY(lock);
  const std::time_t now = std::time(nullptr);
  platform::LockGuard hold(lock);
  const auto [last, isFirst] = looks.emplace(folder, now);
  if (!isFirst && now - last->second < hour) return false;
  last->second = now;
  return true;
}

}  // namespace

void writeArtefact(const std::string& path, const std::string& contents, mode_t mode) {
  FileBeside file(path);
  file.write(contents);
  file.setMode(mode);
  file.flush();
  file.moveTo(path);
}

void leaveBitcode(const std::string& path, const std::string& contents) {
  const fs::path folder = fs::path(path).parent_path();
  if (isTimeToLook(folder)) removeOldBitcode(folder);
  try {
    FileBeside file(path);  // readable by its owner alone
    file.write(contents);
    file.moveTo(path);
  } catch (const std::runtime_error&) {
    // Nothing is made from this file.
  }
}

}  // namespace vuo
