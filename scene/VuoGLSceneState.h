// What a scene holds: its fields with their locks, and the steps that its operations are made of.
//
// What the steps do lies in the file of their operation: the life and the status in VuoGLScene.cpp,
// a load in VuoGLSceneLoading.cpp, frames in VuoGLSceneRendering.cpp and, by request, in
// VuoGLSceneFrames.cpp, images in VuoGLSceneValues.cpp, the size in VuoGLSceneSize.cpp.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Brannow/VuoCacheItem.h"
#include "Brannow/VuoGLScene.h"
#include "platform/hostbase/MutLockArray.h"
#include "platform/system/Mutex.h"
#include "platform/system/Notifications.h"
#include "platform/system/SpinLock.h"
#include "runtime/VuoImage.h"
#include "runtime/VuoRunner.h"
#include "runtime/VuoRunnerDelegate.h"
#include "scene/StayAwake.h"

struct VuoGLScene::State {
  class RunnerContact;
  struct Running;
  struct Request;
  class AskedFrame;

  State(VuoGLScene& itsScene, ZQSize itsSize) : scene(itsScene), size(itsSize) {}

  // --- life and status

  void appTerminateNotification();
  void _unloadForGood() EXCLUDES(runnerLock);
  void _setStatus(VuoSceneStatus newStatus, std::uint64_t load) EXCLUDES(statusLock);
  void _setRunning(std::uint64_t load) EXCLUDES(statusLock);
  void _noteStatusToTell() EXCLUDES(statusLock);
  void _tellStatusSoon();
  void _tellStatus() EXCLUDES(statusLock);

  // --- a load: the file, the cache's answer, the runner; and how a runner goes

  /// Tells the number of the load as soon as there is one.
  void _useFile(const Path& path, bool async, VuoSceneStatus statusMeanwhile, std::uint64_t& load)
      EXCLUDES(runnerLock, propLock);
  void _failToLoad(const Path& path, std::uint64_t load, const std::string& fault)
      EXCLUDES(runnerLock, propLock);
  std::uint64_t _setFile(const Path& path, std::optional<std::uint64_t> insteadOf = {})
      EXCLUDES(propLock);
  void _fetch(const Request& request) EXCLUDES(runnerLock, propLock);
  void _itemFetched(const std::shared_ptr<VuoCacheItem>& item, const Request& request);
  bool _mustCompileAgain(const std::shared_ptr<VuoCacheItem>& item, const Request& request);
  bool _noteFiles(std::vector<std::string> named, const Request& request) EXCLUDES(propLock);
  void _cachedItemAvailable(const std::shared_ptr<VuoCacheItem>& item);
  Running _startRunner(const std::shared_ptr<VuoCacheItem>& item, const std::string& artefact,
                       const std::string& source, bool newProcess, std::uint64_t load,
                       std::optional<std::string>& fault) EXCLUDES(runnerLock, propLock);
  bool _install(Running& running, const std::string& source) EXCLUDES(runnerLock, propLock);
  Running _takeOutRunner(std::uint64_t load) EXCLUDES(runnerLock);
  Running _takeOutRunnerLocked() REQUIRES(runnerLock);
  static void _discard(Running running);
  static void _tearDown(Running running, const char* operation);
  void _lostContactWith(RunnerContact& contact) EXCLUDES(runnerLock);
  static void _logLostContact(const Path& path);

  // --- the size

  void _applySize() EXCLUDES(runnerLock, propLock);

  // --- a frame: the time, a filter's picture, the wait

  std::shared_ptr<ZQVuoComposition> _compositionToRender(const char* operation) const;
  bool _pushTime(const ZQVuoComposition& composition) REQUIRES(runnerLock);
  double _secondsSinceLoad() const EXCLUDES(propLock);
  void _pushFrame(const ZQVuoComposition& composition, ZQBuffer& frame) REQUIRES(runnerLock);
  bool _waitForOutput(const Key& key, std::chrono::milliseconds longest, const char* operation)
      EXCLUDES(runnerLock, propLock, outValReportLock);
  VuoImage _vuoImageForBuffer(ZQBuffer& buffer);
  void _pushVuoImage(VuoImage image, VuoRunner::Port* toRunnerPort) REQUIRES(runnerLock);

