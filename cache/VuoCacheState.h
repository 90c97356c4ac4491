// What a cache holds: its fields with their locks, and the steps that its operations are made of.
//
// What the steps do lies in the file of their purpose: configuring in VuoCache.cpp, the records and
// their files in VuoCacheStore.cpp, where everything lies in VuoCachePaths.cpp, what may be served
// in VuoCacheArtefact.cpp, a compile in VuoCacheCompile.cpp, fetches in VuoCacheFetch.cpp and,
// through the queue, in VuoCacheQueue.cpp.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Brannow/VuoCache.h"
#include "platform/hostbase/MutLockArray.h"
#include "platform/hostbase/MutLockDict.h"
#include "platform/system/Dispatch.h"
#include "platform/system/FileLock.h"
#include "platform/system/Mutex.h"
#include "platform/system/Notifications.h"

class VuoCacheQueueEntry;

/// What every dynamic library is called.
constexpr const char* kLibraryName = "dylib.dylib";
/// Whether an executable may be called that.
bool isExecutableName(std::string_view name);

struct VuoCache::State : std::enable_shared_from_this<State> {
  /// What differs between the two kinds of artefact.
  struct Kind {
    MutLockDict<VuoCacheItem> State::*table;
    /// The record file inside the cache folder.
    const char* recordFile;
    bool isDylib;

    // The operations as log lines name them.
    const char* isAvailableName;
    const char* fetchName;
  };
  static const Kind kDylib;
  static const Kind kExe;

  State();

  // --- the global cache

  static void _configure(const Path& path, bool justCleared);
  static void _clear();

  // --- saving and loading

  void appTerminateNotification();
  void _load() EXCLUDES(_compilerSynchLock);
  void _save() EXCLUDES(_compilerSynchLock);
  void _loadTable(const Kind& kind) REQUIRES(_compilerSynchLock);
  void _saveTable(const Kind& kind, const std::string& cacheFolder) REQUIRES(_compilerSynchLock);
  static std::vector<SavedRecord> _savedRecords(const Kind& kind, const std::string& cacheFolder);
  static std::string _keyInFile(const std::string& path);
  void _drop(const SavedRecord& saved) const;
  static void _removeUnfinishedArtefacts(const std::string& cacheFolder,
                                         const std::string& baseName);

  // --- where everything lies

  std::string _cacheFolder() const;
  bool _keepsNothing() const;
  bool _makeCacheFolder() const;
  static std::string _artefactFolder(const std::string& cacheFolder, const std::string& path);
  std::string _artefactPath(const Kind& kind, const std::string& path) const;
  static std::string _bitcodePath(const std::string& path);
  static Path _hashThisString(const Path& text);
  std::optional<platform::FileLock> _lockRecords() const;
  static std::optional<platform::FileLock> _lockComposition(const std::string& cacheFolder,
                                                            const std::string& key, bool waiting);

  // --- what may be served

  bool _isCachedAvailable(const Kind& kind, const Path& path) const;
  Item _copyOfRecord(const Kind& kind, const std::string& path) const;
  Item _freshCopyOfRecord(const Kind& kind, const std::string& path) const;
  static bool _isArtefact(const Kind& kind, const std::string& cacheFolder, const std::string& path,
                          const std::string& artefact);
  static bool _isValid(const Kind& kind, const std::string& cacheFolder, const std::string& path,
                       const VuoCacheItem& record);
  void _discard(const VuoCacheItem& item);

  // --- a compile, on the calling thread

  Item _fetchSynchronously(const Kind& kind, const Path& path);
  static std::shared_ptr<const Compile> _lastCompile(const std::string& path,
                                                     const char* operation);
  std::optional<std::string> _compileUnchanged(const Kind& kind, const std::string& path,
                                               std::string& artefactPath,
                                               VuoCacheItem::Date& modDate,
                                               std::vector<std::string>& files)
      EXCLUDES(_compilerSynchLock);
  std::optional<std::string> _compile(const Kind& kind, const std::string& path,
                                      std::string& artefactPath, VuoCacheItem::Date& modDate,
                                      std::vector<std::string>& files) EXCLUDES(_compilerSynchLock);
  void _waitForTurnToCompile(platform::UniqueLock& hold) REQUIRES(_compilerSynchLock);

  // --- the queue

  void _fetch(const Kind& kind, const Path& path, Completion callBlockWhenDone);
  bool _deliverFresh(const Kind& kind, const std::string& path, const Completion& completion);
  bool _enqueue(const Kind& kind, const Path& path, const Completion& completion);
  void _scheduleQueueRun();
  void _compileAndCacheFromTheQueue();
  Item _resultFor(const VuoCacheQueueEntry& entry);
  std::shared_ptr<VuoCacheQueueEntry> _takeFirstEntry();
  void _finishEntry(const std::shared_ptr<VuoCacheQueueEntry>& entry, Item result);

  // --- the fields

  std::string _baseName = "lumoVuoExe";
  Path _savePath;
  mutable std::atomic<bool> _refusalLogged{false};
  MutLockDict<VuoCacheItem> _dylibCacheItems;
  MutLockDict<VuoCacheItem> _exeCacheItems;
  MutLockDict<const Compile> _lastCompiles;  // by path
  // Its lock is taken before a table's own, never after one.
  MutLockArray<std::shared_ptr<VuoCacheQueueEntry>> _compilerQueueEntries;
  std::shared_ptr<platform::DispatchQueue> _compilerQueue;
  // Held across each compile and link and across loading and saving the record files. Taken after
  // the lock of a composition, whose holder may be another process, and before the lock of the
  // records and any table's own. The entry list's lock is never held with it.
  platform::Mutex _compilerSynchLock;
  platform::ConditionVariable _noSaveWaits;  // with _compilerSynchLock
  std::atomic<int> _savesWaiting{0};         // no compile begins while it is not 0
  std::atomic<int> _terminations{0};         // how often the application was about to terminate
  platform::Observation _termination;
};
