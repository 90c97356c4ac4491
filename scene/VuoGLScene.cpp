// A scene's creation, its end, and its plain properties.
#include "Brannow/VuoGLScene.h"

#include "bridging/SharedPoolTextures.h"
#include "platform/system/Dispatch.h"
#include "platform/system/LockedValues.h"
#include "platform/system/SystemLog.h"
#include "runtime/VuoGlContext.h"
#include "runtime/VuoSharing.h"
#include "scene/GlobalContext.h"
#include "scene/Guarded.h"
#include "scene/RunnerContact.h"
#include "scene/VuoGLSceneState.h"

namespace {

struct OfProcess {
  platform::GLContextHandle context;
};
platform::LockedValues<OfProcess> ofProcess;

}  // namespace

platform::GLContextHandle globalContextHandle() {
  return ofProcess.read(&OfProcess::context);
}

void VuoGLScene::setGlobalVuoGLContext(const std::shared_ptr<platform::GLContext>& context) {
  if (!context) return;
  ofProcess.write(&OfProcess::context, context->handle());
  guarded("+[VuoGLScene setGlobalVuoGLContext:]",
          [&] { VuoGlContext_setGlobalRootContext(context->handle()); });
  guarded("+[VuoGLScene setGlobalVuoGLContext:]", shareTexturesOfPools);
}

std::string VuoGLScene::processPicturesDescription() {
  return VuoSharing_description();
}

std::shared_ptr<VuoGLScene> VuoGLScene::initWithSize(double width, double height) try {
  if (!(width >= 1.0 && height >= 1.0)) {
    platform::systemLog("\t\terr: %s - BAIL", {"-[VuoGLScene initWithSize:]"});
    return nullptr;
  }
  std::shared_ptr<VuoGLScene> scene(new VuoGLScene(width, height));
  scene->_state->termination = platform::observeNotification(
      platform::NSApplicationWillTerminateNotification, [weak = std::weak_ptr(scene)] {
        if (const auto alive = weak.lock()) alive->_state->appTerminateNotification();
      });
  return scene;
} catch (const std::bad_alloc&) {
  return nullptr;
}

VuoGLScene::VuoGLScene(double width, double height)
    : _state(std::make_unique<State>(*this, ZQSize{width, height})) {}

VuoGLScene::~VuoGLScene() {
  if (!_state->deleted) prepareToBeDeleted();
}

void VuoGLScene::prepareToBeDeleted() {
  if (_state->deleted) return;
  guarded("-[VuoGLScene prepareToBeDeleted]", [&] { _state->_unloadForGood(); });
}

void VuoGLScene::State::appTerminateNotification() {
  scene.useFile(std::nullopt);
}

std::shared_ptr<ZQVuoComposition> VuoGLScene::comp() const {
  platform::LockGuard hold(_state->propLock);
  return _state->comp;
}

std::vector<std::string> VuoGLScene::sourceFiles() const try {
  std::shared_ptr<const std::vector<std::string>> files;
  {
    platform::LockGuard hold(_state->propLock);
    files = _state->sourceFiles;
  }
  return files ? *files : std::vector<std::string>();
} catch (const std::bad_alloc&) {
  return {};
}

VuoGLScene::Path VuoGLScene::filePath() const try {
  if (_state->deleted) return std::nullopt;
  platform::LockGuard hold(_state->propLock);
  return _state->filePath;
} catch (const std::bad_alloc&) {
  return std::nullopt;
}

bool VuoGLScene::runnerNewProcess() const {
  platform::LockGuard hold(_state->runnerLock);
  return _state->runnerNewProcess;
}

void VuoGLScene::setRunnerNewProcess(bool runnerNewProcess) {
  platform::LockGuard hold(_state->runnerLock);
  _state->runnerNewProcess = runnerNewProcess;
}

VuoGLScene::Patience VuoGLScene::eventPatience() const {
  platform::LockGuard hold(_state->runnerLock);
  return _state->eventPatience;
}

