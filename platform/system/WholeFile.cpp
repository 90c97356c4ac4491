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
  ~OpenFile() {
    if (_descriptor >= 0) close(_descriptor);
  }
  OpenFile(const OpenFile&) = delete;
  OpenFile& operator=(const OpenFile&) = delete;

  /// None, and the reason in `why`, when it can't be read.
  std::optional<std::string> contents(std::size_t atMost, std::string& why) const {
    struct stat status {};
    if (_descriptor < 0 || fstat(_descriptor, &status) != 0) return refusal(why);
    if (!S_ISREG(status.st_mode)) return refusal(why, "it is no regular file");
    if (std::cmp_greater(status.st_size, atMost)) return refusal(why, tooLarge(atMost));
    // One byte more than the file is long shows its end; it may also have grown meanwhile.
    std::string bytes(static_cast<std::size_t>(status.st_size) + 1, '\0');
    for (std::size_t length = 0;;) {
      const ssize_t count = readSome(bytes.data() + length, bytes.size() - length);
      if (count < 0) return refusal(why);
      length += static_cast<std::size_t>(count);
      if (length > atMost) return refusal(why, tooLarge(atMost));
      if (count == 0) {
        bytes.resize(length);
        return bytes;
      }
      if (length == bytes.size()) bytes.resize(std::min(2 * length + 4096, atMost + 1));
    }
  }

 private:
  static std::nullopt_t refusal(std::string& why, std::string reason = std::strerror(errno)) {
    why = std::move(reason);
    return std::nullopt;
  }
  static std::string tooLarge(std::size_t atMost) {
    return "it is larger than " + std::to_string(atMost) + " bytes";
  }
  ssize_t readSome(char* bytes, std::size_t room) const {
    ssize_t count;
    do count = read(_descriptor, bytes, room);
    while (count < 0 && errno == EINTR);
    return count;
  }

  const int _descriptor;
};

std::size_t validUtf8Length(std::string_view text) {
  const std::string_view whole = text;
  while (!text.empty()) {
    text.remove_prefix(asciiLength(text));
    const std::size_t length = nonAsciiLength(text);
    const char* end = nullptr;
    if (!g_utf8_validate(text.data(), static_cast<gssize>(length), &end))
      return static_cast<std::size_t>(end - whole.data());
    text.remove_prefix(length);
  }
  return whole.size();
}

}  // namespace

std::optional<std::string> readFile(const std::string& path, std::size_t atMost,
                                    std::string* whyNot) {
  std::string ignored;
  std::string& why = whyNot ? *whyNot : ignored;
  try {
    return OpenFile(path).contents(atMost, why);
  } catch (const std::bad_alloc&) {
    why = std::strerror(ENOMEM);
    return std::nullopt;
  }
}

std::optional<std::string> readTextFile(const std::string& path, std::size_t atMost,
                                        std::string* whyNot) {
  auto text = readFile(path, atMost, whyNot);
  if (!text) return std::nullopt;
  const std::size_t valid = validUtf8Length(*text);
  if (valid == text->size()) return text;
  if (whyNot) *whyNot = "byte " + std::to_string(valid + 1) + " of it is not UTF-8";
  return std::nullopt;
}

bool writeFileAtomically(const std::string& path, std::string_view contents) {
  // Both flags are needed: CONSISTENT renames a temporary file over the old one, DURABLE flushes
  // that file before the rename and the folder after it, so that after a loss of power the name
  // stands for the old contents or the new ones, never for a file whose data was not yet written.
  constexpr auto kFlags = static_cast<GFileSetContentsFlags>(G_FILE_SET_CONTENTS_CONSISTENT |
                                                             G_FILE_SET_CONTENTS_DURABLE);
  constexpr int kModeBeforeUmask = 0666;
  return g_file_set_contents_full(path.c_str(), contents.data(),
                                  static_cast<gssize>(contents.size()), kFlags, kModeBeforeUmask,
                                  nullptr);
}

bool isValidUtf8(std::string_view text) {
  return validUtf8Length(text) == text.size();
}

}  // namespace platform
