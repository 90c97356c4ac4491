// What the command wants to know of files and paths.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

bool fileExists(const std::string& path);
bool isFolder(const std::string& path);
/// "a/b/c.vuo" gives "c.vuo"; trailing slashes do not count.
std::string fileNameOf(const std::string& path);
/// The path with a leading "~" or "~user" replaced by that user's home folder.
std::string withHomeFolder(const std::string& path);
bool isUtf8(std::string_view text);

/// The whole of a regular file. None, with the reason, when it can't be read, is longer than
/// `atMost` bytes, or is anything else, such as a FIFO, which could keep the caller for ever.
std::optional<std::string> wholeFile(const std::string& path, std::size_t atMost,
                                     std::string& reason);
/// Writes a file so that it appears whole or not at all. On failure the previous file stays.
bool writeWholeFile(const std::string& path, const std::string& contents, std::string& reason);
