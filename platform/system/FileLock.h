// Locks between processes.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

#include "platform/system/FileDescriptor.h"

namespace platform {

/// Holds one byte of a lock file against every other holder of that byte, in this process and in
/// all others, until the object or its process ends. The file is made where it is missing, stays
/// empty, and is never removed.
class FileLock {
 public:
  /// Waits until nobody else holds the byte. None when there can be no such file at that path, or
  /// what is there is no regular file of this user's.
  static std::optional<FileLock> wait(const std::string& file, std::uint64_t byte);
  /// None also when somebody else holds it.
  static std::optional<FileLock> tryOnce(const std::string& file, std::uint64_t byte);

  FileLock(FileLock&&) = default;

 private:
  explicit FileLock(FileDescriptor locked) : _locked(std::move(locked)) {}
  static std::optional<FileLock> acquire(const std::string& file, std::uint64_t byte, int command);

  FileDescriptor _locked;
};

}  // namespace platform
