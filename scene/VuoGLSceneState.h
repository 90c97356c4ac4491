// What a scene holds.
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

#include "Brannow/VuoGLScene.h"
#include "platform/hostbase/MutLockArray.h"
#include "platform/system/Notifications.h"
#include "platform/system/SpinLock.h"
#include "runtime/VuoRunner.h"
#include "runtime/VuoRunnerDelegate.h"
#include "scene/RunnerContact.h"
#include "scene/StayAwake.h"

struct VuoGLScene::State {
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
  std::shared_ptr<const VuoGLScene::StatusHandler> statusHandler;

  platform::Observation termination;
};
