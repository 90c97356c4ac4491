// The tables of records: look-up, loading and saving.
#include <algorithm>
#include <iterator>

#include "Brannow/VuoCache.h"
#include "cache/VuoCacheKind.h"
#include "platform/system/FileSystem.h"
#include "platform/system/PropertyList.h"
#include "platform/system/SystemLog.h"

using platform::systemLog;

VuoCache::Item VuoCache::_copyOfRecord(const Kind& kind, const std::string& path) const {
  const auto& table = this->*kind.table;
  platform::ReadHold hold(table);
  const Item record = table.objectForKey(path);
  return record ? record->copy() : nullptr;
}

bool VuoCache::_isCachedAvailable(const Kind& kind, const Path& path) const {
  if (!path) {
    systemLog("\t\terr: bailing, passed path was nil, %s", {kind.isAvailableName});
    return false;
  }
  const Item record = _copyOfRecord(kind, *path);
  return record && record->upToDate();
}

void VuoCache::appTerminateNotification() {
  _save();
}

void VuoCache::_load() {
  std::lock_guard hold(_compilerSynchLock);
  _dylibCacheItems.lockRemoveAllObjects();
  _exeCacheItems.lockRemoveAllObjects();
  _loadTable(kDylib);
  _loadTable(kExe);
}

std::vector<VuoCache::SavedRecord> VuoCache::copySavedRecords(const std::string& savePath) {
  auto records = _savedRecords(kDylib, folderForSavePath(savePath));
  std::ranges::move(_savedRecords(kExe, folderForSavePath(savePath)), std::back_inserter(records));
  return records;
}

std::vector<VuoCache::SavedRecord> VuoCache::_savedRecords(const Kind& kind,
                                                           const std::string& cacheFolder) {
  std::vector<SavedRecord> records;
  const auto table = platform::readPropertyList(cacheFolder + "/" + kind.recordFile);
  if (!table) return records;
  for (const auto& [path, snapshot] : *table) {
    auto record = std::make_shared<VuoCacheItem>();
    record->loadSnapshot(snapshot.dictionary().get());
    records.push_back({path, kind.isDylib, std::move(record)});
  }
  return records;
}

void VuoCache::_loadTable(const Kind& kind) {
  for (auto& [path, isDylib, record] : _savedRecords(kind, _cacheFolder())) {
    if (record->isValid() && record->upToDate()) {
      (this->*kind.table).lockSetObject(std::move(record), path);
      continue;
    }
    const auto composition = record->vuoFilePath();
    systemLog(
        "\t\terr: item isn't up-to-date or isn't valid, deleting cached item- path for comp was %@",
        {composition ? platform::LogArgument(*composition)
                     : platform::LogArgument(std::optional<std::string>())});
    if (const auto exe = record->cachedExePath()) platform::removeFile(*exe);
  }
}

void VuoCache::_save() {
  std::lock_guard hold(_compilerSynchLock);
  const std::string cacheFolder = _cacheFolder();
  if (!platform::itemExists(cacheFolder)) platform::createFolders(cacheFolder);
  _saveTable(kDylib, cacheFolder);
  _saveTable(kExe, cacheFolder);
}

void VuoCache::_saveTable(const Kind& kind, const std::string& cacheFolder) {
  const auto& table = this->*kind.table;
  platform::PropertyListDictionary records;
  {
    platform::ReadHold hold(table);
    for (const auto& [path, record] : table.dict()) {
      records[path] = platform::PropertyListValue{
          std::make_shared<const platform::PropertyListDictionary>(record->createSnapshot())};
    }
  }
  platform::writePropertyListAtomically(records, cacheFolder + "/" + kind.recordFile);
}
