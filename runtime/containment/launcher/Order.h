// What vuo-launch was told, and the steps that it takes, in their order. Each throws
// std::runtime_error where the kernel has the means and they can't be used.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <vector>

namespace vuo {

struct Order {
  int report = -1;
  pid_t host = 0;  ///< 0: it goes on without its host
  std::uint64_t memory = 0, fileSize = 0, openFiles = 0;
  std::vector<std::string> readable;
  std::string ownFolder;
  bool copies = false;
  char** command = nullptr;  ///< the program and its arguments, ended by a null
};

/// The kernel ends this process with its host, and before others when memory runs short; the other
/// resources have limits.
void limitResources(const Order& order);
/// Whatever its user may do beyond other users: nothing of it is left, also after other programs
/// have been started. A superuser's program may still read the files that `restrictFiles` allows.
void giveUpPrivileges();
void restrictFiles(const Order& order);
void restrictSystemCalls(const Order& order);

[[noreturn]] void failed(const char* what);

}  // namespace vuo
