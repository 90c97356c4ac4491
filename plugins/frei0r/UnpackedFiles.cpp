#include "plugins/frei0r/UnpackedFiles.h"

#include <glib.h>

#include <filesystem>
#include <memory>
#include <stdexcept>

namespace frei0r {
namespace {

namespace fs = std::filesystem;
using Text = std::unique_ptr<char, decltype(&g_free)>;

fs::path folderFor(const Export& contents) {
  const std::string all = bytesFromExport(contents);
  const Text digest(g_compute_checksum_for_data(
                        G_CHECKSUM_SHA256, reinterpret_cast<const guchar*>(all.data()), all.size()),
                    g_free);
  return fs::path(g_get_user_cache_dir()) / "brannow" / "frei0r" / digest.get();
}

bool holds(const fs::path& path, const std::string& contents) {
  char* text = nullptr;
  gsize size = 0;
  if (!g_file_get_contents(path.c_str(), &text, &size, nullptr)) return false;
  const Text found(text, g_free);
  return std::string_view(text, size) == contents;
}

void write(const fs::path& path, const std::string& contents) {
  if (holds(path, contents)) return;
  constexpr int forThisUserAlone = 0700;
  g_mkdir_with_parents(path.parent_path().c_str(), forThisUserAlone);
  GError* error = nullptr;
  if (g_file_set_contents(path.c_str(), contents.data(), static_cast<gssize>(contents.size()),
                          &error))
    return;
  const std::string words = error->message;
  g_error_free(error);
  throw std::runtime_error(words);
}

}  // namespace

std::string unpack(const Export& contents) {
  const fs::path folder = folderFor(contents);
  for (const auto& file : contents.files) write(folder / file.name, file.contents);
  return folder / contents.files.front().name;
}

}  // namespace frei0r