void VuoGLScene::setEventPatience(Patience patience) {
  platform::LockGuard hold(_state->runnerLock);
  _state->eventPatience = patience;
  if (_state->runner)
    guarded("-[VuoGLScene setEventPatience:]",
            [&]() REQUIRES(_state->runnerLock) { _state->runner->setPatience(patience); });
}

void VuoGLScene::setDelegate(VuoGLSceneDelegate* delegate) {
  platform::LockGuard hold(_state->propLock);
  _state->delegate = delegate;
}

VuoSceneStatus VuoGLScene::status() const {
  platform::LockGuard hold(_state->statusLock);
  VuoSceneStatus status;
  status.state = _state->status.state;
  guarded("-[VuoGLScene status]", [&]() REQUIRES(_state->statusLock) { status = _state->status; });
  return status;
}

void VuoGLScene::setStatusHandler(StatusHandler handler) {
  std::shared_ptr<const StatusHandler> shared;
  if (handler)
    guarded("-[VuoGLScene setStatusHandler:]",
            [&] { shared = std::make_shared<const StatusHandler>(std::move(handler)); });
  platform::LockGuard hold(_state->statusLock);
  _state->statusHandler.swap(shared);  // the former one is destroyed after the lock is released
}

/// What an overtaken load has to say is dropped. Changes reach the main queue in their order, also
/// where no handler waits for them: who serves the queue may look at the status instead. One that
/// could not be told for want of memory is told with the next call.
void VuoGLScene::State::_setStatus(VuoSceneStatus newStatus, std::uint64_t load) {
  {
    platform::LockGuard hold(statusLock);
    if (load < statusLoad) return;
    statusLoad = load;
    if (!(status == newStatus)) {
      if (!deleted)
        statusesToTell.push_back(statusHandler ? std::optional(newStatus) : std::nullopt);
      status = std::move(newStatus);
    }
    if (statusesToTell.empty()) return;
  }
  _tellStatusSoon();
}

/// The composition of that load has come up, or gets on again. Its runner may be waited for by who
/// has no memory: only telling needs some, and what can't be told now is told with the next status.
void VuoGLScene::State::_setRunning(std::uint64_t load) {
  constexpr const char* kName = "-[VuoGLScene status]";
  {
    platform::LockGuard hold(statusLock);
    if (load < statusLoad) return;
    statusLoad = load;
    if (status.state == VuoSceneStatus::State::Running && status.message.empty()) return;
    status.state = VuoSceneStatus::State::Running;
    status.message.clear();
  }
  bool isNoted = false;
  const auto tell = [&] {
    if (!isNoted) _noteStatusToTell();
    isNoted = true;
    _tellStatusSoon();
  };
  if (!guarded(kName, tell)) guarded(kName, tell);
}

void VuoGLScene::State::_noteStatusToTell() {
  platform::LockGuard hold(statusLock);
  if (!deleted) statusesToTell.push_back(statusHandler ? std::optional(status) : std::nullopt);
}

/// Without the lock, for which the main queue's thread would have to wait as soon as it wakes up.
void VuoGLScene::State::_tellStatusSoon() {
  platform::MainQueue::shared().async([weak = scene.weak_from_this()] {
    if (const auto alive = weak.lock()) alive->_state->_tellStatus();
  });
}

/// What a handler causes meanwhile waits for its own turn in the main queue.
void VuoGLScene::State::_tellStatus() {
  std::size_t waiting;
  {
    platform::LockGuard hold(statusLock);
    waiting = statusesToTell.size();
  }
  for (; waiting > 0; --waiting) {
    std::shared_ptr<const StatusHandler> handler;
    std::optional<VuoSceneStatus> told;
    {
      platform::LockGuard hold(statusLock);
      if (statusesToTell.empty()) return;
      told = std::move(statusesToTell.front());
      statusesToTell.pop_front();
      handler = statusHandler;
    }
    if (told && handler && !deleted) (*handler)(*told);
  }
}
