#include "gstreamer/KnownCompositions.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "gstreamer/Elements.h"

namespace {

namespace fs = std::filesystem;

constexpr const char* kVariable = "BRANNOW_COMPOSITIONS";
constexpr const char* kFolder = "/usr/share/brannow/compositions";

std::vector<fs::path> folders() {
  std::vector<fs::path> all;
  const char* named = std::getenv(kVariable);
  std::istringstream list(named ? named : "");
  for (std::string folder; std::getline(list, folder, ':');)
    if (!folder.empty()) all.emplace_back(folder);
  all.emplace_back(kFolder);
  return all;
}

std::vector<fs::path> compositionsIn(const fs::path& folder) {
  std::vector<fs::path> files;
  std::error_code none;
  for (const auto& entry : fs::directory_iterator(folder, none))
    if (ZQVuoComposition::pathLooksLikeALegitComposition(entry.path().string()))
      files.push_back(fs::absolute(entry.path(), none));
  std::sort(files.begin(), files.end());
  return files;
}

std::string elementName(const fs::path& file) {
  std::string name = file.stem().string();
  for (char& letter : name)
    letter = g_ascii_isalnum(letter) || letter == '_' ? g_ascii_tolower(letter) : '-';
  return "brannow-" + name;
}

/// The comment at the top of the file, which says what it shows.
std::string commentOf(const fs::path& file) {
  std::ifstream lines(file);
  std::string text;
  for (std::string line; std::getline(lines, line) && line.rfind("// ", 0) == 0;)
    text += (text.empty() ? "" : " ") + line.substr(3);
  return g_utf8_validate(text.c_str(), -1, nullptr) ? text : std::string();
}

void registerComposition(GstPlugin* plugin, const fs::path& file) {
  const auto composition = ZQVuoComposition::initWithPath(file.string());
  if (!composition) return;
  const bool isFilter = composition->conformsToVuoProtocol(ZQVuoProtocol_ImageFilter);
  if (!isFilter && !composition->conformsToVuoProtocol(ZQVuoProtocol_ImageGenerator)) return;
  ElementKind kind;
  kind.name = elementName(file);
  kind.file = file.string();
  kind.title = "Brannow composition " + file.stem().string();
  kind.description = commentOf(file);
  if (kind.description.empty()) kind.description = "The composition " + kind.file;
  kind.properties = std::make_shared<PublishedProperties>(*composition);
  bool hasOthers = false;
  for (const auto& port : composition->publishedInputPorts()) {
    if (port->portType() != ZQVuoPortType_Image) continue;
    kind.images.push_back(port->portName());
    hasOthers = hasOthers || port != composition->runnerImageInputPort();
  }
  if (hasOthers)
    registerMixer(plugin, kind);
  else
    isFilter ? registerFilter(plugin, kind) : registerSource(plugin, kind);
}

}  // namespace

void registerKnownCompositions(GstPlugin* plugin) {
  gst_plugin_add_dependency_simple(plugin, kVariable, kFolder, ".vuo",
                                   GST_PLUGIN_DEPENDENCY_FLAG_FILE_NAME_IS_SUFFIX);
  std::set<std::string> names;
  for (const auto& folder : folders())
    for (const auto& file : compositionsIn(folder))
      if (names.insert(elementName(file)).second) registerComposition(plugin, file);
}
