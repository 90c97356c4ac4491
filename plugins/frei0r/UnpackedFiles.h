#pragma once

#include <string>

#include "plugins/frei0r/Export.h"

namespace frei0r {

/// Puts the files of an export where they can be compiled from: in a folder of their own in the
/// user's cache, named for their contents, so that every program and every copy of the plug-in uses
/// the same and what has been compiled stays good. Files that are there already stay untouched.
/// The result is the composition's path; throws std::runtime_error when a file can't be written.
std::string unpack(const Export& contents);

}  // namespace frei0r
