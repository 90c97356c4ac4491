#include "host/Files.h"

#include <fcntl.h>
#include <glib.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <memory>
#include <system_error>
#include <utility>

namespace {

struct Descriptor {
  explicit Descriptor(int opened) : number(opened) {}
  ~Descriptor() {
    if (number >= 0) ::close(number);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  const int number;
};

std::nullopt_t refusal(std::string& reason, std::string why) {
  reason = std::move(why);
  return std::nullopt;
}

}  // namespace

bool fileExists(const std::string& path) {
  std::error_code error;
  return std::filesystem::exists(path, error);
}

bool isFolder(const std::string& path) {
  std::error_code error;
  return std::filesystem::is_directory(path, error);
}

std::string fileNameOf(const std::string& path) {
  if (path.empty()) return "";
  const std::unique_ptr<char, decltype(&g_free)> name(g_path_get_basename(path.c_str()), g_free);
  return name.get();
}

std::string withHomeFolder(const std::string& path) {
  if (!path.starts_with('~')) return path;
  const std::size_t end = std::min(path.find('/'), path.size());
  const std::string user = path.substr(1, end - 1);
  const passwd* const entry = user.empty() ? nullptr : ::getpwnam(user.c_str());
  if (!user.empty() && !entry) return path;
  return (entry ? entry->pw_dir : g_get_home_dir()) + path.substr(end);
}

bool isUtf8(std::string_view text) {
  return g_utf8_validate(text.data(), static_cast<gssize>(text.size()), nullptr);
}

std::optional<std::string> wholeFile(const std::string& path, std::size_t atMost,
                                     std::string& reason) {
  const Descriptor file(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  struct stat status {};
  if (file.number < 0 || ::fstat(file.number, &status) != 0)
    return refusal(reason, std::strerror(errno));
  if (!S_ISREG(status.st_mode)) return refusal(reason, "it is no regular file");
  std::string bytes;
  char some[65536];
  for (ssize_t count; (count = ::read(file.number, some, sizeof some)) != 0;) {
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return refusal(reason, std::strerror(errno));
    bytes.append(some, static_cast<std::size_t>(count));
    if (bytes.size() > atMost)
      return refusal(reason, "it is larger than " + std::to_string(atMost) + " bytes");
  }
  return bytes;
}

bool writeWholeFile(const std::string& path, const std::string& contents, std::string& reason) {
  constexpr auto kFlags = static_cast<GFileSetContentsFlags>(G_FILE_SET_CONTENTS_CONSISTENT |
                                                             G_FILE_SET_CONTENTS_DURABLE);
  constexpr int kModeBeforeUmask = 0666;
  GError* raised = nullptr;
  if (g_file_set_contents_full(path.c_str(), contents.data(), static_cast<gssize>(contents.size()),
                               kFlags, kModeBeforeUmask, &raised))
    return true;
  const std::unique_ptr<GError, decltype(&g_error_free)> error(raised, g_error_free);
  // The message names the temporary file, and ends with what the system says.
  const std::string_view message = error->message;
  const auto colon = message.rfind(": ");
  reason = message.substr(colon == message.npos ? 0 : colon + 2);
  return false;
}
