#pragma once

#include <string>

#include "runtime/sharing/ImageMemory.h"

namespace vuo {

/// Allocates pictures for OpenGL through Vulkan, which can hand memory out to other processes. The
/// loader is looked for when one is made; nothing is linked to it. Lives until the process is gone.
class VulkanMemory {
 public:
  /// On the device and driver that name themselves like that (see deviceIdentity). Takes tens of
  /// milliseconds. Throws std::runtime_error where there is none, with the reason.
  explicit VulkanMemory(const std::string& identity);
  VulkanMemory(const VulkanMemory&) = delete;
  VulkanMemory& operator=(const VulkanMemory&) = delete;

  /// New memory with nothing in it, held by its descriptor alone. Any thread. Throws
  /// std::runtime_error when there is none, or when the memory could be taken away from under those
  /// who have it mapped.
  ImageMemory allocate(std::uint64_t width, std::uint64_t height) const;

 private:
  struct Calls;
  const Calls* const _calls;
};

}  // namespace vuo
