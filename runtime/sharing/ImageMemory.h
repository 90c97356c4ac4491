#pragma once

#include <cstdint>
#include <string>

#include "platform/system/FileDescriptor.h"

namespace vuo {

/// The memory of a picture that several processes draw in and read, 8 bits each of red, green, blue
/// and alpha. It goes from one to another as a descriptor and these few words.
struct ImageMemory {
  std::uint64_t width = 0, height = 0;
  std::uint64_t size = 0;    ///< of the allocation, as the driver counts it
  bool isDedicated = false;  ///< made for this one picture, which its importers have to say
  /// What the driver keeps in front of the pixels; empty where it keeps nothing there. See
  /// MemoryTexture.
  std::string head;
  platform::FileDescriptor descriptor;
};

}  // namespace vuo
