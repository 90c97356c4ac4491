#pragma once

#include <cstddef>
#include <string>

#include "platform/system/FileDescriptor.h"

namespace vuo {

/// The file as UTF-8 text. Throws std::runtime_error, in which `name` stands for the file, when it
/// is longer or no such text.
std::string textOf(const platform::FileDescriptor& file, const std::string& name,
                   std::size_t longest);

}  // namespace vuo
