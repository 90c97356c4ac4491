#include "platform/system/FileSystem.h"

#include <dirent.h>
#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <memory>
#include <system_error>
#include <vector>

namespace platform {
namespace {

std::string_view withoutTrailingSlashes(std::string_view path) {
  while (path.size() > 1 && path.ends_with('/')) path.remove_suffix(1);
  return path;
}

std::optional<std::string> homeOf(const std::string& user) {
  if (user.empty()) {
    if (const char* home = std::getenv("HOME"); home && *home) return home;
  }
  passwd entry{};
  passwd* found = nullptr;
  std::vector<char> buffer(16384);
  if (user.empty()) {
    getpwuid_r(geteuid(), &entry, buffer.data(), buffer.size(), &found);
  } else {
    getpwnam_r(user.c_str(), &entry, buffer.data(), buffer.size(), &found);
  }
  return found ? std::optional<std::string>(found->pw_dir) : std::nullopt;
}

FileTime fileTimeOf(const timespec& time) {
  return FileTime(std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec));
}

}  // namespace

bool itemExists(const std::string& path) {
  struct stat status {};
  return ::stat(path.c_str(), &status) == 0;
}

bool isFolder(const std::string& path) {
  struct stat status {};
  return ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

std::optional<FileTime> modificationTime(const std::string& path) {
  struct stat status {};
  if (::stat(path.c_str(), &status) != 0) return std::nullopt;
  return fileTimeOf(status.st_mtim);
}

std::optional<FileTime> settledModificationTime(const std::string& path) {
  constexpr auto kLongestTick = std::chrono::milliseconds(10);
  for (;;) {
    const auto time = modificationTime(path);
    timespec now{};
    clock_gettime(CLOCK_REALTIME_COARSE, &now);  // the clock that files get their times from
    if (!time || *time < fileTimeOf(now) || *time - fileTimeOf(now) > kLongestTick) return time;
    timespec tick{};
    clock_getres(CLOCK_REALTIME_COARSE, &tick);
    clock_nanosleep(CLOCK_MONOTONIC, 0, &tick, nullptr);
  }
}

bool setModificationTime(const std::string& path, FileTime time) {
  const auto seconds = std::chrono::floor<std::chrono::seconds>(time);
  const timespec times[2] = {{0, UTIME_OMIT},
                             {seconds.time_since_epoch().count(), (time - seconds).count()}};
  return ::utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW) == 0;
}

bool createFolders(const std::string& path) {
  std::error_code error;
  std::filesystem::create_directories(path, error);
  return isFolder(path);
}

bool removeFile(const std::string& path) {
  return ::unlink(path.c_str()) == 0;
}

bool isOwnRealFolder(const std::string& path) {
  struct stat status {};
  return ::lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode) &&
         status.st_uid == geteuid();
}

bool isOwnRealFile(const std::string& path) {
  struct stat status {};
  return ::lstat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) &&
         status.st_uid == geteuid();
}

bool isForThisUserAlone(const std::string& folder) {
  struct stat item {
  }, target{};
  return ::lstat(folder.c_str(), &item) == 0 && ::stat(folder.c_str(), &target) == 0 &&
         item.st_uid == geteuid() && target.st_uid == geteuid() &&
         (target.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

bool createFolderForThisUserAlone(const std::string& path) {
  ::mkdir(path.c_str(), S_IRWXU);
  return isFolder(path);
}

void forEachNameIn(const std::string& folder, const std::function<void(const char* name)>& look) {
  const std::unique_ptr<DIR, int (*)(DIR*)> entries(::opendir(folder.c_str()), ::closedir);
  while (const dirent* entry = entries ? ::readdir(entries.get()) : nullptr) {
    const std::string_view name = entry->d_name;
    if (name != "." && name != "..") look(entry->d_name);
  }
}

void removeUnfinished(const std::string& path) {
  constexpr std::size_t kEnding = 7;
  const std::string folder = deletingLastPathComponent(path);
  const std::string beginning = lastPathComponent(path) + ".";
  forEachNameIn(folder, [&](const std::string_view name) {
    if (name.size() != beginning.size() + kEnding - 1 || !name.starts_with(beginning)) return;
    if (std::all_of(name.end() - kEnding + 1, name.end(),
                    [](unsigned char c) { return std::isalnum(c) != 0; })) {
      removeFile(folder + "/" + std::string(name));
    }
  });
}

std::string expandTilde(const std::string& path) {
  if (!path.starts_with('~')) return path;
  const auto slash = path.find('/');
  const auto home = homeOf(path.substr(1, slash == std::string::npos ? slash : slash - 1));
  if (!home) return path;
  return slash == std::string::npos ? *home : *home + path.substr(slash);
}

std::string lastPathComponent(std::string_view path) {
  path = withoutTrailingSlashes(path);
  if (path == "/") return "/";
  return std::string(path.substr(path.rfind('/') + 1));
}

std::string deletingLastPathComponent(std::string_view path) {
  path = withoutTrailingSlashes(path);
  const auto slash = path.rfind('/');
  if (slash == std::string_view::npos) return "";
  if (slash == 0) return "/";
  return std::string(withoutTrailingSlashes(path.substr(0, slash)));
}

std::string pathExtension(std::string_view path) {
  const std::string name = lastPathComponent(path);
  const auto dot = name.rfind('.');
  return dot == std::string::npos ? "" : name.substr(dot + 1);
}

}  // namespace platform
