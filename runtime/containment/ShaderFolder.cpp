#include "runtime/containment/ShaderFolder.h"

#include <sys/stat.h>

#include <cstdint>
#include <filesystem>
#include <system_error>

#include "platform/system/FileSystem.h"
#include "platform/system/Mutex.h"

namespace vuo {
namespace {

namespace fs = std::filesystem;

constexpr std::uintmax_t mostBytes = 64u << 20;

/// No two artefacts of a name have the same, and none has it once it has been written again.
std::string identityOf(const struct stat& file) {
  return std::to_string(file.st_ino) + "-" + std::to_string(file.st_ctim.tv_sec) + "-" +
         std::to_string(file.st_ctim.tv_nsec);
}

/// Links don't count, and are never followed.
std::uintmax_t bytesIn(const fs::path& folder) {
  std::uintmax_t bytes = 0;
  platform::forEachNameIn(folder, [&](const char* name) {
    struct stat entry {};
    if (lstat((folder / name).c_str(), &entry) != 0) return;
    if (S_ISREG(entry.st_mode)) bytes += static_cast<std::uintmax_t>(entry.st_size);
    if (S_ISDIR(entry.st_mode)) bytes += bytesIn(folder / name);
  });
  return bytes;
}

}  // namespace

std::string shaderFolderOf(const std::string& artefact) try {
  // Of two players that start at once with one artefact, neither takes the other's folder away.
  static platform::Mutex oneAtATime;
  platform::LockGuard hold(oneAtATime);
  struct stat file {};
  if (stat(artefact.c_str(), &file) != 0) return {};
  const fs::path path = artefact;
  const fs::path all = path.parent_path() / ("shaders-" + path.filename().string());
  const fs::path folder = all / identityOf(file);
  if (!fs::is_directory(folder) || bytesIn(folder) > mostBytes) fs::remove_all(all);
  fs::create_directories(folder);
  return folder;
} catch (const fs::filesystem_error&) {
  return {};
}

std::vector<std::string> shaderFolderVariables(const std::string& folder) {
  if (folder.empty()) return {"MESA_SHADER_CACHE_DISABLE=true"};
  // A few files, made once: later the program may only write them.
  return {"MESA_SHADER_CACHE_DIR=" + folder, "MESA_DISK_CACHE_SINGLE_FILE=true"};
}

}  // namespace vuo
