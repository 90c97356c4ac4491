// The process-wide cache of compiled compositions.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Brannow/BrannowExport.h"
#include "Brannow/VuoCacheItem.h"

/// A composition is compiled once per modification of its file and per kind of artefact: a dynamic
/// library to run inside this process, an executable to run in a process of its own.
///
/// The host uses the class operations, which work on the one global cache. Without one they log
/// and return false, none or nothing; the two queued fetches then never call their completion.
/// Configuring and clearing must not run at the same time as any other call; the others may be
/// called from any thread.
class BRANNOW_API VuoCache {
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

  /// Whether a fetch would be served without compiling: by the composition's own date. A scene also
  /// compiles where a shader or picture has changed. Never waits for a compile.
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

  /// What came of a compile.
  struct Compile {
    std::chrono::steady_clock::time_point began;
    std::chrono::nanoseconds took{};     ///< with the wait for its turn
    std::optional<std::string> failure;  ///< the text that its alert shows; none on success
    /// The shaders and pictures that the composition names, each as its folder and the name, also
    /// those that are missing. As far as the compile came.
    std::vector<std::string> files;
  };
  /// The last compile of the composition since the cache was made; none when there was none.
  static std::optional<Compile> lastCompileForVuoFile(const std::string& path);

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
  void setSavePath(std::string path);
  const Path& savePath() const;
  /// The file name of executables that are linked from now on. An absent or empty name is ignored;
  /// one that is no plain file name or is the library's own is refused with a log line. Must not
  /// change while a compile may be running.
  void setExecutableName(const Path& name);

 private:
  struct State;
  // Work that is queued on the cache keeps it, also when the cache itself has gone.
  const std::shared_ptr<State> _state;
};
