// From a composition file to a running composition, and back to nothing.
#include <chrono>

#include "Brannow/VuoCache.h"
#include "platform/system/Dispatch.h"
#include "platform/system/FileSystem.h"
#include "platform/system/SystemLog.h"
#include "scene/Guarded.h"
#include "scene/RunnerContact.h"
#include "scene/VuoGLSceneState.h"
#include "scene/ZQVuoRunnerDelegate.h"

using platform::systemLog;

namespace {

constexpr std::chrono::nanoseconds kDelay{10'000};
constexpr const char* kAvailableName = "-[VuoGLScene _cachedItemAvailable:]";
constexpr const char* kLostName = "-[VuoGLScene runnerDelegateLostContactWithComposition]";
constexpr const char* kTearDownName = "+[VuoGLScene _tearDown:]";
constexpr const char* kLoadException = "\t\terr: caught exception trying to load .vuo comp! %s";

std::optional<std::string> logText(const VuoCacheItem::Text& text) {
  return text ? std::optional(*text) : std::nullopt;
}

std::shared_ptr<VuoRunner> makeRunner(const std::string& artefact, const std::string& folder,
                                      bool newProcess, std::optional<std::string>& fault) {
  std::shared_ptr<VuoRunner> runner;
  fault = faultOf(
      kAvailableName,
      [&] {
        runner.reset(
            newProcess
                ? VuoRunner::newSeparateProcessRunnerFromExecutable(artefact, folder, false, false)
                : VuoRunner::newCurrentProcessRunnerFromDynamicLibrary(artefact, folder, false));
      },
      kLoadException);
  return runner;
}

/// Why the cache gave no record.
std::string whyNotFetched(const std::string& path) {
  if (!VuoCache::globalCache()) return "No cache is configured.";
  if (const auto failure = VuoCache::compileFailureForVuoFile(path)) return *failure;
  if (!platform::itemExists(path)) return "There is no file " + path + ".";
  return "The composition could not be compiled.";
}

VuoSceneStatus failedStatus(const std::optional<std::string>& path, std::string why) {
  return {VuoSceneStatus::State::Failed, path, std::move(why)};
}

}  // namespace

/// A runner with what belongs to it: its bridge to the scene, the scene as it knows it, and the
/// record of what it runs. The runner is destroyed first: it may call its bridge until then.
struct VuoGLScene::State::Running {
  std::shared_ptr<VuoCacheItem> item;
  std::shared_ptr<RunnerContact> contact;
  std::shared_ptr<VuoRunnerDelegate> bridge;
  std::shared_ptr<VuoRunner> runner;
  bool newProcess = true;
};

/// What a load asks the cache for.
struct VuoGLScene::State::Request {
  std::string path;
  bool async = false, newProcess = true;
  std::uint64_t load = 0;  ///< its number
  bool isSecond = false;   ///< what came first can't be run
};

void VuoGLScene::useFile(const Path& path) {
  useFile(path, false);
}

void VuoGLScene::useFile(const Path& path, bool async) {
  constexpr const char* kName = "-[VuoGLScene useFile:async:]";
  std::uint64_t load = 0;
  const auto fault = faultOf(kName, [&] {
    _state->_useFile(
        path, async,
        path ? VuoSceneStatus{VuoSceneStatus::State::Loading, path, ""} : VuoSceneStatus{}, load);
  });
  if (fault) guarded(kName, [&] { _state->_failToLoad(path, load, *fault); });
}

/// The load of that number has come to nothing, or has not even begun where there is none: there
/// was no memory for it.
void VuoGLScene::State::_failToLoad(const Path& path, std::uint64_t load,
                                    const std::string& fault) {
  Running begun;
  {
    platform::LockGuard hold(runnerLock);
    if (load != 0 && runnerContact && runnerContact->load == load) begun = _takeOutRunnerLocked();
    platform::LockGuard holdProperties(propLock);
    if (load == 0) load = loads;
  }
  _discard(std::move(begun));
  _setStatus(failedStatus(path, fault), load);
}

void VuoGLScene::State::_useFile(const Path& path, bool async, VuoSceneStatus statusMeanwhile,
                                 std::uint64_t& load) {
  if (deleted) return;
  load = _setFile(path);
  if (load == 0) return;
  _setStatus(std::move(statusMeanwhile), load);
  Running old = _takeOutRunner(load);
  const bool newProcess = old.newProcess;
  _discard(std::move(old));
  if (path) _fetch({*path, async, newProcess, load});
}

void VuoGLScene::State::_fetch(const Request& request) {
  const auto& [path, async, newProcess, load, isSecond] = request;
  if (async) {
    auto completion = [weak = scene.weak_from_this(), request](VuoCache::Item item) {
      const auto alive = weak.lock();
      if (!alive) return;
      const auto fault =
          faultOf(kAvailableName, [&] { alive->_state->_itemFetched(item, request); });
      if (fault)
        guarded(kAvailableName,
                [&] { alive->_state->_failToLoad(request.path, request.load, *fault); });
    };
    newProcess ? VuoCache::fetchCachedExeForVuoFile(path, completion)
               : VuoCache::fetchCachedDylibForVuoFile(path, completion);
    if (!VuoCache::globalCache()) _itemFetched(nullptr, request);  // no completion will come
  } else {
    _itemFetched(newProcess ? VuoCache::fetchCachedExeForVuoFileSynchronously(path)
                            : VuoCache::fetchCachedDylibForVuoFileSynchronously(path),
                 request);
  }
}

void VuoGLScene::State::_itemFetched(const std::shared_ptr<VuoCacheItem>& item,
                                     const Request& request) {
  if (!item) {
    auto compile = VuoCache::lastCompileForVuoFile(request.path);
    _noteFiles(compile ? std::move(compile->files) : std::vector<std::string>(), request);
    _setStatus(failedStatus(request.path, whyNotFetched(request.path)), request.load);
  } else if (_mustCompileAgain(item, request)) {
    VuoCache::discardCachedItem(item);
    Request second = request;
    second.isSecond = true;
    _fetch(second);
  } else {
    _cachedItemAvailable(item);
  }
}

/// Whether this load wants an artefact that is missing, damaged or made from files that are others
/// by now, and has not had it compiled yet.
bool VuoGLScene::State::_mustCompileAgain(const std::shared_ptr<VuoCacheItem>& item,
                                          const Request& request) {
  const auto artefact = request.newProcess ? item->cachedExePath() : item->cachedDylibPath();
  if (!artefact) return false;
  auto [canRun, files] =
      VuoRunner::artefactAt(*artefact, platform::deletingLastPathComponent(request.path));
  return _noteFiles(std::move(files), request) && !canRun && !request.isSecond;
}

/// False for a load that another one has overtaken.
bool VuoGLScene::State::_noteFiles(std::vector<std::string> named, const Request& request) {
  named.insert(named.begin(), request.path);
  std::shared_ptr<const std::vector<std::string>> files =
      std::make_shared<const std::vector<std::string>>(std::move(named));
  platform::LockGuard hold(propLock);
  if (loads != request.load) return false;
  sourceFiles.swap(files);
  return true;
}

/// Replaces description, path and load time as one step, and numbers the load. 0, with nothing
/// done, when the scene was deleted meanwhile, or another load is the last one than that to be
/// replaced.
std::uint64_t VuoGLScene::State::_setFile(const Path& path,
                                          std::optional<std::uint64_t> insteadOf) {
  Path file = path;
  std::shared_ptr<ZQVuoComposition> read;  // then the former one, which goes after the lock
  platform::LockGuard hold(propLock);
  if (deleted && path) return 0;
  if (insteadOf && *insteadOf != loads) return 0;
  const auto date = path ? std::optional(std::chrono::system_clock::now()) : std::nullopt;
  read = ZQVuoComposition::initWithPath(path);
  if (path && !read) throw std::bad_alloc();
  comp.swap(read);
  filePath.swap(file);
  loadDate = date;
  return ++loads;
}

/// Leaves a runner alone that a later load has installed meanwhile.
VuoGLScene::State::Running VuoGLScene::State::_takeOutRunner(std::uint64_t load) {
  platform::LockGuard hold(runnerLock);
  if (!runnerContact || runnerContact->load < load) return _takeOutRunnerLocked();
  Running none;
  none.newProcess = runnerNewProcess;
  return none;
}

VuoGLScene::State::Running VuoGLScene::State::_takeOutRunnerLocked() {
  return {std::exchange(runnerCacheItem, nullptr), std::exchange(runnerContact, nullptr),
          std::exchange(runnerDelegate, nullptr), std::exchange(runner, nullptr), runnerNewProcess};
}

/// Stopping a runner may take long: it happens on the concurrent queue, with nothing of the scene.
void VuoGLScene::State::_discard(Running running) {
  if (!running.runner && !running.bridge) return;
  std::shared_ptr<Running> last;
  const auto tearDownLater = [&] {
    last = std::make_shared<Running>(std::move(running));
    platform::globalConcurrentQueue().after(kDelay,
                                            [last] { _tearDown(std::move(*last), kTearDownName); });
  };
  // Without memory for that, here and now.
  if (!guarded(kTearDownName, tearDownLater))
    _tearDown(std::move(last ? *last : running), kTearDownName);
}

void VuoGLScene::State::_tearDown(Running running, const char* operation) {
  if (running.runner) {
    guarded(operation, [&] {
      running.runner->setDelegate(nullptr);
      running.runner->stop();
      running.runner->waitUntilStopped();
    });
  }
  running.runner.reset();
  running.bridge.reset();
  running.contact.reset();
  if (running.item) running.item->returnToCache();
}

/// Deletion is one step for a load that is about to install its runner: under `runnerLock` it sees
/// either a scene that is alive or one whose runner has been taken out for good.
void VuoGLScene::State::_unloadForGood() {
  Running old;
  {
    platform::LockGuard hold(runnerLock);
    deleted = true;
    old = _takeOutRunnerLocked();
  }
  _setStatus({}, _setFile(std::nullopt));
  _discard(std::move(old));
}

void VuoGLScene::State::_cachedItemAvailable(const std::shared_ptr<VuoCacheItem>& item) {
  if (!item || deleted) return;
  Path file;
  std::uint64_t load;
  {
    platform::LockGuard hold(propLock);
    file = filePath;
    load = loads;
  }
  if (!file) {
    systemLog("\t\terr: the file i should be using is nil, %s", {kAvailableName});
    return;
  }

  bool alreadyRunning, newProcess;
  VuoCacheItem::Text source, artefact;
  {
    platform::LockGuard hold(runnerLock);
    alreadyRunning = runner != nullptr;
    newProcess = runnerNewProcess;
    source = item->vuoFilePath();
    artefact = newProcess ? item->cachedExePath() : item->cachedDylibPath();
  }
  if (alreadyRunning) {
    systemLog("\t\terr: runner already exists, %@. src is %@, should be loading %@.  %s",
              {logText(artefact), logText(source), *file, kAvailableName});
    return;
  }
  if (!source || !artefact || *source != *file) {
    systemLog("\t\terr: problem with cached path, %@. src is %@, should be loading %@.  %s",
              {logText(artefact), logText(source), *file, kAvailableName});
    if (source && *source == *file)
      _setStatus(failedStatus(*file, "The mode was changed while the composition was compiled."),
                 load);
    return;
  }

  std::optional<std::string> fault;
  Running running = _startRunner(item, *artefact, *source, newProcess, load, fault);
  runnerOutValPortNames.lockRemoveAllObjects();
  runnerOutEventPortNames.lockRemoveAllObjects();
  const auto contact = running.contact;
  if (_install(running, *source)) {
    if (fault)
      _setStatus(failedStatus(*file, *fault), load);
    else if (contact)
      contact->installed();
    _applySize();
    return;
  }
  systemLog("\t\terr: something went wrong, cached path was %@, %s", {*artefact, kAvailableName});
  _tearDown(std::move(running), kAvailableName);
}

/// A runner whose bridge or start raised something is handed on all the same.
VuoGLScene::State::Running VuoGLScene::State::_startRunner(
    const std::shared_ptr<VuoCacheItem>& item, const std::string& artefact,
    const std::string& source, bool newProcess, std::uint64_t load,
    std::optional<std::string>& fault) {
  Running running;
  running.item = item;
  running.runner =
      makeRunner(artefact, platform::deletingLastPathComponent(source), newProcess, fault);
  if (!running.runner) return running;
  running.contact =
      std::make_shared<RunnerContact>(scene.weak_from_this(), running.runner, load, source);
  fault = faultOf(
      kAvailableName,
      [&] {
        running.runner->setWatcher(running.contact);
        running.runner->setPatience(scene.eventPatience());
        running.bridge = std::make_shared<ZQVuoRunnerDelegate>(running.contact);
        running.runner->setDelegate(running.bridge.get());
        running.runner->start();
      },
      kLoadException);
  return running;
}

/// Refuses when the scene was deleted, was pointed at another file, or got a runner from another
/// load while this one was starting, and when this one is lost already.
bool VuoGLScene::State::_install(Running& running, const std::string& source) {
  std::shared_ptr<VuoCacheItem> old;  // given up after the lock is released
  platform::LockGuard hold(runnerLock);
  old = std::exchange(runnerCacheItem, running.item);
  if (deleted || runner) return false;
  if (running.contact) {
    if (running.contact->lost) return false;
    platform::LockGuard holdProperties(propLock);
    if (filePath != source) return false;
    running.contact->load = loads;  // another load of the same file is served as well
  }
  runner = std::move(running.runner);
  runnerDelegate = std::move(running.bridge);
  runnerContact = std::move(running.contact);
  return true;
}

/// Unloads the scene when the runner is the one of its current file; of any other the load that
/// came after it takes care.
void VuoGLScene::State::_lostContactWith(RunnerContact& contact) {
  if (deleted) return;
  // What needs memory comes first: nothing has been done when there is none.
  const Path path = scene.filePath();
  VuoSceneStatus lostStatus{
      contact.hasComeUp() ? VuoSceneStatus::State::Lost : VuoSceneStatus::State::Failed, path,
      contact.lossDescription()};
  std::uint64_t load;
  Running lost;
  {
    platform::LockGuard hold(runnerLock);
    contact.lost = true;
    load = _setFile(std::nullopt, contact.load);
    if (load == 0) return;
    lost = _takeOutRunnerLocked();
    // Already here, since who asks for a frame and finds no runner is to be told why.
    guarded(kLostName, [&] { _setStatus(lostStatus, load); });
  }
  _discard(std::move(lost));
  guarded(kLostName, [&] { _logLostContact(path); });
  _setStatus(std::move(lostStatus), load);
}
