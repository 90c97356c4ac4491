// The process-wide cache of compiled compositions.
#pragma once

#include <atomic>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "Brannow/VuoCacheItem.h"
#include "platform/hostbase/MutLockArray.h"
#include "platform/hostbase/MutLockDict.h"
#include "platform/system/Dispatch.h"
#include "platform/system/FileLock.h"
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
  /// begin with "~"; a lock file "VuoCache.lock" lies beside it, and the compiler leaves a file in
  /// /tmp for each composition. Loads what an earlier process saved; when the runtime's version has
  /// changed since, moves the folder to the user's trash instead. Refused, with a log line, when
  /// the path is absent or a global cache exists.
  ///
  /// The folder is made for this user alone. Where there is one that belongs to somebody else, or
  /// to which others may write, a line is logged, nothing is loaded or saved, and artefacts lie in
  /// a temporary folder until the process ends.
  ///
  /// Any number of processes of one application may use the same path at once. A record that names
  /// anything but an artefact of its own composition in that folder is dropped, as is one whose
  /// artefact was made from another modification.
  static void configGlobalCacheWithSavePath(const Path& path);
  /// Null before configuration.
  static std::shared_ptr<VuoCache> globalCache();
  /// Moves the cache's folder to the user's trash and starts again with an empty cache on the same
  /// path. Work that is queued on the old cache still completes, unsaved.
  static void clearCache();

  /// Whether a fetch would be served without compiling. Never waits for a compile.
  static bool isCachedDylibAvailableForVuoFile(const Path& path);
  static bool isCachedExeAvailableForVuoFile(const Path& path);

  /// A record for the composition, compiled on the calling thread where there is no fresh one; that
  /// also waits for every other compile under way, and for one of this composition in another
  /// process. The caller owns its copy. Null when the path is absent or the compile failed; a
  /// failed compile also queues an alert on the main queue.
  static Item fetchCachedDylibForVuoFileSynchronously(const Path& path);
  static Item fetchCachedExeForVuoFileSynchronously(const Path& path);

  /// Why the last compile of the composition failed: the text that its alert shows. None when it
  /// succeeded or there was none since the cache was made.
  static std::optional<std::string> compileFailureForVuoFile(const std::string& path);

  /// Returns at once. Later `callBlockWhenDone` is called once on the main queue with a record, or
  /// with null when the file is missing or the compile failed. Compiles run one at a time in the
  /// order of the calls, and so do all requests for one composition; a request for which there is a
  /// fresh record waits for no compile of another one. When the application is about to terminate,
  /// requests whose compile has not begun are given up: they get a fresh record or null.
  static void fetchCachedDylibForVuoFile(const Path& path, Completion callBlockWhenDone);
  static void fetchCachedExeForVuoFile(const Path& path, Completion callBlockWhenDone);

  /// For a record whose artefact can't be started: removes that artefact and forgets the record, so
  /// that the next fetch compiles. Does nothing when there is a newer record by now. May be called
  /// on any thread.
  static void discardCachedItem(const Item& item);

  /// One entry of a cache's record files.
  struct SavedRecord {
    std::string compositionPath;  ///< what a fetch must name to be served this record
    bool isDylib;                 ///< from the file of the dynamic libraries
    Item record;
    bool isValid;  ///< the record is, and its artefact is the one it was saved for
  };
  /// What an earlier process saved under `savePath`: the dynamic libraries, then the executables,
  /// each by path. Only reads, and needs no global cache: nothing is loaded, dropped or deleted,
  /// whether it is still good or not. The caller owns the records. Empty where nothing is saved.
  static std::vector<SavedRecord> copySavedRecords(const std::string& savePath);
  /// The folder of a cache with this save path, with a leading "~" replaced.
  static std::string folderForSavePath(const std::string& savePath);

  VuoCache();
  ~VuoCache();
  VuoCache(const VuoCache&) = delete;
  VuoCache& operator=(const VuoCache&) = delete;

  /// The save path exactly as it was given. Must not change while a compile may be running.
  void setSavePath(std::string path) { _savePath = std::move(path); }
  const Path& savePath() const { return _savePath; }
  /// The file name of executables that are linked from now on. An absent or empty name is ignored;
  /// one that is no plain file name or is the library's own is refused with a log line. Must not
  /// change while a compile may be running.
  void setExecutableName(const Path& name);

 private:
  /// What differs between the two kinds of artefact.
  struct Kind;
  static const Kind kDylib;
  static const Kind kExe;

  static void _configure(const Path& path, bool justCleared);
  static void _clear();

  // Saving and loading.
  void appTerminateNotification();
  void _load();
  void _save();
  void _loadTable(const Kind& kind);
  void _saveTable(const Kind& kind, const std::string& cacheFolder);
  static std::vector<SavedRecord> _savedRecords(const Kind& kind, const std::string& cacheFolder);
  static std::string _keyInFile(const std::string& path);
  void _drop(const SavedRecord& saved) const;
  static void _removeUnfinishedArtefacts(const std::string& cacheFolder,
                                         const std::string& baseName);

  // Where everything lies.
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

  // What may be served.
  bool _isCachedAvailable(const Kind& kind, const Path& path) const;
  Item _copyOfRecord(const Kind& kind, const std::string& path) const;
  Item _freshCopyOfRecord(const Kind& kind, const std::string& path) const;
  static bool _isArtefact(const Kind& kind, const std::string& cacheFolder, const std::string& path,
                          const std::string& artefact);
  static bool _isValid(const Kind& kind, const std::string& cacheFolder, const std::string& path,
                       const VuoCacheItem& record);
  void _discard(const VuoCacheItem& item);

  Item _fetchSynchronously(const Kind& kind, const Path& path);
  std::optional<std::string> _compileUnchanged(const Kind& kind, const std::string& path,
                                               std::string& artefactPath,
                                               VuoCacheItem::Date& modDate);
  std::optional<std::string> _compile(const Kind& kind, const std::string& path,
                                      std::string& artefactPath, VuoCacheItem::Date& modDate);
  std::unique_lock<std::mutex> _turnToCompile();

  void _fetch(const Kind& kind, const Path& path, Completion callBlockWhenDone);
  bool _deliverFresh(const Kind& kind, const std::string& path, const Completion& completion);
  bool _enqueue(const Kind& kind, const Path& path, const Completion& completion);
  void _scheduleQueueRun();
  void _compileAndCacheFromTheQueue();
  Item _resultFor(const VuoCacheQueueEntry& entry);
  std::shared_ptr<VuoCacheQueueEntry> _takeFirstEntry();
  void _finishEntry(const std::shared_ptr<VuoCacheQueueEntry>& entry, Item result);

  std::string _baseName = "lumoVuoExe";
  Path _savePath;
  mutable std::atomic<bool> _refusalLogged{false};
  MutLockDict<VuoCacheItem> _dylibCacheItems;
  MutLockDict<VuoCacheItem> _exeCacheItems;
  MutLockDict<const std::string> _compileFailures;  // by path, null after a success
  // Its lock is taken before a table's own, never after one.
  MutLockArray<std::shared_ptr<VuoCacheQueueEntry>> _compilerQueueEntries;
  std::shared_ptr<platform::DispatchQueue> _compilerQueue;
  // Held across each compile and link and across loading and saving the record files. Taken after
  // the lock of a composition, whose holder may be another process, and before the lock of the
  // records and any table's own. The entry list's lock is never held with it.
  std::mutex _compilerSynchLock;
  std::condition_variable _noSaveWaits;  // with _compilerSynchLock
  std::atomic<int> _savesWaiting{0};     // no compile begins while it is not 0
  std::atomic<int> _terminations{0};     // how often the application was about to terminate
  platform::Observation _termination;
};
