// Whole files: reading text, and writing so that a file is there completely or not at all.
#include <glib.h>

#include <memory>

#include "platform/system/FileSystem.h"

namespace platform {

std::optional<std::string> readFile(const std::string& path) {
  gchar* bytes = nullptr;
  gsize length = 0;
  if (!g_file_get_contents(path.c_str(), &bytes, &length, nullptr)) return std::nullopt;
  const std::unique_ptr<gchar, void (*)(gpointer)> owner(bytes, g_free);
  return std::string(bytes, length);
}

std::optional<std::string> readTextFile(const std::string& path) {
  auto text = readFile(path);
  if (text && !isValidUtf8(*text)) return std::nullopt;
  return text;
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
  // GLib takes U+0000 for the end of a text; in a file it is a character like any other.
  for (;;) {
    const auto end = text.find('\0');
    const auto segment = text.substr(0, end);
    if (!g_utf8_validate(segment.data(), static_cast<gssize>(segment.size()), nullptr))
      return false;
    if (end == std::string_view::npos) return true;
    text.remove_prefix(end + 1);
  }
}

}  // namespace platform
