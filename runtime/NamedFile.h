// The files that a composition names: its shaders and pictures.
#pragma once

#include <string>

#include "platform/system/FileDescriptor.h"

namespace vuo {

/// Opens a regular file by its name in a folder or below it, for reading, without waiting. Throws
/// std::runtime_error for a name that leads out of the folder, by itself or over a link, and for
/// anything but a regular file: that could keep its reader for ever. Any thread.
platform::FileDescriptor openNamedFile(const std::string& folder, const std::string& name);

}  // namespace vuo
