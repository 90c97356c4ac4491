#include "platform/system/UserDefaults.h"

#include <cstdio>
#include <cstdlib>

#include "platform/system/Bundle.h"
#include "platform/system/Digest.h"
#include "platform/system/FileLock.h"
#include "platform/system/FileSystem.h"
#include "platform/system/PropertyList.h"

namespace platform {
namespace {

std::string settingsFolder() {
  const char* folder = std::getenv("XDG_CONFIG_HOME");
  const bool isAbsolute = folder && *folder == '/';
  return (isAbsolute ? folder : expandTilde("~/.config")) + "/" +
         lastPathComponent(executablePath());
}

/// Applications with the same name have the same folder, but not the same path.
std::string settingsFile() {
  static const std::string& digest = *new std::string(md5Digits(mainBundlePath()));
  return settingsFolder() + "/defaults-" + digest.substr(0, 16) + ".plist";
}

/// Held across reading, changing and writing, against other threads and other processes.
std::optional<FileLock> lockOf(const std::string& file) {
  return FileLock::wait(file + ".lock", 0);
}

/// What the file says, to be written again with one change; empty where there is none yet. A
/// damaged file is set aside, since somebody may still want it. None when it can't be read.
std::optional<PropertyListDictionary> settingsToChange(const std::string& file) {
  if (!itemExists(file)) return PropertyListDictionary{};
  const auto xml = readFile(file, largestPropertyList);
  if (!xml) return std::nullopt;
  if (auto settings = propertyListOf(*xml)) return settings;
  std::rename(file.c_str(), (file + ".damaged").c_str());
  return PropertyListDictionary{};
}

}  // namespace

std::optional<std::string> userDefault(const std::string& key) {
  const auto settings = readPropertyList(settingsFile());
  return settings ? stringForKey(*settings, key) : std::nullopt;
}

void setUserDefault(const std::optional<std::string>& value, const std::string& key) {
  const std::string file = settingsFile();
  createFolders(settingsFolder());
  const auto hold = lockOf(file);
  auto settings = settingsToChange(file);
  if (!settings) return;
  if (value) {
    (*settings)[key] = PropertyListValue{*value};
  } else if (settings->erase(key) == 0) {
    return;
  }
  writePropertyListAtomically(*settings, file);
}

}  // namespace platform
