#include "runtime/containment/FileRules.h"

#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstddef>
#include <stdexcept>

#include "runtime/containment/KernelSupport.h"

namespace vuo {
namespace {

/// Of these a rule for a file that is no folder may speak.
constexpr std::uint64_t ofFiles = LANDLOCK_ACCESS_FS_EXECUTE | LANDLOCK_ACCESS_FS_WRITE_FILE |
                                  LANDLOCK_ACCESS_FS_READ_FILE | landlock::truncate |
                                  landlock::ioctlDevice;

[[noreturn]] void failed(const std::string& what) {
  throw std::runtime_error(what + ": " + strerror(errno));
}

}  // namespace

FileRules::FileRules() {
  const int version = landlock::version();
  constexpr std::uint64_t ofFirstVersion = LANDLOCK_ACCESS_FS_REFER - 1;
  landlock::Ruleset rules{ofFirstVersion, 0, 0};
  if (version >= 2) rules.files |= LANDLOCK_ACCESS_FS_REFER;
  if (version >= 3) rules.files |= landlock::truncate;
  if (version >= 4) rules.network = landlock::bindAndConnectTcp;
  if (version >= 5) rules.files |= landlock::ioctlDevice;
  if (version >= 6) rules.scopes = landlock::abstractSocketsAndSignals;
  const std::size_t size = version >= 6   ? sizeof rules
                           : version >= 4 ? offsetof(landlock::Ruleset, scopes)
                                          : offsetof(landlock::Ruleset, network);
  _restricted = rules.files;
  _rules = platform::FileDescriptor(
      static_cast<int>(syscall(SYS_landlock_create_ruleset, &rules, size, 0)));
  if (!_rules) failed("Landlock");
}

void FileRules::allow(const std::string& path, std::uint64_t access) {
  const platform::FileDescriptor file(open(path.c_str(), O_PATH | O_CLOEXEC));
  if (!file) return;
  struct stat status {};
  if (fstat(file.get(), &status) != 0) failed(path);
  access &= _restricted;
  if (!S_ISDIR(status.st_mode)) access &= ofFiles;
  const landlock_path_beneath_attr rule{access, file.get()};
  if (syscall(SYS_landlock_add_rule, _rules.get(), LANDLOCK_RULE_PATH_BENEATH, &rule, 0) != 0)
    failed(path);
}

void FileRules::enforce() const {
  if (syscall(SYS_landlock_restrict_self, _rules.get(), 0) != 0) failed("Landlock");
}

void readNothingBut(const std::vector<std::string>& paths) {
  if (landlock::version() == 0) return;
  FileRules rules;
  for (const std::string& path : paths) rules.allow(path, FileRules::reading);
  rules.enforce();
}

}  // namespace vuo
