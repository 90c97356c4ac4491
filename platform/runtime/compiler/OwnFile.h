// Writing files whole, and files that nobody else may have a hand in.
#pragma once

#include <sys/types.h>

#include <string>

namespace vuo {

/// Puts a file in place whole, by renaming a new one over what is there; whoever has the old one
/// open keeps it. Throws std::runtime_error. Any thread.
void replaceFile(const std::string& path, const std::string& contents, mode_t mode);

/// The same with a copy of the file `original` and `more` behind it. The kernel copies.
void replaceFileWithCopy(const std::string& path, const std::string& original,
                         const std::string& more, mode_t mode);

/// The same as `replaceFile` for a predictable name in a folder that everybody can write to:
/// readable by this user only, and a link or a file of another user's at the path is refused.
void replaceOwnFile(const std::string& path, const std::string& contents);

/// Reads a file that this user wrote, with the same refusals. Throws std::runtime_error.
std::string readOwnFile(const std::string& path);

}  // namespace vuo
