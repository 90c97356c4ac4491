// Files, folders and paths.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace platform {

/// A modification time with all the digits that the file system keeps.
using FileTime = std::chrono::sys_time<std::chrono::nanoseconds>;

bool itemExists(const std::string& path);
bool isFolder(const std::string& path);
std::optional<FileTime> modificationTime(const std::string& path);
/// The same once the clock has passed it, which takes a few milliseconds at most: whoever writes to
/// the file from now on gives it a later time, where the file system counts in ticks of that clock.
/// A time that lies in the future is not waited for.
std::optional<FileTime> settledModificationTime(const std::string& path);
bool setModificationTime(const std::string& path, FileTime time);
/// Makes the folder and any missing folder above it; true when it exists afterwards.
bool createFolders(const std::string& path);
bool removeFile(const std::string& path);
/// Whether an item that is no link, and which this user owns, is a folder or a regular file.
bool isOwnRealFolder(const std::string& path);
bool isOwnRealFile(const std::string& path);
/// Whether a folder, and the link that leads to it, belong to this user and nobody else may write
/// to it.
bool isForThisUserAlone(const std::string& folder);
/// Makes such a folder in one that exists; true when it exists afterwards.
bool createFolderForThisUserAlone(const std::string& path);
/// Calls `look` with the name of each entry but "." and "..", in no order; with none where the
/// folder can't be read. Unlike the standard library's way through a folder, it needs no memory for
/// an entry, for want of which that one would end the process.
void forEachNameIn(const std::string& folder, const std::function<void(const char* name)>& look);
/// Removes what a killed writer of `path` left beside it: "PATH.XXXXXX", with any six letters and
/// digits. Nobody may be writing the file.
void removeUnfinished(const std::string& path);

/// A folder in the temporary folder for this process alone, made at the first call and removed at
/// the process's end; a killed process's goes when another process makes one. Where there is no
/// room for it, a path at which nothing can be made.
const std::string& folderOfThisProcess();

/// Moves an item to the user's trash. Where the trash refuses, the item is renamed aside in its
/// own parent, so that nothing stands at `path` afterwards. False when neither worked.
bool moveToTrash(const std::string& path);

/// No composition or shader is longer.
constexpr std::size_t largestTextFile = std::size_t{8} << 20;

/// Why a file was not read.
struct ReadFailure {
  int number = 0;    ///< the system's, such as ENOENT
  std::string text;  ///< for people: "No such file or directory", "it is no regular file"
};

/// The whole of a regular file. None, with the reason where it is asked for, when it can't be read,
/// is longer than `atMost` bytes (EFBIG), or is anything else, such as a FIFO, which could keep the
/// caller for ever (EINVAL).
std::optional<std::string> readFile(const std::string& path, std::size_t atMost,
                                    ReadFailure* failure = nullptr);
/// The same of a file that holds valid UTF-8.
std::optional<std::string> readTextFile(const std::string& path,
                                        std::size_t atMost = largestTextFile);

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
