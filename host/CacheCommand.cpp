#include "host/CacheCommand.h"

#include <json-c/json.h>

#include <iomanip>
#include <iostream>
#include <vector>

#include "Brannow/VuoCache.h"
#include "host/HostSession.h"
#include "platform/system/FileSystem.h"
#include "platform/system/PropertyList.h"

namespace {

struct Record {
  std::string kind;
  std::string composition;
  std::string artefact;
  bool fresh = false;
  bool valid = false;
};

Record recordFrom(const std::string& kind, const std::string& path,
                  const platform::PropertyListValue& snapshot) {
  VuoCacheItem item;
  item.loadSnapshot(snapshot.dictionary().get());
  const auto artefact = kind == "dylib" ? item.cachedDylibPath() : item.cachedExePath();
  return {kind, path, artefact ? *artefact : "", item.upToDate(), item.isValid()};
}

std::vector<Record> recordsIn(const std::string& cacheFolder) {
  std::vector<Record> records;
  const std::string folder = platform::expandTilde(cacheFolder + "/VuoCache");
  for (const auto& [kind, file] :
       {std::pair{"dylib", "/vuoDylibData.plist"}, std::pair{"executable", "/vuoExeData.plist"}}) {
    const auto table = platform::readPropertyList(folder + file);
    if (!table) continue;
    for (const auto& [path, snapshot] : *table) records.push_back(recordFrom(kind, path, snapshot));
  }
  return records;
}

void printJson(const Record& record) {
  json_object* line = json_object_new_object();
  json_object_object_add(line, "kind", json_object_new_string(record.kind.c_str()));
  json_object_object_add(line, "composition", json_object_new_string(record.composition.c_str()));
  json_object_object_add(line, "artefact", json_object_new_string(record.artefact.c_str()));
  json_object_object_add(line, "fresh", json_object_new_boolean(record.fresh));
  json_object_object_add(line, "valid", json_object_new_boolean(record.valid));
  std::cout << json_object_to_json_string_ext(
                   line, JSON_C_TO_STRING_PLAIN | JSON_C_TO_STRING_NOSLASHESCAPE)
            << "\n";
  json_object_put(line);
}

void printRow(const Record& record) {
  std::cout << std::left << std::setw(12) << record.kind << std::setw(7)
            << (record.fresh ? "fresh" : "stale") << std::setw(9)
            << (record.valid ? "valid" : "invalid") << record.composition << "\n"
            << std::string(28, ' ') << record.artefact << "\n";
}

}  // namespace

int listCache(const std::string& cacheFolder, bool json) {
  for (const Record& record : recordsIn(cacheFolder)) json ? printJson(record) : printRow(record);
  return 0;
}

int clearCache(const std::string& cacheFolder) {
  LogCapture log;
  const std::string folder = platform::expandTilde(cacheFolder + "/VuoCache");
  const bool existed = platform::isFolder(folder);
  VuoCache::configGlobalCacheWithSavePath(cacheFolder);
  VuoCache::clearCache();
  if (platform::itemExists(folder)) {
    std::cerr << "brannow: can't move " << folder << " away\n";
    return 1;
  }
  std::cout << (existed ? "moved to the trash: " : "nothing to clear: ") << folder << "\n";
  return 0;
}
