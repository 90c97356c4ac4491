// Whole files: reading text, and writing so that a file is there completely or not at all.
#include <fcntl.h>
#include <glib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>
#include <utility>

#include "platform/system/FileDescriptor.h"
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

class OpenFile {
 public:
  /// A FIFO or a device would keep the caller waiting, here or in `read`, or be changed by reading.
  explicit OpenFile(const std::string& path)
      : _descriptor(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC)) {}

  /// None, and the reason in `why`, when it can't be read.
  std::optional<std::string> contents(std::size_t atMost, ReadFailure& why) const {
    struct stat status {};
    if (!_descriptor || fstat(_descriptor.get(), &status) != 0)
      return refusal(why, errno, std::strerror(errno));
    if (!S_ISREG(status.st_mode)) return refusal(why, EINVAL, "it is no regular file");
    if (std::cmp_greater(status.st_size, atMost)) return refusal(why, EFBIG, tooLarge(atMost));
    // One byte more than the file is long shows its end; it may also have grown meanwhile.
    std::string bytes(static_cast<std::size_t>(status.st_size) + 1, '\0');
    for (std::size_t length = 0;;) {
      const ssize_t count = readSome(bytes.data() + length, bytes.size() - length);
      if (count < 0) return refusal(why, errno, std::strerror(errno));
      length += static_cast<std::size_t>(count);
      if (length > atMost) return refusal(why, EFBIG, tooLarge(atMost));
      if (count == 0) {
        bytes.resize(length);
        return bytes;
      }
      if (length == bytes.size()) bytes.resize(std::min(2 * length + 4096, atMost + 1));
    }
  }

 private:
  static std::nullopt_t refusal(ReadFailure& why, int number, std::string text) {
    why = {number, std::move(text)};
    return std::nullopt;
  }
  static std::string tooLarge(std::size_t atMost) {
    return "it is larger than " + std::to_string(atMost) + " bytes";
  }
  ssize_t readSome(char* bytes, std::size_t room) const {
    ssize_t count;
    do count = read(_descriptor.get(), bytes, room);
    while (count < 0 && errno == EINTR);
    return count;
  }

  const FileDescriptor _descriptor;
};

}  // namespace

std::optional<std::string> readFile(const std::string& path, std::size_t atMost,
                                    ReadFailure* failure) {
  ReadFailure ignored;
  ReadFailure& why = failure ? *failure : ignored;
  try {
    return OpenFile(path).contents(atMost, why);
  } catch (const std::bad_alloc&) {
    why = {ENOMEM, std::strerror(ENOMEM)};
    return std::nullopt;
  }
}

std::optional<std::string> readTextFile(const std::string& path, std::size_t atMost) {
  auto text = readFile(path, atMost);
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
