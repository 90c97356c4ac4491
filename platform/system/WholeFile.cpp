// Whole files: reading text, and writing so that a file is there completely or not at all.
#include <fcntl.h>
#include <glib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "platform/system/FileSystem.h"

namespace platform {
namespace {

/// The length of the ASCII text at the beginning, which is valid as it stands.
std::size_t asciiLength(std::string_view text) {
  constexpr std::uint64_t kHighBits = 0x8080808080808080;
  std::size_t length = 0;
  for (std::uint64_t eight; length + sizeof eight <= text.size(); length += sizeof eight) {
    std::memcpy(&eight, text.data() + length, sizeof eight);
    if (eight & kHighBits) break;
  }
  while (length < text.size() && static_cast<signed char>(text[length]) >= 0) ++length;
  return length;
}

/// The length of the text at the beginning that has no ASCII in it.
std::size_t nonAsciiLength(std::string_view text) {
  const auto end = std::find_if(text.begin(), text.end(),
                                [](char byte) { return static_cast<signed char>(byte) >= 0; });
  return static_cast<std::size_t>(end - text.begin());
}

/// Reads up to `room` bytes; nothing when that fails.
std::optional<std::size_t> readSome(int file, char* bytes, std::size_t room) {
  ssize_t count;
  do count = read(file, bytes, room);
  while (count < 0 && errno == EINTR);
  return count < 0 ? std::nullopt : std::optional(static_cast<std::size_t>(count));
}

std::optional<std::string> readAll(int file) {
  struct stat status {};
  if (fstat(file, &status) != 0) return std::nullopt;
  // One byte more than the file is long shows its end; it may also have grown meanwhile.
  std::string contents(static_cast<std::size_t>(std::max<off_t>(status.st_size, 0)) + 1, '\0');
  for (std::size_t length = 0;;) {
    const auto count = readSome(file, contents.data() + length, contents.size() - length);
    if (!count) return std::nullopt;
    length += *count;
    if (*count == 0) {
      contents.resize(length);
      return contents;
    }
    if (length == contents.size()) contents.resize(2 * length + 4096);
  }
}

}  // namespace

std::optional<std::string> readFile(const std::string& path, int* reason) {
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  auto contents = file < 0 ? std::nullopt : readAll(file);
  if (!contents && reason) *reason = errno;
  if (file >= 0) close(file);
  return contents;
}

std::optional<std::string> readTextFile(const std::string& path) {
  auto text = readFile(path);
  if (text && !isValidUtf8(*text)) return std::nullopt;
  return text;
}

bool writeFileAtomically(const std::string& path, std::string_view contents, std::string* reason) {
  // Both flags are needed: CONSISTENT renames a temporary file over the old one, DURABLE flushes
  // that file before the rename and the folder after it, so that after a loss of power the name
  // stands for the old contents or the new ones, never for a file whose data was not yet written.
  constexpr auto kFlags = static_cast<GFileSetContentsFlags>(G_FILE_SET_CONTENTS_CONSISTENT |
                                                             G_FILE_SET_CONTENTS_DURABLE);
  constexpr int kModeBeforeUmask = 0666;
  GError* error = nullptr;
  if (g_file_set_contents_full(path.c_str(), contents.data(), static_cast<gssize>(contents.size()),
                               kFlags, kModeBeforeUmask, &error)) {
    return true;
  }
  // The message names the temporary file, and ends with what the system says.
  const std::string_view message = error->message;
  const auto colon = message.rfind(": ");
  if (reason) *reason = message.substr(colon == std::string_view::npos ? 0 : colon + 2);
  g_error_free(error);
  return false;
}

std::optional<std::size_t> placeOfInvalidUtf8(std::string_view text) {
  const char* const begin = text.data();
  while (!text.empty()) {
    text.remove_prefix(asciiLength(text));
    const std::size_t length = nonAsciiLength(text);
    const char* end = nullptr;
    if (!g_utf8_validate(text.data(), static_cast<gssize>(length), &end)) {
      return static_cast<std::size_t>(end - begin);
    }
    text.remove_prefix(length);
  }
  return std::nullopt;
}

bool isValidUtf8(std::string_view text) {
  return !placeOfInvalidUtf8(text);
}

}  // namespace platform
