#include "scene/ZQVuoRunnerDelegate.h"

#include <chrono>

#include "platform/system/Dispatch.h"
#include "platform/system/FileSystem.h"
#include "scene/Guarded.h"

ZQVuoRunnerDelegate::ZQVuoRunnerDelegate(const std::shared_ptr<VuoGLSceneProtocol>& scene)
    : _sceneHolder(scene ? SceneHolder::initWithZWRObject(scene) : nullptr) {}

void ZQVuoRunnerDelegate::receivedTelemetryPublishedOutputPortUpdated(VuoRunner::Port* port,
                                                                      bool sentData, std::string) {
  std::string name;
  const bool hasName =
      guarded("-[ZQVuoRunnerDelegate receivedTelemetryPublishedOutputPortUpdated:]",
              [&] { name = port->getName(); });
  if (!hasName || !platform::isValidUtf8(name)) return;
  const auto scene = _sceneHolder ? _sceneHolder->object() : nullptr;
  if (!scene) return;
  if (sentData) {
    scene->runnerDelegateReceivedValForOutputKey(name);
  } else {
    scene->runnerDelegateReceivedEventForOutputKey(name);
  }
}

void ZQVuoRunnerDelegate::lostContactWithComposition() {
  if (!_sceneHolder || !_sceneHolder->object()) return;
  // The task has its own hold on the weak reference: this bridge may be gone when it runs.
  platform::MainQueue::shared().after(std::chrono::nanoseconds(10'000), [holder = _sceneHolder] {
    if (const auto scene = holder->object()) scene->runnerDelegateLostContactWithComposition();
  });
}
