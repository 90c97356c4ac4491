// Files, folders and paths.
#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace platform {

/// A modification time with all the digits that the file system keeps.
using FileTime = std::chrono::sys_time<std::chrono::nanoseconds>;

bool itemExists(const std::string& path);
bool isFolder(const std::string& path);
std::optional<FileTime> modificationTime(const std::string& path);
/// Makes the folder and any missing folder above it; true when it exists afterwards.
bool createFolders(const std::string& path);
bool removeFile(const std::string& path);

/// Moves an item to the user's trash. Where the trash refuses, the item is renamed aside in its
/// own parent, so that nothing stands at `path` afterwards. False when neither worked.
bool moveToTrash(const std::string& path);

/// The whole file; none when it can't be read. `reason`, where given, then takes the system's
/// number for why.
std::optional<std::string> readFile(const std::string& path, int* reason = nullptr);
/// The whole file as text; none when it can't be read or is not valid UTF-8.
std::optional<std::string> readTextFile(const std::string& path);

/// Writes a file so that it appears at `path` whole or not at all: a temporary file beside it,
/// flushed to the disk and renamed over it. On failure the previous file stays, and `reason`, where
/// given, takes the system's words for why.
bool writeFileAtomically(const std::string& path, std::string_view contents,
                         std::string* reason = nullptr);

/// Replaces a leading "~" or "~user" by that user's home folder.
std::string expandTilde(const std::string& path);

/// "a/b/c.vuo" gives "c.vuo"; trailing slashes do not count.
std::string lastPathComponent(std::string_view path);
/// "a/b/c.vuo" gives "a/b"; a name without folder gives "".
std::string deletingLastPathComponent(std::string_view path);
/// The text after the last "." of the last component, empty when it has none.
std::string pathExtension(std::string_view path);

/// Where the first bytes begin that are not UTF-8; none when all are.
std::optional<std::size_t> placeOfInvalidUtf8(std::string_view text);
bool isValidUtf8(std::string_view text);

}  // namespace platform
