#pragma once

#include <string>

#include "runtime/sharing/ImageMemory.h"

namespace vuo {

/// How the driver of the current context names its device and itself; empty where it shares no
/// memory with other processes. What two processes share belongs to one device and driver.
std::string deviceIdentity();

/// A GL_TEXTURE_2D over a picture's memory. A plain pair of names: whoever has it destroys it, with
/// a context of its group current.
struct MemoryTexture {
  /// A context is current. The texture is finished for its other contexts. The memory's descriptor
  /// stays the caller's. Throws std::runtime_error.
  static MemoryTexture over(const ImageMemory& memory);
  void destroy() const;

  unsigned texture = 0, memoryObject = 0;
};

}  // namespace vuo
