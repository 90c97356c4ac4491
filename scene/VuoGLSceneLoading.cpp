// From a composition file to a running composition, and back to nothing.
#include <chrono>

#include "Brannow/VuoCache.h"
#include "platform/system/Dispatch.h"
#include "platform/system/FileSystem.h"
#include "platform/system/SystemLog.h"
#include "scene/Guarded.h"
#include "scene/VuoGLSceneState.h"
#include "scene/ZQVuoRunnerDelegate.h"

using platform::systemLog;

namespace {

constexpr std::chrono::nanoseconds kDelay{10'000};
constexpr const char* kAvailableName = "-[VuoGLScene _cachedItemAvailable:]";
constexpr const char* kTearDownName = "+[VuoGLScene _tearDown:]";
constexpr const char* kLoadException = "\t\terr: caught exception trying to load .vuo comp! %s";

std::optional<std::string> logText(const VuoCacheItem::Text& text) {
  return text ? std::optional(*text) : std::nullopt;
}

std::shared_ptr<VuoRunner> makeRunner(const std::string& artefact, const std::string& folder,
                                      bool newProcess) {
  std::shared_ptr<VuoRunner> runner;
  guarded(
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

}  // namespace

/// A runner with what belongs to it: its bridge to the scene and the record of what it runs.
/// The runner is destroyed first: it may call its bridge until then.
struct VuoGLScene::Running {
  std::shared_ptr<VuoCacheItem> item;
  std::shared_ptr<VuoRunnerDelegate> bridge;
  std::shared_ptr<VuoRunner> runner;
  bool newProcess = true;
};

void VuoGLScene::useFile(const Path& path) {
  useFile(path, false);
}

void VuoGLScene::useFile(const Path& path, bool async) {
  if (_state->deleted) return;
  if (!_setFile(path)) return;
  Running old = _takeOutRunner();
  const bool newProcess = old.newProcess;
  _discard(std::move(old));
  if (!path) return;

  if (async) {
    auto completion = [weak = weak_from_this()](VuoCache::Item item) {
      if (const auto scene = weak.lock()) scene->_cachedItemAvailable(item);
    };
    newProcess ? VuoCache::fetchCachedExeForVuoFile(path, completion)
               : VuoCache::fetchCachedDylibForVuoFile(path, completion);
  } else {
    const auto item = newProcess ? VuoCache::fetchCachedExeForVuoFileSynchronously(path)
                                 : VuoCache::fetchCachedDylibForVuoFileSynchronously(path);
    if (item) _cachedItemAvailable(item);
  }
}

/// Replaces description, path and load time as one step; false when the scene was deleted
/// meanwhile.
bool VuoGLScene::_setFile(const Path& path) {
  std::shared_ptr<ZQVuoComposition> old;  // destroyed after the lock is released
  std::lock_guard hold(_state->propLock);
  if (_state->deleted && path) return false;
  old = std::move(_state->comp);
  _state->filePath = path;
  _state->loadDate = path ? std::optional(std::chrono::system_clock::now()) : std::nullopt;
  _state->comp = ZQVuoComposition::initWithPath(path);
  return true;
}

VuoGLScene::Running VuoGLScene::_takeOutRunner() {
  std::lock_guard hold(_state->runnerLock);
  return _takeOutRunnerLocked();
}

/// The caller holds `runnerLock`.
VuoGLScene::Running VuoGLScene::_takeOutRunnerLocked() {
  return {std::exchange(_state->runnerCacheItem, nullptr),
          std::exchange(_state->runnerDelegate, nullptr), std::exchange(_state->runner, nullptr),
          _state->runnerNewProcess};
}

/// Stopping a runner may take long: it happens on the concurrent queue, with nothing of the scene.
void VuoGLScene::_discard(Running running) {
  if (!running.runner && !running.bridge) return;
  platform::globalConcurrentQueue().after(kDelay, [running = std::move(running)]() mutable {
    _tearDown(std::move(running), kTearDownName);
  });
}

void VuoGLScene::_tearDown(Running running, const char* operation) {
  if (running.runner) {
    guarded(operation, [&] {
      running.runner->setDelegate(nullptr);
      running.runner->stop();
      running.runner->waitUntilStopped();
    });
  }
  running.runner.reset();
  running.bridge.reset();
  if (running.item) running.item->returnToCache();
}

/// Deletion is one step for a load that is about to install its runner: under `runnerLock` it sees
/// either a scene that is alive or one whose runner has been taken out for good.
void VuoGLScene::_unloadForGood() {
  Running old;
  {
    std::lock_guard hold(_state->runnerLock);
    _state->deleted = true;
    old = _takeOutRunnerLocked();
  }
  _setFile(std::nullopt);
  _discard(std::move(old));
}

void VuoGLScene::_cachedItemAvailable(const std::shared_ptr<VuoCacheItem>& item) {
  if (!item || _state->deleted) return;
  const Path file = filePath();
  if (!file) {
    systemLog("\t\terr: the file i should be using is nil, %s", {kAvailableName});
    return;
  }

  bool alreadyRunning, newProcess;
  VuoCacheItem::Text source, artefact;
  {
    std::lock_guard hold(_state->runnerLock);
    alreadyRunning = _state->runner != nullptr;
    newProcess = _state->runnerNewProcess;
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
    return;
  }

  Running running = _startRunner(item, *artefact, *source, newProcess);
  _state->runnerOutValPortNames.lockRemoveAllObjects();
  _state->runnerOutEventPortNames.lockRemoveAllObjects();
  if (_install(running, *source)) {
    _applySize();
    return;
  }
  systemLog("\t\terr: something went wrong, cached path was %@, %s", {*artefact, kAvailableName});
  _tearDown(std::move(running), kAvailableName);
}

/// A runner whose bridge or start raised something is handed on all the same.
VuoGLScene::Running VuoGLScene::_startRunner(const std::shared_ptr<VuoCacheItem>& item,
                                             const std::string& artefact, const std::string& source,
                                             bool newProcess) {
  Running running;
  running.item = item;
  running.runner = makeRunner(artefact, platform::deletingLastPathComponent(source), newProcess);
  if (!running.runner) return running;
  guarded(
      kAvailableName,
      [&] {
        running.bridge = std::make_shared<ZQVuoRunnerDelegate>(shared_from_this());
        running.runner->setDelegate(running.bridge.get());
        running.runner->start();
      },
      kLoadException);
  return running;
}

/// Refuses when the scene was deleted, was pointed at another file, or got a runner from another
/// load while this one was starting.
bool VuoGLScene::_install(Running& running, const std::string& source) {
  std::shared_ptr<VuoCacheItem> old;  // given up after the lock is released
  std::lock_guard hold(_state->runnerLock);
  old = std::exchange(_state->runnerCacheItem, running.item);
  if (_state->deleted || _state->runner || filePath() != source) return false;
  _state->runner = std::move(running.runner);
  _state->runnerDelegate = std::move(running.bridge);
  return true;
}
