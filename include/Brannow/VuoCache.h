// The process-wide cache of compiled compositions.
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "Brannow/VuoCacheItem.h"
#include "platform/hostbase/MutLockArray.h"
#include "platform/hostbase/MutLockDict.h"
#include "platform/system/Dispatch.h"
#include "platform/system/Notifications.h"

class VuoCacheQueueEntry;

/// A composition is compiled once per modification of its file and per kind of artefact: a dynamic
/// library to run inside this process, an executable to run in a process of its own.
///
/// The host uses the class operations, which work on the one global cache. Without one they log
/// and return false, none or nothing; the two queued fetches then never call their completion.
/// Configuring and clearing must not run at the same time as any other call; the others may be
/// called from any thread.
class VuoCache : public std::enable_shared_from_this<VuoCache> {
 public:
  using Path = std::optional<std::string>;
  using Item = std::shared_ptr<VuoCacheItem>;
  /// Receives a copy of the record, or null.
  using Completion = std::function<void(Item)>;

  /// Makes the global cache. What it keeps lies in the folder "VuoCache" under `path`, which may
  /// begin with "~"; the compiler also leaves a file in /tmp for each composition, which must not
  /// be another user's. Loads what an earlier process saved; when the runtime's version has changed
  /// since, moves the folder to the user's trash instead. Refused, with a log line, when the path
  /// is absent or a global cache exists.
  static void configGlobalCacheWithSavePath(const Path& path);
  /// Null before configuration.
  static std::shared_ptr<VuoCache> globalCache();
  /// Moves the cache's folder to the user's trash and starts again with an empty cache on the same
  /// path. Work that is queued on the old cache still completes.
  static void clearCache();

  /// Whether a fetch would be served without compiling. Never waits for a compile.
  static bool isCachedDylibAvailableForVuoFile(const Path& path);
  static bool isCachedExeAvailableForVuoFile(const Path& path);

  /// A record for the composition, compiled on the calling thread where there is no fresh one; that
  /// also waits for every other compile under way. The caller owns its copy. Null when the path is
  /// absent or the compile failed; a failed compile also queues an alert on the main queue.
  static Item fetchCachedDylibForVuoFileSynchronously(const Path& path);
  static Item fetchCachedExeForVuoFileSynchronously(const Path& path);

  /// Why the last compile of the composition failed: the text that its alert shows. None when it
  /// succeeded or there was none since the cache was made.
  static std::optional<std::string> compileFailureForVuoFile(const std::string& path);

  /// Returns at once. Later `callBlockWhenDone` is called once on the main queue with a record, or
  /// with null when the file is missing or the compile failed. Requests are served one at a time in
  /// the order of the calls.
  static void fetchCachedDylibForVuoFile(const Path& path, Completion callBlockWhenDone);
  static void fetchCachedExeForVuoFile(const Path& path, Completion callBlockWhenDone);

  VuoCache();
  ~VuoCache();
  VuoCache(const VuoCache&) = delete;
  VuoCache& operator=(const VuoCache&) = delete;

  /// The save path exactly as it was given. Must not change while a compile may be running.
  void setSavePath(std::string path) { _savePath = std::move(path); }
  const Path& savePath() const { return _savePath; }
  /// The file name of executables that are linked from now on; an absent or empty name is ignored.
  /// Must not change while a compile may be running.
  void setExecutableName(const Path& name);

 private:
  /// What differs between the two kinds of artefact.
  struct Kind;
  static const Kind kDylib;
  static const Kind kExe;

  static void _configure(const Path& path, bool justCleared);

  void appTerminateNotification();
  void _load();
  void _save();
  void _loadTable(const Kind& kind);
  void _saveTable(const Kind& kind, const std::string& cacheFolder);
  std::string _cacheFolder() const;
  std::string _artefactFolder(const std::string& path) const;
  std::string _artefactPath(const Kind& kind, const std::string& path) const;
  static std::string _bitcodePath(const std::string& path);
  static Path _hashThisString(const Path& text);

  bool _isCachedAvailable(const Kind& kind, const Path& path) const;
  Item _copyOfRecord(const Kind& kind, const std::string& path) const;
  Item _fetchSynchronously(const Kind& kind, const Path& path);
  std::optional<std::string> _compileUnchanged(const Kind& kind, const std::string& path,
                                               std::string& artefactPath,
                                               VuoCacheItem::Date& modDate);
  std::optional<std::string> _compile(const Kind& kind, const std::string& path,
                                      std::string& artefactPath, VuoCacheItem::Date& modDate);
  void _fetch(const Kind& kind, const Path& path, Completion callBlockWhenDone);
  bool _enqueue(const Kind& kind, const Path& path, const Completion& completion);
  void _scheduleQueueRun();
  void _compileAndCacheFromTheQueue();
  std::shared_ptr<VuoCacheQueueEntry> _takeFirstEntry();
  void _removeEntry(const std::shared_ptr<VuoCacheQueueEntry>& entry);

  std::string _baseName = "lumoVuoExe";
  Path _savePath;
  MutLockDict<VuoCacheItem> _dylibCacheItems;
  MutLockDict<VuoCacheItem> _exeCacheItems;
  MutLockDict<const std::string> _compileFailures;  // by path, null after a success
  MutLockArray<std::shared_ptr<VuoCacheQueueEntry>> _compilerQueueEntries;
  std::shared_ptr<platform::DispatchQueue> _compilerQueue;
  // Held across each compile and link and across loading and saving the record files. Taken before
  // any table's own lock, never after one. The entry list's lock is never held with it.
  std::mutex _compilerSynchLock;
  platform::Observation _termination;
};
