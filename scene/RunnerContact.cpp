#include "scene/RunnerContact.h"

#include <cmath>
#include <new>
#include <utility>

#include "platform/system/Dispatch.h"
#include "platform/system/FileSystem.h"
#include "platform/system/SystemLog.h"
#include "scene/Guarded.h"

namespace {

std::string asSeconds(std::chrono::nanoseconds time) {
  const auto tenths = std::llround(std::chrono::duration<double>(time).count() * 10);
  return std::to_string(tenths / 10) + "." + std::to_string(tenths % 10) + " s";
}

}  // namespace

VuoGLScene::State::RunnerContact::RunnerContact(std::weak_ptr<VuoGLScene> scene,
                                                std::weak_ptr<VuoRunner> runner,
                                                std::uint64_t forLoad, Path file)
    : load(forLoad), _scene(std::move(scene)), _runner(std::move(runner)), _file(std::move(file)) {}

void VuoGLScene::State::RunnerContact::runnerDelegateReceivedValForOutputKey(const Key& key) {
  if (const auto ours = _scene.lock()) ours->runnerDelegateReceivedValForOutputKey(key);
}

void VuoGLScene::State::RunnerContact::runnerDelegateReceivedEventForOutputKey(const Key& key) {
  if (const auto ours = _scene.lock()) ours->runnerDelegateReceivedEventForOutputKey(key);
}

/// On the main queue's thread, which does not wait for memory.
void VuoGLScene::State::RunnerContact::runnerDelegateLostContactWithComposition() try {
  if (const auto ours = _scene.lock()) ours->_state->_lostContactWith(*this);
} catch (const std::bad_alloc&) {
  platform::MainQueue::shared().after(
      std::chrono::milliseconds(10),
      [contact = shared_from_this()] { contact->runnerDelegateLostContactWithComposition(); });
}

void VuoGLScene::State::RunnerContact::cameUp() {
  if ((_progress.fetch_or(kCameUp) & kInstalled) != 0) isRunning();
}

void VuoGLScene::State::RunnerContact::installed() {
  if ((_progress.fetch_or(kInstalled) & kCameUp) != 0) isRunning();
}

void VuoGLScene::State::RunnerContact::isRunning() {
  if (const auto ours = _scene.lock()) ours->_state->_setRunning(load);
}

void VuoGLScene::State::RunnerContact::isOverdue(std::chrono::nanoseconds waited) {
  const std::string forHowLong = asSeconds(waited);
  platform::systemLog("\t\terr: composition is at one event for %@, file is %@, %s",
                      {forHowLong, _file ? platform::lastPathComponent(*_file) : "",
                       "-[VuoGLScene _runnerIsOverdue:]"});
  tellRunning((hasComeUp() ? "An event has not been finished for "
                           : "The composition has not come up for ") +
              forHowLong + ".");
}

void VuoGLScene::State::RunnerContact::hasCaughtUp() {
  if (_progress == (kCameUp | kInstalled)) isRunning();
}

void VuoGLScene::State::RunnerContact::tellRunning(std::string message) {
  const auto ours = _scene.lock();
  if (!ours || (_progress & kInstalled) == 0) return;
  ours->_state->_setStatus(
      {hasComeUp() ? VuoSceneStatus::State::Running : VuoSceneStatus::State::Loading, _file,
       std::move(message)},
      load);
}

std::string VuoGLScene::State::RunnerContact::lossDescription() const {
  std::string how;
  if (const auto one = _runner.lock())
    guarded("-[VuoGLScene runnerDelegateLostContactWithComposition]",
            [&] { how = one->lossDescription(); });
  return how;
}
