// What the kernel that this runs on has for containing a program. The system's headers may be older
// than the kernel.
#pragma once

#include <linux/landlock.h>
#include <linux/seccomp.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdint>

namespace vuo {

inline bool hasSystemCallFilters() {
  const std::uint32_t action = SECCOMP_RET_ERRNO;
  return syscall(SYS_seccomp, SECCOMP_GET_ACTION_AVAIL, 0, &action) == 0;
}

namespace landlock {

/// What a ruleset restricts; older kernels take the beginning of it alone.
struct Ruleset {
  std::uint64_t files = 0;
  std::uint64_t network = 0;  ///< from version 4 on
  std::uint64_t scopes = 0;   ///< from version 6 on
};

constexpr std::uint64_t truncate = 1 << 14;     ///< from version 3 on
constexpr std::uint64_t ioctlDevice = 1 << 15;  ///< from version 5 on
constexpr std::uint64_t bindAndConnectTcp = 3;
constexpr std::uint64_t abstractSocketsAndSignals = 3;

/// 0: there is none.
inline int version() {
  const long version =
      syscall(SYS_landlock_create_ruleset, nullptr, 0, LANDLOCK_CREATE_RULESET_VERSION);
  return version > 0 ? static_cast<int>(version) : 0;
}

}  // namespace landlock

}  // namespace vuo
