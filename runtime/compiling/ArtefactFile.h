// Writing what was compiled.
#pragma once

#include <sys/types.h>

#include <string>

namespace vuo {

/// Puts an artefact in place whole and lasting, by renaming a new file, which has been flushed to
/// the disk, over what is there; whoever has the old one open keeps it. Throws std::runtime_error.
/// Any thread. A process that is ended meanwhile leaves PATH.XXXXXX behind.
void writeArtefact(const std::string& path, const std::string& contents, mode_t mode);

/// Leaves a compiled plan for whoever wants to look at it, readable by this user only, in a folder
/// that everybody may write to. Where that can't be done, as where another user has a file of that
/// name, nothing is left. What this user left there that way for a day is removed.
void leaveBitcode(const std::string& path, const std::string& contents);

}  // namespace vuo
