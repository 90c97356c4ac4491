// What a scene holds: its fields with their locks, and the steps that its operations are made of.
//
// What the steps do lies in the file of their operation: the life and the status in VuoGLScene.cpp,
// a load in VuoGLSceneLoading.cpp, frames in VuoGLSceneRendering.cpp and, by request, in
// VuoGLSceneFrames.cpp, images in VuoGLSceneValues.cpp, the size in VuoGLSceneSize.cpp.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "Brannow/VuoCacheItem.h"
#include "Brannow/VuoGLScene.h"
#include "platform/hostbase/MutLockArray.h"
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
  void _unloadForGood();
  void _setStatus(VuoSceneStatus newStatus, std::uint64_t load);
  void _tellStatus();

  // --- a load: the file, the cache's answer, the runner; and how a runner goes

  /// Tells the number of the load as soon as there is one.
  void _useFile(const Path& path, bool async, VuoSceneStatus statusMeanwhile, std::uint64_t& load);
  void _failToLoad(const Path& path, std::uint64_t load, const std::string& fault);
  std::uint64_t _setFile(const Path& path, std::optional<std::uint64_t> insteadOf = {});
  void _fetch(const Request& request);
  void _itemFetched(const std::shared_ptr<VuoCacheItem>& item, const Request& request);
  bool _mustCompileAgain(const std::shared_ptr<VuoCacheItem>& item, const Request& request);
  void _cachedItemAvailable(const std::shared_ptr<VuoCacheItem>& item);
  Running _startRunner(const std::shared_ptr<VuoCacheItem>& item, const std::string& artefact,
                       const std::string& source, bool newProcess, std::uint64_t load,
                       std::optional<std::string>& fault);
  bool _install(Running& running, const std::string& source);
  Running _takeOutRunner(std::uint64_t load);
  Running _takeOutRunnerLocked();
  static void _discard(Running running);
  static void _tearDown(Running running, const char* operation);
  void _lostContactWith(RunnerContact& contact);
  static void _logLostContact(const Path& path);

  // --- the size

  void _applySize();

  // --- a frame: the time, a filter's picture, the wait

  std::shared_ptr<ZQVuoComposition> _compositionToRender(const char* operation) const;
  bool _pushTime(const ZQVuoComposition& composition);
  double _secondsSinceLoad() const;
  void _pushFrame(const ZQVuoComposition& composition, ZQBuffer& frame);
  bool _waitForOutput(const Key& key, std::chrono::milliseconds longest, const char* operation);
  VuoImage _vuoImageForBuffer(ZQBuffer& buffer);
  void _pushVuoImage(VuoImage image, VuoRunner::Port* toRunnerPort);

  // --- a frame by request

  static const std::shared_ptr<VuoPendingFrame>& _nothingAsked;
  void _store(const VuoFrameRequest& request, AskedFrame& frame);
  VuoFrame _whyUnasked(const std::string& fault) const;
  VuoFrame _answered(const AskedFrame& frame) const;
  VuoFrame _late(const AskedFrame& frame) const;

  // --- the fields

  VuoGLScene& scene;  ///< the one whose state this is

  /// Set once and never cleared; set under `runnerLock` so that no runner is installed afterwards.
  std::atomic<bool> deleted{false};

  // Lock order: `runnerLock`, then `propLock`. A section under `propLock` takes no other lock.

  // Guards the fields from here to `runnerLock`.
  mutable platform::SpinLock propLock;
  std::shared_ptr<ZQVuoComposition> comp;  // comp, filePath and loadDate change together
  std::optional<std::string> filePath;
  ZQSize size;
  VuoGLSceneDelegate* delegate = nullptr;
  std::optional<std::chrono::system_clock::time_point> loadDate;
  std::uint64_t loads = 0;  // so far; tells the answer to the last one from earlier ones

  // Guards the fields from here to the name lists and is held around every call into the runner.
  // Never held while a runner is created, started, stopped or destroyed. Not recursive.
  mutable std::mutex runnerLock;
  std::shared_ptr<VuoCacheItem> runnerCacheItem;
  bool runnerNewProcess = true;
  Patience eventPatience = VuoRunner::defaultPatience;
  std::shared_ptr<VuoRunner> runner;  // it, runnerDelegate and runnerContact come and go together
  std::shared_ptr<VuoRunnerDelegate> runnerDelegate;
  std::shared_ptr<RunnerContact> runnerContact;
  std::uint64_t frameRequests = 0;  // so far; numbers them in the order of their events

  // Each list has its own lock, held for one look or one change; nothing is taken under it.
  MutLockArray<std::string> runnerOutValPortNames;
  MutLockArray<std::string> runnerOutEventPortNames;

  // Wakes frame calls when a name is added to `runnerOutValPortNames`. The list's lock is taken
  // under `outValReportLock`, never the other way round.
  std::mutex outValReportLock;
  std::condition_variable outValReported;
  std::atomic<std::uint64_t> outValReports{0};  // so far; for frame calls that stay awake
  StayAwake stayAwake;

  // Guards the fields from here to `statusHandler`; nothing is taken under it.
  mutable std::mutex statusLock;
  VuoSceneStatus status;
  std::uint64_t statusLoad = 0;  // the load that it is about; never goes back to an earlier one
  // One for each task on the main queue that tells one; none where nobody wanted to be told.
  std::deque<std::optional<VuoSceneStatus>> statusesToTell;
  std::shared_ptr<const StatusHandler> statusHandler;

  platform::Observation termination;
};