  // --- a frame by request

  static const std::shared_ptr<VuoPendingFrame>& _nothingAsked;
  void _store(const VuoFrameRequest& request, AskedFrame& frame) REQUIRES(runnerLock);
  VuoFrame _whyUnasked(const std::string& fault) const REQUIRES(runnerLock);
  VuoFrame _answered(const AskedFrame& frame) const;
  VuoFrame _late(const AskedFrame& frame) const EXCLUDES(runnerLock);

  // --- the fields

  VuoGLScene& scene;  ///< the one whose state this is

  /// Set once and never cleared; set under `runnerLock` so that no runner is installed afterwards.
  std::atomic<bool> deleted{false};

  // A section under this takes no other lock.
  mutable platform::SpinLock propLock;
  // comp, filePath and loadDate change together.
  std::shared_ptr<ZQVuoComposition> comp GUARDED_BY(propLock);
  std::optional<std::string> filePath GUARDED_BY(propLock);
  // The composition and what the last load found it to name; stays when it is unloaded.
  std::shared_ptr<const std::vector<std::string>> sourceFiles GUARDED_BY(propLock);
  ZQSize size GUARDED_BY(propLock);
  VuoGLSceneDelegate* delegate GUARDED_BY(propLock) = nullptr;
  std::optional<std::chrono::system_clock::time_point> loadDate GUARDED_BY(propLock);
  // So far; tells the answer to the last one from earlier ones.
  std::uint64_t loads GUARDED_BY(propLock) = 0;

  // Held around every call into the runner. Never held while a runner is created, started, stopped
  // or destroyed. Not recursive.
  mutable platform::Mutex runnerLock ACQUIRED_BEFORE(propLock);
  std::shared_ptr<VuoCacheItem> runnerCacheItem GUARDED_BY(runnerLock);
  bool runnerNewProcess GUARDED_BY(runnerLock) = true;
  Patience eventPatience GUARDED_BY(runnerLock) = VuoRunner::defaultPatience;
  // It, runnerDelegate and runnerContact come and go together.
  std::shared_ptr<VuoRunner> runner GUARDED_BY(runnerLock);
  std::shared_ptr<VuoRunnerDelegate> runnerDelegate GUARDED_BY(runnerLock);
  std::shared_ptr<RunnerContact> runnerContact GUARDED_BY(runnerLock);
  // So far; numbers them in the order of their events.
  std::uint64_t frameRequests GUARDED_BY(runnerLock) = 0;

  // Each list has its own lock, held for one look or one change; nothing is taken under it.
  MutLockArray<std::string> runnerOutValPortNames;
  MutLockArray<std::string> runnerOutEventPortNames;

  // Wakes frame calls when a name is added to `runnerOutValPortNames`. The list's lock is taken
  // under `outValReportLock`, never the other way round.
  platform::Mutex outValReportLock;
  platform::ConditionVariable outValReported;
  std::atomic<std::uint64_t> outValReports{0};  // so far; for frame calls that stay awake
  StayAwake stayAwake;

  // Nothing is taken under it.
  mutable platform::Mutex statusLock;
  VuoSceneStatus status GUARDED_BY(statusLock);
  // The load that it is about; never goes back to an earlier one.
  std::uint64_t statusLoad GUARDED_BY(statusLock) = 0;
  // One for each task on the main queue that tells one; none where nobody wanted to be told.
  std::deque<std::optional<VuoSceneStatus>> statusesToTell GUARDED_BY(statusLock);
  std::shared_ptr<const StatusHandler> statusHandler GUARDED_BY(statusLock);

  platform::Observation termination;
};
