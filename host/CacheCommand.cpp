#include "host/CacheCommand.h"

#include <json-c/json.h>

#include <iomanip>
#include <iostream>
#include <string>

#include "Brannow/VuoCache.h"
#include "host/HostSession.h"
#include "platform/system/FileSystem.h"
#include "platform/system/JsonOwner.h"

namespace {

/// A line of the list.
struct Row {
  explicit Row(const VuoCache::SavedRecord& saved)
      : kind(saved.isDylib ? "dylib" : "executable"),
        composition(saved.compositionPath),
        fresh(saved.record->upToDate()),
        valid(saved.isValid) {
    const auto path =
        saved.isDylib ? saved.record->cachedDylibPath() : saved.record->cachedExePath();
    if (path) artefact = *path;
  }

  std::string kind;
  std::string composition;
  std::string artefact;
  bool fresh;
  bool valid;
};

void printJson(const Row& row) {
  const platform::JsonOwner line(json_object_new_object());
  const auto add = [&line](const char* key, json_object* value) {
    json_object_object_add(line.get(), key, value);
  };
  add("kind", json_object_new_string(row.kind.c_str()));
  add("composition", json_object_new_string(row.composition.c_str()));
  add("artefact", json_object_new_string(row.artefact.c_str()));
  add("fresh", json_object_new_boolean(row.fresh));
  add("valid", json_object_new_boolean(row.valid));
  std::cout << json_object_to_json_string_ext(
                   line.get(), JSON_C_TO_STRING_PLAIN | JSON_C_TO_STRING_NOSLASHESCAPE)
            << "\n";
}

void printRow(const Row& row) {
  std::cout << std::left << std::setw(12) << row.kind << std::setw(7)
            << (row.fresh ? "fresh" : "stale") << std::setw(9) << (row.valid ? "valid" : "invalid")
            << row.composition << "\n"
            << std::string(28, ' ') << row.artefact << "\n";
}

}  // namespace

int listCache(const std::string& cacheFolder, bool json) {
  for (const auto& saved : VuoCache::copySavedRecords(cacheFolder)) {
    json ? printJson(Row(saved)) : printRow(Row(saved));
  }
  return 0;
}

int clearCache(const std::string& cacheFolder) {
  const LogSilencer silencer;
  const std::string folder = VuoCache::folderForSavePath(cacheFolder);
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
