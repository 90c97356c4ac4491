#pragma once

#include <linux/landlock.h>

#include <cstdint>
#include <string>
#include <vector>

#include "platform/system/FileDescriptor.h"

namespace vuo {

/// What a thread, and the threads and programs that it starts, may do with files: nothing but what
/// is allowed here, and nothing that it was not allowed before. The kernel has to have Landlock.
/// Operations throw std::runtime_error.
class FileRules {
 public:
  static constexpr std::uint64_t reading =
      LANDLOCK_ACCESS_FS_READ_FILE | LANDLOCK_ACCESS_FS_READ_DIR;

  FileRules();

  /// A file, or a folder with all that lies below it. Nothing happens where there is nothing of
  /// that name.
  void allow(const std::string& path, std::uint64_t access);
  void enforce() const;

 private:
  std::uint64_t _restricted;
  platform::FileDescriptor _rules;
};

/// For a contained program: from now on this thread reads these files and folders, and uses no
/// other. Nothing happens where the kernel has no Landlock.
void readNothingBut(const std::vector<std::string>& paths);

}  // namespace vuo
