// The tables of records: look-up, loading and saving.
#include <algorithm>
#include <filesystem>
#include <iterator>
#include <set>
#include <system_error>

#include "cache/VuoCacheState.h"
#include "platform/system/FileSystem.h"
#include "platform/system/PropertyList.h"
#include "platform/system/SystemLog.h"
#include "platform/system/WithMemory.h"

using platform::systemLog;

VuoCache::Item VuoCache::State::_copyOfRecord(const Kind& kind, const std::string& path) const {
  const auto& table = this->*kind.table;
  platform::ReadHold hold(table);
  const Item record = table.objectForKey(path);
  return record ? platform::orBadAlloc(record->copy()) : nullptr;
}

bool VuoCache::State::_isCachedAvailable(const Kind& kind, const Path& path) const {
  if (!path) {
    systemLog("\t\terr: bailing, passed path was nil, %s", {kind.isAvailableName});
    return false;
  }
  return _freshCopyOfRecord(kind, *path) != nullptr;
}

void VuoCache::State::appTerminateNotification() {
  ++_terminations;
  // One that was cleared lives only for the work that is queued on it.
  const auto global = globalCache();
  if (global && this == global->_state.get()) _save();
}

std::vector<VuoCache::SavedRecord> VuoCache::copySavedRecords(const std::string& savePath) {
  const std::string folder = folderForSavePath(savePath);
  auto records = State::_savedRecords(State::kDylib, folder);
  std::ranges::move(State::_savedRecords(State::kExe, folder), std::back_inserter(records));
  return records;
}

/// A path that can't be a key has its hash for one.
std::string VuoCache::State::_keyInFile(const std::string& path) {
  return platform::canBeKey(path) ? path : *_hashThisString(path);
}

std::vector<VuoCache::SavedRecord> VuoCache::State::_savedRecords(const Kind& kind,
                                                                  const std::string& cacheFolder) {
  std::vector<SavedRecord> records;
  const auto table = platform::readPropertyList(cacheFolder + "/" + kind.recordFile);
  if (!table) return records;
  for (const auto& [key, snapshot] : *table) {
    auto record = std::make_shared<VuoCacheItem>();
    record->loadSnapshot(snapshot.dictionary().get());
    const auto path = record->vuoFilePath();
    const bool isHash = path && *path != key && _keyInFile(*path) == key;
    const std::string& composition = isHash ? *path : key;
    const bool isValid = _isValid(kind, cacheFolder, composition, *record);
    records.push_back({composition, kind.isDylib, std::move(record), isValid});
  }
  return records;
}

void VuoCache::State::_load() {
  platform::LockGuard hold(_compilerSynchLock);
  _dylibCacheItems.lockRemoveAllObjects();
  _exeCacheItems.lockRemoveAllObjects();
  if (_keepsNothing() || !platform::isFolder(_cacheFolder())) return;
  const auto holdRecords = _lockRecords();
  _loadTable(kDylib);
  _loadTable(kExe);
  platform::globalConcurrentQueue().async([folder = _cacheFolder(), baseName = _baseName] {
    _removeUnfinishedArtefacts(folder, baseName);
  });
}

void VuoCache::State::_loadTable(const Kind& kind) {
  auto& table = this->*kind.table;
  platform::removeUnfinished(_cacheFolder() + "/" + kind.recordFile);
  for (const SavedRecord& saved : _savedRecords(kind, _cacheFolder())) {
    if (saved.isValid && saved.record->upToDate()) {
      table.lockSetObject(saved.record, saved.compositionPath);
    } else {
      _drop(saved);
    }
  }
}

/// Those that were being written when a process was killed.
void VuoCache::State::_removeUnfinishedArtefacts(const std::string& cacheFolder,
                                                 const std::string& baseName) {
  platform::forEachNameIn(cacheFolder, [&](const char* name) {
    const std::string folder = cacheFolder + "/" + name;
    if (!platform::isOwnRealFolder(folder)) return;
    const auto hold = _lockComposition(cacheFolder, name, false);
    if (!hold) return;
    platform::removeUnfinished(folder + "/" + kLibraryName);
    platform::removeUnfinished(folder + "/" + baseName);
  });
}

void VuoCache::State::_save() {
  ++_savesWaiting;
  {
    platform::LockGuard hold(_compilerSynchLock);
    --_savesWaiting;
    if (!_keepsNothing() && _makeCacheFolder()) {
      const auto holdRecords = _lockRecords();
      const std::string cacheFolder = _cacheFolder();
      _saveTable(kDylib, cacheFolder);
      _saveTable(kExe, cacheFolder);
    }
  }
  _noSaveWaits.notify_all();
}

/// What other processes have saved since is taken in.
void VuoCache::State::_saveTable(const Kind& kind, const std::string& cacheFolder) {
  const auto& table = this->*kind.table;
  platform::PropertyListDictionary records;
  std::set<std::string> stale;
  const auto add = [&records](const std::string& path, const VuoCacheItem& record) {
    records[_keyInFile(path)] = platform::PropertyListValue{
        std::make_shared<const platform::PropertyListDictionary>(record.createSnapshot())};
  };
  {
    platform::ReadHold hold(table);
    for (const auto& [path, record] : table.dict()) {
      add(path, *record);
      if (!record->upToDate()) stale.insert(path);
    }
  }
  for (const SavedRecord& saved : _savedRecords(kind, cacheFolder)) {
    const std::string& path = saved.compositionPath;
    const bool isOurs = records.contains(_keyInFile(path)) && !stale.contains(path);
    if (!isOurs && saved.isValid && saved.record->upToDate()) add(path, *saved.record);
  }
  platform::writePropertyListAtomically(records, cacheFolder + "/" + kind.recordFile);
}
