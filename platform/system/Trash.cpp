#include <gio/gio.h>

#include <cstdio>
#include <string>

#include "platform/system/FileSystem.h"

namespace platform {
namespace {

bool trash(const std::string& path) {
  // The default VFS may be one that talks to a session bus; trashing needs the plain one only.
  GFile* file = g_vfs_get_file_for_path(g_vfs_get_local(), path.c_str());
  const bool trashed = g_file_trash(file, nullptr, nullptr);
  g_object_unref(file);
  return trashed;
}

bool renameAside(std::string path) {
  constexpr int kTries = 10'000;
  while (path.size() > 1 && path.ends_with('/')) path.pop_back();
  for (int number = 1; number <= kTries; ++number) {
    const std::string aside = path + ".trashed-" + std::to_string(number);
    if (itemExists(aside)) continue;
    return std::rename(path.c_str(), aside.c_str()) == 0;
  }
  return false;
}

}  // namespace

bool moveToTrash(const std::string& path) {
  return trash(path) || renameAside(path);
}

}  // namespace platform
