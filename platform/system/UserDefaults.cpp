#include "platform/system/UserDefaults.h"

#include <cstdlib>
#include <mutex>

#include "platform/system/Bundle.h"
#include "platform/system/FileSystem.h"
#include "platform/system/PropertyList.h"

namespace platform {
namespace {

std::mutex fileLock;  // held across reading, changing and writing; nothing is taken under it

std::string settingsFolder() {
  const char* folder = std::getenv("XDG_CONFIG_HOME");
  const bool isAbsolute = folder && *folder == '/';
  return (isAbsolute ? folder : expandTilde("~/.config")) + "/" +
         lastPathComponent(executablePath());
}

std::string settingsFile() {
  return settingsFolder() + "/defaults.plist";
}

}  // namespace

std::optional<std::string> userDefault(const std::string& key) {
  std::lock_guard hold(fileLock);
  const auto settings = readPropertyList(settingsFile());
  return settings ? stringForKey(*settings, key) : std::nullopt;
}

void setUserDefault(const std::optional<std::string>& value, const std::string& key) {
  std::lock_guard hold(fileLock);
  auto settings = readPropertyList(settingsFile()).value_or(PropertyListDictionary{});
  if (value) {
    settings[key] = PropertyListValue{*value};
  } else if (settings.erase(key) == 0) {
    return;
  }
  createFolders(settingsFolder());
  writePropertyListAtomically(settings, settingsFile());
}

}  // namespace platform
